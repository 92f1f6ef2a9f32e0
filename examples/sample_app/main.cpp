#include "platform/Log.h"
#include "sample_app/Demos.h"

int main()
{
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::sample::runServiceBoundaryDemo();
    lumora::sample::runRecordingDemo();
    lumora::sample::runPreviewDemo();
    lumora::sample::runUploadDemo();
    return 0;
}
