#pragma once

#include "platform/system/Device.h"

#include <cstdint>
#include <mutex>

namespace lumora::platform::host {

/// The simulated device's body: how it is held, what kind of device it is and
/// its graphics-quality code. Initially a phone held upright with full
/// graphics quality.
class SimulatedHardware {
public:
    void reset();

    /// Turns the device and posts `Device::OrientationDidChangeNotification`
    /// on the calling thread. When it is turned to an upright orientation of
    /// the other aspect (portrait to landscape or back) and no application
    /// window has interface autorotation disabled, the interface follows: the
    /// main screen's bounds swap width and height and the application's
    /// windows transition to the new size (see
    /// `SimulatedApplication::transitionToSize`).
    void rotateTo(DeviceOrientation orientation);
    [[nodiscard]] DeviceOrientation orientation() const;

    void setUserInterfaceIdiom(UserInterfaceIdiom idiom);
    [[nodiscard]] UserInterfaceIdiom userInterfaceIdiom() const;
    void setGraphicsQuality(std::int64_t quality);
    [[nodiscard]] std::int64_t graphicsQuality() const;

private:
    mutable std::mutex mutex_;
    DeviceOrientation orientation_ = DeviceOrientation::Portrait;
    UserInterfaceIdiom idiom_ = UserInterfaceIdiom::Phone;
    std::int64_t graphicsQuality_ = Device::FullGraphicsQuality;
};

} // namespace lumora::platform::host
