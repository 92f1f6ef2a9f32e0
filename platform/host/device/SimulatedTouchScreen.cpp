#include "platform/host/device/SimulatedTouchScreen.h"

#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/ui/Event.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Touch.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

#include <algorithm>
#include <optional>
#include <ranges>
#include <vector>

namespace lumora::platform::host {

struct SimulatedTouchScreen::Finger {
    std::shared_ptr<Touch> touch;
    std::vector<std::shared_ptr<GestureRecognizer>> recognizers;
    // False once a recognizer has taken the touch away from the view.
    bool viewReceives = true;
};

namespace {

using State = GestureRecognizer::State;

std::shared_ptr<Event> touchEvent()
{
    return std::make_shared<Event>(Event::Type::Touches, Clock::uptime());
}

// The visible windows, topmost first.
std::vector<std::shared_ptr<Window>> windowsTopFirst()
{
    auto windows = SimulatedDevice::shared().application().windows();
    std::erase_if(windows, [](const auto& window) { return window->isHidden(); });
    std::stable_sort(windows.begin(), windows.end(),
        [](const auto& first, const auto& second) { return first->windowLevel() < second->windowLevel(); });
    std::reverse(windows.begin(), windows.end());
    return windows;
}

Point inWindow(const Window& window, Point point)
{
    const auto frame = window.layer()->presentationLayer()->frame();
    return { point.x - frame.minX() + window.bounds().minX(), point.y - frame.minY() + window.bounds().minY() };
}

// The recognizers that see a touch on `view`: those of the view and of its
// ancestors, up to the first view that keeps gesture touches to itself.
std::vector<std::shared_ptr<GestureRecognizer>> recognizersFor(std::shared_ptr<View> view)
{
    std::vector<std::shared_ptr<GestureRecognizer>> found;
    while (view) {
        for (const auto& recognizer : view->gestureRecognizers()) {
            if (recognizer->isEnabled()) {
                found.push_back(recognizer);
            }
        }
        if (!view->passesGestureTouchesToSuperview()) {
            break;
        }
        view = view->superview();
    }
    return found;
}

bool recognizing(const GestureRecognizer& recognizer)
{
    const auto state = recognizer.state();
    return state == State::Began || state == State::Changed || state == State::Ended;
}

} // namespace

void SimulatedTouchScreen::reset()
{
    fingers_.clear();
    nextFinger_ = 1;
}

SimulatedTouchScreen::FingerId SimulatedTouchScreen::touchDown(Point point)
{
    const auto id = nextFinger_++;
    auto finger = std::make_shared<Finger>();
    fingers_[id] = finger;
    const auto event = touchEvent();
    for (const auto& window : windowsTopFirst()) {
        const auto local = inWindow(*window, point);
        if (auto view = window->hitTest_withEvent(local, event)) {
            finger->touch = std::make_shared<Touch>(window, view, local, event->timestamp());
            finger->recognizers = recognizersFor(view);
            break;
        }
    }
    if (!finger->touch) {
        return id; // no window takes the point: the touch goes nowhere
    }
    const TouchList touches { finger->touch };
    for (const auto& recognizer : finger->recognizers) {
        recognizer->touchesBegan_withEvent(touches, event);
    }
    if (finger->viewReceives) {
        finger->touch->view()->touchesBegan_withEvent(touches, event);
    }
    return id;
}

void SimulatedTouchScreen::touchMove(FingerId id, Point point)
{
    const auto found = fingers_.find(id);
    if (found == fingers_.end() || !found->second->touch) {
        return;
    }
    const auto finger = found->second;
    const auto event = touchEvent();
    finger->touch->updatePhase_locationInWindow_timestamp(
        Touch::Phase::Moved, inWindow(*finger->touch->window(), point), event->timestamp());
    const TouchList touches { finger->touch };
    for (const auto& recognizer : finger->recognizers) {
        recognizer->touchesMoved_withEvent(touches, event);
    }
    if (!finger->viewReceives) {
        return;
    }
    const bool takenAway = std::any_of(finger->recognizers.begin(), finger->recognizers.end(),
        [](const auto& recognizer) { return recognizing(*recognizer) && recognizer->cancelsTouchesInView(); });
    if (takenAway) {
        finger->viewReceives = false;
        finger->touch->view()->touchesCancelled_withEvent(touches, event);
        return;
    }
    finger->touch->view()->touchesMoved_withEvent(touches, event);
}

void SimulatedTouchScreen::touchUp(FingerId id, Point point)
{
    liftFinger(id, point, false);
}

void SimulatedTouchScreen::touchCancel(FingerId id)
{
    liftFinger(id, std::nullopt, true);
}

void SimulatedTouchScreen::liftFinger(FingerId id, std::optional<Point> point, bool cancelled)
{
    const auto found = fingers_.find(id);
    if (found == fingers_.end()) {
        return;
    }
    const auto finger = found->second;
    fingers_.erase(found);
    if (!finger->touch) {
        return;
    }
    const auto event = touchEvent();
    // A cancelled touch stays where it was last seen.
    const auto location = point ? inWindow(*finger->touch->window(), *point) : finger->touch->locationInView(nullptr);
    finger->touch->updatePhase_locationInWindow_timestamp(
        cancelled ? Touch::Phase::Cancelled : Touch::Phase::Ended, location, event->timestamp());
    const TouchList touches { finger->touch };
    for (const auto& recognizer : finger->recognizers) {
        if (cancelled) {
            recognizer->touchesCancelled_withEvent(touches, event);
        } else {
            recognizer->touchesEnded_withEvent(touches, event);
        }
    }
    if (finger->viewReceives) {
        if (cancelled) {
            finger->touch->view()->touchesCancelled_withEvent(touches, event);
        } else {
            finger->touch->view()->touchesEnded_withEvent(touches, event);
        }
    }
    for (const auto& recognizer : finger->recognizers) {
        recognizer->reset();
    }
}

void SimulatedTouchScreen::tap(Point point)
{
    touchUp(touchDown(point), point);
}

SimulatedTouchScreen::FingerId SimulatedTouchScreen::drag(Point from, Point to, int steps, bool lift)
{
    const auto id = touchDown(from);
    steps = std::max(steps, 1);
    for (int step = 1; step <= steps; ++step) {
        const double fraction = static_cast<double>(step) / steps;
        touchMove(id, { from.x + (to.x - from.x) * fraction, from.y + (to.y - from.y) * fraction });
    }
    if (lift) {
        touchUp(id, to);
    }
    return id;
}

std::shared_ptr<View> SimulatedTouchScreen::viewOfFinger(FingerId id) const
{
    const auto found = fingers_.find(id);
    if (found == fingers_.end() || !found->second->touch) {
        return nullptr;
    }
    return found->second->touch->view();
}

} // namespace lumora::platform::host
