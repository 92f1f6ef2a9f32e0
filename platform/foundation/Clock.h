#pragma once

#include "platform/foundation/Date.h"

#include <functional>
#include <memory>

namespace lumora::platform {

/// The device clock: the current date and timers.
///
/// Timers fire on the MainQueue. On a device the clock runs by itself; the
/// simulated device can hold it still and advance it by hand, so that
/// animations and timers finish exactly when a test says.
class Clock {
public:
    /// The current date on the device clock.
    static Date now();
    /// Seconds since the device started; never goes back.
    static double uptime();

    /// Queues `task` on the MainQueue once `delay` seconds have passed on the
    /// clock. Destroying the returned handle cancels a timer that has not fired.
    [[nodiscard]] static std::shared_ptr<void> scheduleAfter(double delay, std::function<void()> task);
};

} // namespace lumora::platform
