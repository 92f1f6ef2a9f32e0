#pragma once

#include "platform/formats/TimeZone.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Object.h"

#include <memory>
#include <optional>
#include <string>

namespace lumora::platform {

/// Turns dates into text with a fixed pattern in the Unicode date-pattern
/// syntax ("MMMM d hh:mm a": full month name, day, 12-hour hour and minutes,
/// AM/PM marker).
///
/// A formatter with no time zone of its own formats in the device's current
/// time zone, one with no locale of its own in the device's current locale;
/// both are read each time a date is formatted. A formatter is used on one
/// thread at a time.
class DateFormatter final : public Object {
public:
    /// The pattern dates are formatted with; empty until set.
    [[nodiscard]] const std::string& dateFormat() const { return dateFormat_; }
    /// Sets the pattern.
    void setDateFormat(std::string format) { dateFormat_ = std::move(format); }

    /// The zone dates are formatted in: the one set, else the device's current zone.
    [[nodiscard]] std::shared_ptr<const TimeZone> timeZone() const;
    /// Null goes back to the device's current zone.
    void setTimeZone(std::shared_ptr<const TimeZone> timeZone) { timeZone_ = std::move(timeZone); }

    /// The locale identifier ("en_US") names are written in: the one set, else the device's current locale.
    [[nodiscard]] std::string localeIdentifier() const;
    /// Sets the locale names are written in; nullopt goes back to the device's
    /// current locale.
    void setLocaleIdentifier(std::optional<std::string> identifier) { localeIdentifier_ = std::move(identifier); }

    /// `date` in the pattern; "" when the pattern cannot be used.
    [[nodiscard]] std::string stringFromDate(const Date& date) const;

    [[nodiscard]] std::string className() const override { return "DateFormatter"; }

private:
    std::string dateFormat_;
    std::shared_ptr<const TimeZone> timeZone_;
    std::optional<std::string> localeIdentifier_;
};

} // namespace lumora::platform
