#include "platform/host/device/SimulatedHardware.h"

#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/system/NotificationCenter.h"
#include "platform/ui/Window.h"

#include <algorithm>

namespace lumora::platform::host {

namespace {
// How long the simulated interface takes to turn, in clock seconds.
constexpr double kRotationDuration = 0.4;

bool isUpright(DeviceOrientation orientation)
{
    return orientation >= DeviceOrientation::Portrait && orientation <= DeviceOrientation::LandscapeRight;
}

bool isLandscape(DeviceOrientation orientation)
{
    return orientation == DeviceOrientation::LandscapeLeft || orientation == DeviceOrientation::LandscapeRight;
}
} // namespace

void SimulatedHardware::reset()
{
    std::lock_guard lock(mutex_);
    orientation_ = DeviceOrientation::Portrait;
    idiom_ = UserInterfaceIdiom::Phone;
    graphicsQuality_ = Device::FullGraphicsQuality;
}

void SimulatedHardware::rotateTo(DeviceOrientation orientation)
{
    {
        std::lock_guard lock(mutex_);
        orientation_ = orientation;
    }
    NotificationCenter::defaultCenter().postNotificationName(std::string(Device::OrientationDidChangeNotification));
    if (!isUpright(orientation)) {
        return;
    }
    auto& device = SimulatedDevice::shared();
    auto& screens = device.screens();
    const auto bounds = screens.mainScreenBounds();
    const bool interfaceIsLandscape = bounds.size.width > bounds.size.height;
    if (isLandscape(orientation) == interfaceIsLandscape) {
        return;
    }
    const auto windows = device.application().windows();
    if (std::any_of(windows.begin(), windows.end(),
            [](const auto& window) { return window->isInterfaceAutorotationDisabled(); })) {
        return;
    }
    const Size turned { bounds.size.height, bounds.size.width };
    screens.setMainScreen({ bounds.origin, turned }, screens.mainScreenScale());
    device.application().transitionToSize(turned, kRotationDuration);
}

DeviceOrientation SimulatedHardware::orientation() const
{
    std::lock_guard lock(mutex_);
    return orientation_;
}

void SimulatedHardware::setUserInterfaceIdiom(UserInterfaceIdiom idiom)
{
    std::lock_guard lock(mutex_);
    idiom_ = idiom;
}

UserInterfaceIdiom SimulatedHardware::userInterfaceIdiom() const
{
    std::lock_guard lock(mutex_);
    return idiom_;
}

void SimulatedHardware::setGraphicsQuality(std::int64_t quality)
{
    std::lock_guard lock(mutex_);
    graphicsQuality_ = quality;
}

std::int64_t SimulatedHardware::graphicsQuality() const
{
    std::lock_guard lock(mutex_);
    return graphicsQuality_;
}

} // namespace lumora::platform::host
