#pragma once

#include <compare>

namespace lumora::platform {

/// A moment in time: seconds since 1 January 1970 UTC, as a 64-bit float.
/// `now()` reads the device clock, which the simulated device can hold still
/// or advance.
class Date {
public:
    Date() = default;
    /// The current moment on the device clock.
    static Date now();
    /// The moment `seconds` after 1 January 1970 UTC.
    static Date dateWithTimeIntervalSince1970(double seconds) { return Date(seconds); }

    /// Seconds since 1 January 1970 UTC.
    [[nodiscard]] double timeIntervalSince1970() const { return seconds_; }
    /// Seconds from `other` to this date; negative when this date is earlier.
    [[nodiscard]] double timeIntervalSinceDate(const Date& other) const { return seconds_ - other.seconds_; }
    /// The moment `seconds` later (earlier when negative).
    [[nodiscard]] Date dateByAddingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

    /// Dates order by time.
    friend auto operator<=>(const Date&, const Date&) = default;

private:
    explicit Date(double seconds) : seconds_(seconds) { }
    double seconds_ = 0.0;
};

} // namespace lumora::platform
