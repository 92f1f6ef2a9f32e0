#include "platform/DeviceRestrictions.h"

#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedRestrictions.h"

namespace lumora::platform {

std::int64_t DeviceRestrictions::effectiveBoolValueForSetting(std::string_view setting)
{
    return host::SimulatedDevice::shared().restrictions().effectiveBoolValue(setting);
}

} // namespace lumora::platform
