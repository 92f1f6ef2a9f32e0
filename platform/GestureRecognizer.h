#pragma once

#include "platform/Event.h"
#include "platform/Geometry.h"
#include "platform/Object.h"
#include "platform/Touch.h"

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
    /// The platform's numbering.
    enum class State : std::int64_t { Possible = 0, Began = 1, Changed = 2, Ended = 3, Cancelled = 4, Failed = 5 };

    [[nodiscard]] State state() const { return state_; }
    [[nodiscard]] std::shared_ptr<View> view() const { return view_.lock(); }
    [[nodiscard]] bool isEnabled() const { return enabled_; }
    /// Disabling a recognizer in the middle of a gesture cancels the gesture.
    void setEnabled(bool enabled);
    [[nodiscard]] bool cancelsTouchesInView() const { return cancelsTouchesInView_; }
    void setCancelsTouchesInView(bool cancels) { cancelsTouchesInView_ = cancels; }

    /// The centroid of the gesture's touches in `view`'s coordinates (the
    /// window's when null).
    [[nodiscard]] virtual Point locationInView(const View* view) const;

    // ---- Called by the platform -------------------------------------------------------
    virtual void touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
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
    [[nodiscard]] const TouchList& trackedTouches() const { return touches_; }

private:
    std::weak_ptr<View> view_;
    TouchList touches_;
    State state_ = State::Possible;
    bool enabled_ = true;
    bool cancelsTouchesInView_ = true;
};

} // namespace lumora::platform
