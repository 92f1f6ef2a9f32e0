#pragma once

#include "platform/foundation/Object.h"

#include <memory>
#include <string>

namespace lumora::platform {

/// A time zone, named by its identifier in the time-zone database
/// ("Europe/Paris", "America/New_York", "UTC").
class TimeZone final : public Object {
public:
    /// The zone with this identifier; null when the database knows no such zone.
    static std::shared_ptr<const TimeZone> timeZoneWithName(const std::string& name);
    /// The device's current time zone (on the development host, the one the
    /// simulated device is set to).
    static std::shared_ptr<const TimeZone> localTimeZone();

    /// The zone `name`, unchecked; use `timeZoneWithName` to have it checked.
    explicit TimeZone(std::string name) : name_(std::move(name)) { }

    /// The zone's identifier in the time-zone database.
    [[nodiscard]] const std::string& name() const { return name_; }

    [[nodiscard]] std::string className() const override { return "TimeZone"; }
    [[nodiscard]] std::string description() const override { return name_; }

private:
    std::string name_;
};

} // namespace lumora::platform
