#pragma once

#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace lumora::platform {
class Touch;
class View;
class Window;
class GestureRecognizer;
} // namespace lumora::platform

namespace lumora::platform::host {

/// The simulated device's touch screen: fingers that tests and the sample
/// app put down, move, lift or cancel, in screen points.
///
/// A finger coming down goes to the topmost visible window (by level, then
/// order) whose hit test accepts the point (so a window's `pointInside_withEvent`
/// can let it through to the windows below), and to the view that hit test
/// finds. The gesture recognizers of that view and its ancestors see the
/// finger first, then the view. A finger that no window takes is ignored.
///
/// Used on the MainQueue; delivery is synchronous.
class SimulatedTouchScreen {
public:
    using FingerId = std::int64_t;

    void reset();

    /// Puts a finger down; returns its id (also when no window took it).
    FingerId touchDown(Point point);
    void touchMove(FingerId id, Point point);
    void touchUp(FingerId id, Point point);
    /// The system takes the finger away (a call coming in, for instance).
    void touchCancel(FingerId id);

    /// Down and up at one point.
    void tap(Point point);
    /// Down at `from`, `steps` moves evenly to `to`, and up there unless `lift` is false.
    /// Returns the finger.
    FingerId drag(Point from, Point to, int steps = 5, bool lift = true);

    /// The view a finger is on; null when no window took it or it has lifted.
    [[nodiscard]] std::shared_ptr<View> viewOfFinger(FingerId id) const;

private:
    struct Finger;
    /// Ends the finger's touch where it is lifted (`point`), or cancels it.
    void liftFinger(FingerId id, std::optional<Point> point, bool cancelled);
    std::map<FingerId, std::shared_ptr<Finger>> fingers_;
    FingerId nextFinger_ = 1;
};

} // namespace lumora::platform::host
