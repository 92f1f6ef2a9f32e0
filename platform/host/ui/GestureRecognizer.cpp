#include "platform/ui/GestureRecognizer.h"

#include "platform/ui/View.h"

#include <algorithm>

namespace lumora::platform {

void GestureRecognizer::setEnabled(bool enabled)
{
    enabled_ = enabled;
    if (!enabled && (state_ == State::Began || state_ == State::Changed)) {
        setState(State::Cancelled);
    }
    if (!enabled) {
        reset();
    }
}

Point GestureRecognizer::locationInView(const View* view) const
{
    if (touches_.empty()) {
        return {};
    }
    Point sum;
    for (const auto& touch : touches_) {
        const auto location = touch->locationInView(view);
        sum.x += location.x;
        sum.y += location.y;
    }
    const auto count = static_cast<double>(touches_.size());
    return { sum.x / count, sum.y / count };
}

void GestureRecognizer::touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& /*event*/)
{
    for (const auto& touch : touches) {
        if (std::find(touches_.begin(), touches_.end(), touch) == touches_.end()) {
            touches_.push_back(touch);
        }
    }
}

void GestureRecognizer::touchesMoved_withEvent(const TouchList& /*touches*/, const std::shared_ptr<Event>& /*event*/) {
}

void GestureRecognizer::touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& /*event*/)
{
    std::erase_if(touches_,
        [&touches](const auto& touch) { return std::find(touches.begin(), touches.end(), touch) != touches.end(); });
}

void GestureRecognizer::touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    GestureRecognizer::touchesEnded_withEvent(touches, event);
}

void GestureRecognizer::reset()
{
    state_ = State::Possible;
    touches_.clear();
}

void GestureRecognizer::setState(State state)
{
    state_ = state;
    switch (state) {
    case State::Began:
    case State::Changed:
    case State::Ended:
    case State::Cancelled: {
        // An action may let go of the recognizer's last owner.
        const auto keep = weak_from_this().lock();
        sendActions();
        break;
    }
    case State::Possible:
    case State::Failed:
        break;
    }
}

} // namespace lumora::platform
