#include "platform/ui/Control.h"

#include <algorithm>

namespace lumora::platform {

void Control::addTarget_action_forControlEvents(Action action, Events events)
{
    registrations_.push_back({ std::move(action), events });
}

void Control::sendActionsForControlEvents(Events events)
{
    const std::shared_ptr<Object> sender = sharedFrom(this);
    if (!sender) {
        return;
    }
    // Copied: an action may register more pairs or let go of the control.
    const auto registrations = registrations_;
    for (const auto& registration : registrations) {
        if ((registration.events & events) != 0) {
            registration.action.send(sender);
        }
    }
}

Control::Events Control::allControlEvents() const
{
    Events events = 0;
    for (const auto& registration : registrations_) {
        events |= registration.events;
    }
    return events;
}

void Control::setHighlighted(bool highlighted)
{
    if (highlighted_ != highlighted) {
        highlighted_ = highlighted;
        stateDidChange();
    }
}

void Control::setEnabled(bool enabled)
{
    if (enabled_ != enabled) {
        enabled_ = enabled;
        stateDidChange();
    }
}

void Control::setSelected(bool selected)
{
    if (selected_ != selected) {
        selected_ = selected;
        stateDidChange();
    }
}

Control::State Control::state() const
{
    State state = StateNormal;
    if (highlighted_) {
        state |= StateHighlighted;
    }
    if (!enabled_) {
        state |= StateDisabled;
    }
    if (selected_) {
        state |= StateSelected;
    }
    return state;
}

std::shared_ptr<View> Control::hitTest_withEvent(Point point, const std::shared_ptr<Event>& event)
{
    return enabled_ ? View::hitTest_withEvent(point, event) : nullptr;
}

void Control::touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& /*event*/)
{
    if (tracking_ || touches.empty() || !enabled_) {
        return;
    }
    const auto keep = sharedFrom(this);
    tracking_ = touches.front();
    touchInside_ = true;
    setHighlighted(true);
    sendActionsForControlEvents(EventTouchDown);
}

void Control::touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (!tracking_ || std::find(touches.begin(), touches.end(), tracking_) == touches.end()) {
        return;
    }
    const auto keep = sharedFrom(this);
    const bool inside = pointInside_withEvent(tracking_->locationInView(this), event);
    if (inside != touchInside_) {
        touchInside_ = inside;
        setHighlighted(inside);
        sendActionsForControlEvents(inside ? EventTouchDragEnter : EventTouchDragExit);
    }
    sendActionsForControlEvents(inside ? EventTouchDragInside : EventTouchDragOutside);
}

void Control::touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (!tracking_ || std::find(touches.begin(), touches.end(), tracking_) == touches.end()) {
        return;
    }
    const auto keep = sharedFrom(this);
    const bool inside = pointInside_withEvent(tracking_->locationInView(this), event);
    tracking_.reset();
    touchInside_ = false;
    setHighlighted(false);
    sendActionsForControlEvents(inside ? EventTouchUpInside : EventTouchUpOutside);
}

void Control::touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& /*event*/)
{
    if (!tracking_ || std::find(touches.begin(), touches.end(), tracking_) == touches.end()) {
        return;
    }
    const auto keep = sharedFrom(this);
    tracking_.reset();
    touchInside_ = false;
    setHighlighted(false);
    sendActionsForControlEvents(EventTouchCancel);
}

} // namespace lumora::platform
