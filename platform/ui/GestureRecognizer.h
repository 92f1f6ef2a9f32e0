#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"
#include "platform/ui/Event.h"
#include "platform/ui/Touch.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

class View;

/// Recognizes a gesture in the touches of the view it is attached to (and of
/// that view's subviews) and reports it to its targets.
///
/// The platform shows a recognizer every touch that begins on its view or
/// below it, before the hit-tested view sees the touch. A continuous
/// gesture moves through began, changed (any number of times) and ended or
/// cancelled; the targets hear every one of those states. Once the last
/// touch has ended the recognizer is reset to possible. When a gesture
/// begins and `cancelsTouchesInView` is on, the views that were tracking its
/// touches get them cancelled and see no more of them.
///
/// Recognizers are used on the MainQueue.
class GestureRecognizer : public Object {
public:
    /// Where a recognizer is in its gesture (the platform's numbering).
    enum class State : std::int64_t {
        Possible = 0, ///< no gesture recognized yet
        Began = 1, ///< a continuous gesture began
        Changed = 2, ///< a continuous gesture changed
        Ended = 3, ///< the gesture ended
        Cancelled = 4, ///< the gesture was cancelled
        Failed = 5 ///< the touches made no gesture
    };

    /// Where the recognizer is in its gesture; `Possible` when none is under way.
    [[nodiscard]] State state() const { return state_; }
    /// The view the recognizer is attached to (held weakly), or null.
    [[nodiscard]] std::shared_ptr<View> view() const { return view_.lock(); }
    /// Whether the recognizer sees touches (true by default).
    [[nodiscard]] bool isEnabled() const { return enabled_; }
    /// Disabling a recognizer in the middle of a gesture cancels the gesture.
    void setEnabled(bool enabled);
    /// Whether a gesture that begins takes its touches from the views tracking
    /// them (true by default).
    [[nodiscard]] bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
    /// Sets whether a gesture that begins cancels its touches in the views.
    void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }

    /// The centroid of the gesture's touches in `view`'s coordinates (the
    /// window's when null).
    [[nodiscard]] virtual Point locationInView(const View* view) const;

    // ---- Called by the platform -------------------------------------------------------
    /// Touches came down on the view or below it; the base class adds them to
    /// the tracked touches. Subclasses call the base class first.
    virtual void touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Tracked touches moved; the base class does nothing.
    virtual void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Touches lifted; the base class drops them from the tracked touches.
    virtual void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Touches were cancelled; the base class drops them as `touchesEnded_withEvent` does.
    virtual void touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Back to possible, forgetting the gesture's touches.
    virtual void reset();
    /// Set by the view the recognizer is added to.
    void setView(const std::shared_ptr<View>& view) { view_ = view; }

    [[nodiscard]] std::string className() const override { return "GestureRecognizer"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "GestureRecognizer" || Object::isKindOfClassNamed(name);
    }

protected:
    GestureRecognizer() = default;

    /// Moves to `state` and, for began, changed, ended and cancelled, tells the targets.
    void setState(State state);
    /// Sends the action to every target that is still there.
    virtual void sendActions() = 0;
    /// The touches of the gesture under way, in the order they came down.
    [[nodiscard]] const TouchList& trackedTouches() const { return touches_; }

private:
    std::weak_ptr<View> view_;
    TouchList touches_;
    State state_ = State::Possible;
    bool enabled_ = true;
    bool cancelsTouchesInView_ = true;
};

} // namespace lumora::platform
