#pragma once

#include "platform/Date.h"

namespace lumora::platform::host {

/// The simulated device's clock, steered through SimulatedDevice.
class HostClock {
public:
    static void freeze(Date date);
    static void release();
    static void advance(double seconds);
    [[nodiscard]] static bool isFrozen();
};

} // namespace lumora::platform::host
