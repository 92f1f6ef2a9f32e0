#pragma once

#include "platform/foundation/Date.h"

#include <cstddef>

namespace lumora::platform::host {

/// The simulated device's clock, steered through SimulatedDevice.
class HostClock {
public:
    static void freeze(Date date);
    /// Lets the clock run again from where it stood (uptime never goes back)
    /// and fires every timer that came due meanwhile.
    static void release();
    static void advance(double seconds);
    [[nodiscard]] static bool isFrozen();
    /// Advances a held clock to each pending timer's deadline in turn, until
    /// none is pending (or `limit` MainQueue tasks have run, for timers that keep
    /// setting new ones), running the MainQueue in between. Returns the
    /// MainQueue tasks run.
    static std::size_t advanceThroughTimers(std::size_t limit);
    /// Cancels every pending timer and lets the clock run in real time.
    static void reset();
};

} // namespace lumora::platform::host
