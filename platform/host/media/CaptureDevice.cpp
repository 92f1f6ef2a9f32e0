#include "platform/media/CaptureDevice.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedMedia.h"

namespace lumora::platform {

std::vector<std::shared_ptr<CaptureDevice>> CaptureDevice::devicesWithMediaType(std::string_view mediaType)
{
    return host::SimulatedDevice::shared().media().devicesWithMediaType(mediaType);
}

CaptureDevice::CaptureDevice(
    std::string uniqueID, std::string localizedName, std::string mediaType, CaptureDevicePosition position)
    : uniqueID_(std::move(uniqueID)),
      localizedName_(std::move(localizedName)),
      mediaType_(std::move(mediaType)),
      position_(position)
{ }

bool CaptureDevice::isConnected() const
{
    return host::SimulatedDevice::shared().media().isConnected(this);
}

} // namespace lumora::platform
