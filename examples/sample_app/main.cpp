#include "platform/Log.h"
#include "sample_app/Demos.h"
#include "sample_app/SampleDevice.h"

int main()
{
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::sample::prepareSampleDevice();
    lumora::sample::runServiceBoundaryDemo();
    lumora::sample::runRecordingDemo();
    lumora::sample::runPreviewDemo();
    lumora::sample::runUploadDemo();
    lumora::sample::runWidgetsDemo();
    return 0;
}
