#include "platform/system/Device.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedHardware.h"

#include <mutex>

namespace lumora::platform {

std::shared_ptr<Device> Device::currentDevice()
{
    static std::once_flag once;
    // Never destroyed (a deliberately leaked shared_ptr): other threads may still use it while the process exits.
    static const std::shared_ptr<Device>* shared = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        shared = new const std::shared_ptr<Device>(std::make_shared<Device>());
    });
    return *shared;
}

DeviceOrientation Device::orientation() const
{
    return host::SimulatedDevice::shared().hardware().orientation();
}

UserInterfaceIdiom Device::userInterfaceIdiom() const
{
    return host::SimulatedDevice::shared().hardware().userInterfaceIdiom();
}

std::int64_t Device::graphicsQuality() const
{
    return host::SimulatedDevice::shared().hardware().graphicsQuality();
}

} // namespace lumora::platform
