#pragma once

#include "platform/graphics/Geometry.h"
#include "platform/system/ExternalScreen.h"
#include "platform/ui/Screen.h"

#include <cstdint>
#include <memory>
#include <mutex>

namespace lumora::platform::host {

/// The simulated device's displays: the built-in screen (which may be
/// detached), the external display it is mirrored to, and the render server's
/// context ids.
///
/// Initially the built-in screen is 375 by 667 points at scale 2, with no
/// external display.
class SimulatedScreens {
public:
    static constexpr Rect DefaultMainScreenBounds { { 0, 0 }, { 375, 667 } };
    static constexpr double DefaultMainScreenScale = 2;

    void reset();

    /// Attaches the built-in screen with these bounds (origin as given) and scale.
    void setMainScreen(Rect bounds, double scale);
    /// Detaches the built-in screen: `Screen::mainScreen()` answers null.
    void removeMainScreen();
    [[nodiscard]] std::shared_ptr<Screen> mainScreen() const;
    [[nodiscard]] Rect mainScreenBounds() const;
    [[nodiscard]] double mainScreenScale() const;

    /// Connects (or disconnects, with `None`) an external display and posts
    /// `ExternalScreen::CurrentTypeDidChangeNotification` on the calling thread.
    void setExternalScreenType(ExternalScreenType type);
    [[nodiscard]] ExternalScreenType externalScreenType() const;

    /// The render server hands every new window a context id of its own.
    std::uint32_t makeRenderContextId();

private:
    mutable std::mutex mutex_;
    std::shared_ptr<Screen> mainScreen_;
    Rect bounds_ = DefaultMainScreenBounds;
    double scale_ = DefaultMainScreenScale;
    ExternalScreenType externalType_ = ExternalScreenType::None;
    std::uint32_t nextContextId_ = 0;
};

} // namespace lumora::platform::host
