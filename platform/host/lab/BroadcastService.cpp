#include "platform/host/lab/BroadcastService.h"

#include "platform/extensions/Extension.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"

namespace lumora::platform::host {

void BroadcastService::install() const
{
    installSetup();
    SimulatedDevice::shared().recordingService().installUploadExtension(uploadExtension, kind, upload);
}

std::shared_ptr<ExtensionHostProcess> BroadcastService::installOutOfProcess(const std::string& uploadBundle) const
{
    installSetup();
    return SimulatedDevice::shared().recordingService().installUploadExtensionOutOfProcess(
        uploadExtension, kind, uploadBundle);
}

void BroadcastService::installSetup() const
{
    auto& device = SimulatedDevice::shared();
    auto attributes = std::make_shared<Dictionary>();
    (*attributes)[std::string(Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = uploadExtension;
    device.extensions().installExtension(setupExtension, attributes, setup);
    if (setupBundle) {
        device.extensions().setExtensionBundle(setupExtension, *setupBundle);
    }
}

} // namespace lumora::platform::host
