#include "sample_app/device/SampleDevice.h"

#include "platform/host/device/SimulatedDevice.h"
#include "recording/LMExtensions.h"

#include <filesystem>

namespace lumora::sample {

void prepareSampleDevice()
{
    auto& device = platform::host::SimulatedDevice::shared();
    device.mountDirectory(std::string(LMExtensions::FrameworkBundlePath), LUMORA_FRAMEWORK_BUNDLE_DIR);
    device.setMainBundle(std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/LumoraSample.app");
    std::error_code error;
    std::filesystem::create_directories(sampleOutputDirectory(), error);
}

} // namespace lumora::sample
