#pragma once

#include <compare>

namespace lumora::platform {

/// A moment in time: seconds since 1 January 1970 UTC, as a 64-bit float.
/// `now()` reads the device clock, which the simulated device can hold still
/// or advance.
class Date {
public:
    Date() = default;
    static Date now();
    static Date dateWithTimeIntervalSince1970(double seconds) { return Date(seconds); }

    [[nodiscard]] double timeIntervalSince1970() const { return seconds_; }
    [[nodiscard]] double timeIntervalSinceDate(const Date& other) const { return seconds_ - other.seconds_; }
    [[nodiscard]] Date dateByAddingTimeInterval(double seconds) const { return Date(seconds_ + seconds); }

    friend auto operator<=>(const Date&, const Date&) = default;

private:
    explicit Date(double seconds) : seconds_(seconds) { }
    double seconds_ = 0.0;
};

} // namespace lumora::platform
