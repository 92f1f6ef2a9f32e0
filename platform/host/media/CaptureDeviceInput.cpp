#include "platform/media/CaptureDeviceInput.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedMedia.h"

namespace lumora::platform {

std::shared_ptr<CaptureDeviceInput> CaptureDeviceInput::deviceInputWithDevice_error(
    const std::shared_ptr<CaptureDevice>& device, ErrorRef* error)
{
    const auto fail = [error](std::int64_t code) -> std::shared_ptr<CaptureDeviceInput> {
        if (error != nullptr) {
            *error = Error::errorWithDomain(std::string(ErrorDomain), code);
        }
        return nullptr;
    };
    if (!device || !device->isConnected()) {
        return fail(ErrorCodeDeviceNotConnected);
    }
    if (device->hasMediaType(CaptureDevice::MediaTypeVideo)
        && !host::SimulatedDevice::shared().media().isCameraAuthorized()) {
        return fail(ErrorCodeApplicationIsNotAuthorized);
    }
    return std::make_shared<CaptureDeviceInput>(device);
}

} // namespace lumora::platform
