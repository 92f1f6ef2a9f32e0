#include "platform/host/device/SimulatedRestrictions.h"

#include "platform/system/DeviceRestrictions.h"
#include "platform/system/NotificationCenter.h"

namespace lumora::platform::host {

void SimulatedRestrictions::reset()
{
    std::lock_guard lock(mutex_);
    values_.clear();
    values_[std::string(DeviceRestrictions::AllowScreenRecordingSetting)] = DeviceRestrictions::BoolValueYes;
}

void SimulatedRestrictions::setEffectiveBoolValue(std::string_view setting, std::int64_t value)
{
    {
        std::lock_guard lock(mutex_);
        values_[std::string(setting)] = value;
    }
    NotificationCenter::defaultCenter().postNotificationName(
        std::string(DeviceRestrictions::EffectiveSettingsChangedNotification));
}

std::int64_t SimulatedRestrictions::effectiveBoolValue(std::string_view setting) const
{
    std::lock_guard lock(mutex_);
    const auto found = values_.find(setting);
    return found == values_.end() ? DeviceRestrictions::BoolValueUnset : found->second;
}

} // namespace lumora::platform::host
