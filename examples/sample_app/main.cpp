#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "sample_app/Demos.h"
#include "sample_app/device/SampleDevice.h"

#include <cstdio>

int main()
{
    // The narration goes to standard output and the framework's log to standard
    // error. Line-buffering the narration keeps the two in the order they were
    // written when both are sent to one file or pipe (standard error is unbuffered).
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::sample::prepareSampleDevice();
    lumora::sample::runServiceBoundaryDemo();
    lumora::sample::runRecordingDemo();
    lumora::sample::runPreviewDemo();
    lumora::sample::runSupportServicesDemo();
    lumora::sample::runBroadcastControllerDemo();
    lumora::sample::runWidgetsDemo();
    lumora::sample::runBroadcastPickerDemo();
    lumora::sample::runServiceProcessDemo();
    // Whatever the device still has on its way lands before the app exits.
    lumora::platform::host::SimulatedDevice::shared().drain();
    return 0;
}
