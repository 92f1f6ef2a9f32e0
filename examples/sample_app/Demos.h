#pragma once

namespace lumora::sample {

/// Each flow of the sample app, run in this order by main(). A flow's
/// application part (calls to Lumora and the platform only, ready to copy into
/// an app) is in app/<Flow>App; what the simulated device is told to do (the
/// user, the recording service, the extensions) and the run<Flow>Demo() that
/// ties the two together are in device/<Flow>Demo.cpp. The broadcast picker
/// flow also goes live: the device's recording service runs the sample
/// services' upload extensions (examples/extensions/upload/LiveAudioUploadHandler
/// and LiveClipUploadHandler), as it runs any upload extension. The last
/// flow records with the device's recording service in a process of its own.
void runServiceBoundaryDemo();
void runRecordingDemo();
void runPreviewDemo();
void runSupportServicesDemo();
void runBroadcastControllerDemo();
void runWidgetsDemo();
void runBroadcastPickerDemo();
void runServiceProcessDemo();

} // namespace lumora::sample
