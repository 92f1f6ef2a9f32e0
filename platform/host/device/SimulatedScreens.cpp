#include "platform/host/device/SimulatedScreens.h"

#include "platform/system/NotificationCenter.h"

namespace lumora::platform::host {

namespace {
// Context ids of the simulated render server start here, so that a stray
// zero is never mistaken for a window.
constexpr std::uint32_t kFirstContextId = 0x2A000001;
} // namespace

void SimulatedScreens::reset()
{
    std::lock_guard lock(mutex_);
    mainScreen_ = std::make_shared<Screen>();
    bounds_ = DefaultMainScreenBounds;
    scale_ = DefaultMainScreenScale;
    externalType_ = ExternalScreenType::None;
    nextContextId_ = kFirstContextId;
}

void SimulatedScreens::setMainScreen(Rect bounds, double scale)
{
    std::lock_guard lock(mutex_);
    if (!mainScreen_) {
        mainScreen_ = std::make_shared<Screen>();
    }
    bounds_ = bounds;
    scale_ = scale;
}

void SimulatedScreens::removeMainScreen()
{
    std::lock_guard lock(mutex_);
    mainScreen_.reset();
}

std::shared_ptr<Screen> SimulatedScreens::mainScreen() const
{
    std::lock_guard lock(mutex_);
    return mainScreen_;
}

Rect SimulatedScreens::mainScreenBounds() const
{
    std::lock_guard lock(mutex_);
    return bounds_;
}

double SimulatedScreens::mainScreenScale() const
{
    std::lock_guard lock(mutex_);
    return scale_;
}

void SimulatedScreens::setExternalScreenType(ExternalScreenType type)
{
    {
        std::lock_guard lock(mutex_);
        externalType_ = type;
    }
    NotificationCenter::defaultCenter().postNotificationName(
        std::string(ExternalScreen::CurrentTypeDidChangeNotification));
}

ExternalScreenType SimulatedScreens::externalScreenType() const
{
    std::lock_guard lock(mutex_);
    return externalType_;
}

std::uint32_t SimulatedScreens::makeRenderContextId()
{
    std::lock_guard lock(mutex_);
    return nextContextId_++;
}

} // namespace lumora::platform::host
