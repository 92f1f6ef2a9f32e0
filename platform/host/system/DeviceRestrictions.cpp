#include "platform/system/DeviceRestrictions.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedRestrictions.h"

namespace lumora::platform {

std::int64_t DeviceRestrictions::effectiveBoolValueForSetting(std::string_view setting)
{
    return host::SimulatedDevice::shared().restrictions().effectiveBoolValue(setting);
}

} // namespace lumora::platform
