#include "platform/ui/PanGestureRecognizer.h"

#include "platform/ui/View.h"

#include <cmath>

namespace lumora::platform {

Point PanGestureRecognizer::translationInView(const View* /*view*/) const
{
    // Views are only ever offset from one another, never scaled or turned,
    // so a translation reads the same in every view's coordinates.
    return { last_.x - origin_.x, last_.y - origin_.y };
}

void PanGestureRecognizer::setTranslation_inView(Point translation, const View* /*view*/)
{
    origin_ = { last_.x - translation.x, last_.y - translation.y };
}

Point PanGestureRecognizer::velocityInView(const View* /*view*/) const
{
    const double interval = lastTime_ - previousTime_;
    if (!(interval > 0)) {
        return {};
    }
    return { (last_.x - previous_.x) / interval, (last_.y - previous_.y) / interval };
}

void PanGestureRecognizer::touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    const bool first = trackedTouches().empty();
    GestureRecognizer::touchesBegan_withEvent(touches, event);
    if (first && !touches.empty() && state() == State::Possible) {
        origin_ = last_ = previous_ = touches.front()->locationInView(nullptr);
        lastTime_ = previousTime_ = touches.front()->timestamp();
    }
}

void PanGestureRecognizer::touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    GestureRecognizer::touchesMoved_withEvent(touches, event);
    if (trackedTouches().empty() || touches.empty() || !isEnabled()) {
        return;
    }
    const auto& touch = trackedTouches().front();
    previous_ = last_;
    previousTime_ = lastTime_;
    last_ = touch->locationInView(nullptr);
    lastTime_ = touch->timestamp();
    if (state() == State::Possible) {
        if (std::hypot(last_.x - origin_.x, last_.y - origin_.y) >= Hysteresis) {
            setState(State::Began);
        }
    } else if (state() == State::Began || state() == State::Changed) {
        setState(State::Changed);
    }
}

void PanGestureRecognizer::touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (!trackedTouches().empty() && (state() == State::Began || state() == State::Changed)) {
        const auto location = trackedTouches().front()->locationInView(nullptr);
        if (location != last_) {
            previous_ = last_;
            previousTime_ = lastTime_;
            last_ = location;
            lastTime_ = trackedTouches().front()->timestamp();
        }
    }
    GestureRecognizer::touchesEnded_withEvent(touches, event);
    if (!trackedTouches().empty()) {
        return;
    }
    if (state() == State::Began || state() == State::Changed) {
        setState(State::Ended);
    } else if (state() == State::Possible) {
        setState(State::Failed);
    }
}

void PanGestureRecognizer::touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    GestureRecognizer::touchesCancelled_withEvent(touches, event);
    if (state() == State::Began || state() == State::Changed) {
        setState(State::Cancelled);
    } else if (state() == State::Possible) {
        setState(State::Failed);
    }
}

void PanGestureRecognizer::reset()
{
    GestureRecognizer::reset();
    origin_ = last_ = previous_ = {};
    lastTime_ = previousTime_ = 0;
}

void PanGestureRecognizer::sendActions()
{
    const auto self = sharedFrom(this);
    if (!self) {
        return;
    }
    // Copied: an action may add targets.
    const auto actions = actions_;
    for (const auto& action : actions) {
        action.send(self);
    }
}

} // namespace lumora::platform
