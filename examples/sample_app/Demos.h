#pragma once

namespace lumora::sample {

/// Each flow of the sample app, run in this order by main(). A flow's
/// application part (calls to Lumora and the platform only, ready to copy into
/// an app) is in app/<Flow>App; what the simulated device is told to do (the
/// user, the recording service, the extensions) and the run<Flow>Demo() that
/// ties the two together are in device/<Flow>Demo.cpp. The upload flow's
/// application part is the sample upload extension in examples/extensions/upload.
void runServiceBoundaryDemo();
void runRecordingDemo();
void runPreviewDemo();
void runUploadDemo();
void runSupportServicesDemo();
void runBroadcastControllerDemo();
void runWidgetsDemo();
void runBroadcastPickerDemo();

} // namespace lumora::sample
