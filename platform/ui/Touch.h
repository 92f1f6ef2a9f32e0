#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace lumora::platform {

class View;
class Window;

/// One finger on the screen, from the moment it comes down until it lifts or
/// the system cancels it. The touch keeps the window and the view it first
/// came down on (the hit-tested view) for its whole life.
class Touch final : public Object {
public:
    /// Where the touch is in its life (the platform's numbering).
    enum class Phase : std::int64_t {
        Began = 0, ///< the finger came down
        Moved = 1, ///< the finger moved
        Stationary = 2, ///< the finger is down and has not moved
        Ended = 3, ///< the finger lifted
        Cancelled = 4 ///< the system cancelled the touch
    };

    /// Made by the platform when a finger comes down.
    Touch(std::shared_ptr<Window> window, std::shared_ptr<View> view, Point locationInWindow, double timestamp);

    /// The touch's phase as of its last change.
    [[nodiscard]] Phase phase() const { return phase_; }
    /// Seconds of device uptime of the last change.
    [[nodiscard]] double timestamp() const { return timestamp_; }
    /// The window the finger came down in.
    [[nodiscard]] const std::shared_ptr<Window>& window() const { return window_; }
    /// The view the finger came down on (the hit-tested view); it keeps the touch
    /// when the finger moves off it.
    [[nodiscard]] const std::shared_ptr<View>& view() const { return view_; }

    /// The finger's position in `view`'s coordinates (the window's when null).
    [[nodiscard]] Point locationInView(const View* view) const;
    /// Where the finger was before its last move.
    [[nodiscard]] Point previousLocationInView(const View* view) const;

    /// Called by the platform as the finger moves, lifts or is cancelled.
    void updatePhase_locationInWindow_timestamp(Phase phase, Point locationInWindow, double timestamp);

    [[nodiscard]] std::string className() const override { return "Touch"; }

private:
    [[nodiscard]] Point convertFromWindow(Point point, const View* view) const;

    std::shared_ptr<Window> window_;
    std::shared_ptr<View> view_;
    Point location_;
    Point previousLocation_;
    double timestamp_;
    Phase phase_ = Phase::Began;
};

using TouchList = std::vector<std::shared_ptr<Touch>>;

} // namespace lumora::platform
