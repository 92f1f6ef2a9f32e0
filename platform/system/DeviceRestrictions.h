#pragma once

#include <cstdint>
#include <string_view>

namespace lumora::platform {

/// The device's managed settings (restrictions set by the user or by a device
/// manager), as the settings store resolves them.
class DeviceRestrictions {
public:
    /// The three answers to a boolean setting.
    static constexpr std::int64_t BoolValueUnset = 0;
    /// The setting is on: allowed.
    static constexpr std::int64_t BoolValueYes = 1;
    /// The setting is off: not allowed.
    static constexpr std::int64_t BoolValueNo = 2;

    /// The setting that allows recording the screen.
    static constexpr std::string_view AllowScreenRecordingSetting = "allowScreenRecording";
    /// Posted whenever any effective setting changes, on the thread that changed it.
    static constexpr std::string_view EffectiveSettingsChangedNotification
        = "DeviceRestrictionsEffectiveSettingsChangedNotification";

    /// The effective value of a boolean setting: `BoolValueUnset`,
    /// `BoolValueYes` or `BoolValueNo`.
    [[nodiscard]] static std::int64_t effectiveBoolValueForSetting(std::string_view setting);
};

} // namespace lumora::platform
