#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace lumora::platform::host {

/// The device's managed settings. Initially screen recording is allowed
/// (`DeviceRestrictions::BoolValueYes`) and every other setting is unset.
class SimulatedRestrictions {
public:
    void reset();

    /// Sets the effective value of a boolean setting (any integer is stored as
    /// given, so a test can hand the framework an unexpected answer) and posts
    /// `DeviceRestrictions::EffectiveSettingsChangedNotification` on the calling thread.
    void setEffectiveBoolValue(std::string_view setting, std::int64_t value);
    [[nodiscard]] std::int64_t effectiveBoolValue(std::string_view setting) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::int64_t, std::less<>> values_;
};

} // namespace lumora::platform::host
