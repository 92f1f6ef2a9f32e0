#include "platform/graphics/ImageContext.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "platform/ui/Button.h"
#include "platform/ui/PanGestureRecognizer.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <cmath>
#include <gtest/gtest.h>

namespace lumora::platform {
namespace {

using host::SimulatedDevice;
using State = GestureRecognizer::State;

void advance(double seconds)
{
    SimulatedDevice::shared().advanceClock(seconds);
    test::drainMainQueue();
}

std::shared_ptr<Window> screenWindow()
{
    auto window = std::make_shared<Window>(Rect { { 0, 0 }, { 375, 667 } });
    window->setBackgroundColor(Color::blackColor());
    window->setHidden(false);
    return window;
}

std::shared_ptr<View> square(Point centre)
{
    auto view = std::make_shared<View>(Rect { { 0, 0 }, { 20, 20 } });
    view->setBackgroundColor(Color::whiteColor());
    view->setCenter(centre);
    return view;
}

double shownX(const View& view)
{
    return view.layer()->presentationLayer()->frame().center().x;
}

TEST(Animation, CurvesRunOnTheDeviceClockAndSnapshotsDrawViewsInFlight)
{
    const auto window = screenWindow();
    const auto view = square({ 50, 50 });
    window->addSubview(view);
    test::CallbackRecorder<bool> done;
    View::animateWithDuration_delay_options_animations_completion(
        1, 0.5, View::AnimationOptionCurveEaseIn,
        [&] {
            view->setCenter({ 150, 50 });
        },
        done.callback());
    EXPECT_EQ(view->center(), (Point { 150, 50 }));
    EXPECT_EQ(shownX(*view), 50); // waiting out the delay
    advance(1);
    EXPECT_GT(shownX(*view), 55); // ease-in: behind the linear 100
    EXPECT_LT(shownX(*view), 90);
    const auto middle = shownX(*view);
    const auto snapshot = SimulatedDevice::shared().display().snapshotScreen();
    EXPECT_EQ(snapshot.pixelAtPoint({ middle, 50 }).red, 1);
    EXPECT_EQ(snapshot.pixelAtPoint({ 150, 50 }).red, 0);
    EXPECT_EQ(done.callCount(), 0U);
    advance(0.5);
    ASSERT_EQ(done.callCount(), 1U);
    EXPECT_TRUE(std::get<0>(done.call()));
    EXPECT_TRUE(view->layer()->animationKeys().empty());
    EXPECT_EQ(shownX(*view), 150);
}

TEST(Animation, SpringsSettleWithinTheirDurationAndBadParametersStillEnd)
{
    const auto under = square({ 0, 0 });
    const auto stiff = square({ 0, 0 });
    View::animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
        1, 0, 0.2, 0, 0,
        [&] {
            under->setCenter({ 100, 0 });
        },
        nullptr);
    View::animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
        1, 0, 1, 0, 0,
        [&] {
            stiff->setCenter({ 100, 0 });
        },
        nullptr);
    double underMax = 0;
    double stiffMax = 0;
    for (int step = 0; step < 20; ++step) {
        advance(0.05);
        underMax = std::max(underMax, shownX(*under));
        stiffMax = std::max(stiffMax, shownX(*stiff));
    }
    EXPECT_GT(underMax, 110); // an underdamped spring overshoots
    EXPECT_LE(stiffMax, 100.0001);
    EXPECT_EQ(shownX(*under), 100);

    // No damping, no duration, no change: each ends, finished.
    test::CallbackRecorder<bool> done;
    View::animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
        0.5, 0, 0, 1e9, 0,
        [&] {
            under->setCenter({ 0, 0 });
        },
        done.callback());
    View::animateWithDuration_animations_completion(
        0, [&] { stiff->setAlpha(0.5); }, done.callback());
    View::animateWithDuration_animations_completion(
        1, [] {}, done.callback());
    EXPECT_TRUE(stiff->layer()->animationKeys().empty());
    advance(0.25);
    EXPECT_TRUE(std::isfinite(shownX(*under)));
    advance(0.25);
    ASSERT_EQ(done.callCount(), 3U);
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_TRUE(std::get<0>(done.call(index)));
    }
}

TEST(Animation, RemovedOrReplacedAnimationsStopWhereShownAndCompleteUnfinished)
{
    const auto view = square({ 0, 0 });
    test::CallbackRecorder<bool> moved;
    View::animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
        0.5, 0, 0.8, 0.3, View::AnimationOptionCurveEaseIn,
        [&] {
            view->setCenter({ 100, 100 });
        },
        moved.callback());
    advance(0.1);
    const auto shown = view->layer()->presentationLayer()->frame().center();
    EXPECT_GT(shown.x, 0);
    EXPECT_LT(shown.x, 100);
    view->layer()->removeAllAnimations();
    EXPECT_EQ(view->center(), shown);
    ASSERT_TRUE(moved.wait());
    EXPECT_FALSE(std::get<0>(moved.call()));

    test::CallbackRecorder<bool> fadeIn;
    test::CallbackRecorder<bool> fadeOut;
    view->setAlpha(0);
    View::animateWithDuration_animations_completion(
        0.2, [&] { view->setAlpha(1); }, fadeIn.callback());
    advance(0.1);
    View::animateWithDuration_animations_completion(
        0.2, [&] { view->setAlpha(0); }, fadeOut.callback());
    const double from = view->layer()->presentationLayer()->opacity();
    EXPECT_GT(from, 0); // the fade-out starts where the fade-in was shown
    ASSERT_TRUE(fadeIn.wait());
    EXPECT_FALSE(std::get<0>(fadeIn.call()));
    advance(0.2);
    ASSERT_EQ(fadeOut.callCount(), 1U);
    EXPECT_TRUE(std::get<0>(fadeOut.call()));
}

// Records what a control and a recognizer send.
class Recorder : public Object {
public:
    void pressed(const std::shared_ptr<Object>& sender) { senders.push_back(sender); }
    void panned(const std::shared_ptr<PanGestureRecognizer>& pan)
    {
        states.push_back(pan->state());
        const auto step = pan->translationInView(pan->view().get());
        moved.x += step.x;
        moved.y += step.y;
        pan->setTranslation_inView({ 0, 0 }, pan->view().get());
    }
    std::vector<std::shared_ptr<Object>> senders;
    std::vector<State> states;
    Point moved;
};

// A window that takes touches only in its top-left 100-point square.
class CornerWindow final : public Window {
public:
    using Window::Window;
    [[nodiscard]] bool pointInside_withEvent(Point point, const std::shared_ptr<Event>& /*event*/) const override
    {
        return point.x < 100 && point.y < 100;
    }
};

TEST(Touches, GoToTheTopmostWindowThatTakesThePointAndPansFollowTheFinger)
{
    const auto app = screenWindow();
    const auto below = std::make_shared<Button>(Rect { { 0, 0 }, { 375, 667 } });
    app->addSubview(below);
    const auto recorder = std::make_shared<Recorder>();
    below->addTarget_action_forControlEvents({ recorder, &Recorder::pressed }, Control::EventTouchUpInside);
    const auto floating = std::make_shared<CornerWindow>(Rect { { 0, 0 }, { 375, 667 } });
    floating->setWindowLevel(1);
    floating->setHidden(false);
    const auto content = square({ 50, 50 });
    floating->addSubview(content);
    const auto pan
        = std::make_shared<PanGestureRecognizer>(PanGestureRecognizer::Action { recorder, &Recorder::panned });
    content->addGestureRecognizer(pan);
    auto& touches = SimulatedDevice::shared().touchScreen();

    touches.tap({ 200, 300 }); // outside the floating window's square: falls through
    ASSERT_EQ(recorder->senders.size(), 1U);
    EXPECT_EQ(recorder->senders[0], below);
    touches.tap({ 1000, 1000 }); // outside every window
    touches.touchMove(99, { 1, 1 }); // a finger that never came down

    touches.drag({ 50, 50 }, { 120, 90 }, 7);
    EXPECT_EQ(recorder->states.front(), State::Began);
    EXPECT_EQ(recorder->states.back(), State::Ended);
    EXPECT_EQ(recorder->moved, (Point { 70, 40 })); // increments add up to the whole drag
    EXPECT_EQ(pan->state(), State::Possible);
    EXPECT_EQ(recorder->senders.size(), 1U);

    recorder->states.clear();
    const auto finger = touches.drag({ 50, 50 }, { 80, 50 }, 3, false);
    touches.touchCancel(finger);
    EXPECT_EQ(recorder->states.back(), State::Cancelled);
}

TEST(Touches, ButtonsSendControlEventsSwitchImagesAndSurviveTheirTargetGoing)
{
    const auto app = screenWindow();
    const auto normal = ImageContext::beginImageContextWithOptions({ 40, 40 }, false, 0);
    const auto highlighted = ImageContext::beginImageContextWithOptions({ 40, 40 }, false, 0);
    const auto button = std::make_shared<Button>();
    button->setImage_forState(normal->imageFromCurrentImageContext(), Control::StateNormal);
    button->setImage_forState(highlighted->imageFromCurrentImageContext(), Control::StateHighlighted);
    button->sizeToFit();
    EXPECT_EQ(button->bounds().size, (Size { 40, 40 }));
    button->setCenter({ 100, 100 });
    app->addSubview(button);
    // A drag of what contains the button must not start from the button.
    const auto recorder = std::make_shared<Recorder>();
    app->addGestureRecognizer(
        std::make_shared<PanGestureRecognizer>(PanGestureRecognizer::Action { recorder, &Recorder::panned }));
    button->setPassesGestureTouchesToSuperview(false);
    std::vector<Control::Events> events;
    for (const auto event : { Control::EventTouchDown, Control::EventTouchDragExit, Control::EventTouchDragEnter,
             Control::EventTouchUpInside, Control::EventTouchCancel }) {
        auto target = std::make_shared<Recorder>();
        button->addTarget_action_forControlEvents({ target, &Recorder::pressed }, event);
        // Each event's target is kept by a closure that notes the event.
        struct Noter : Recorder {
            std::vector<Control::Events>* log = nullptr;
            Control::Events event = 0;
            void note(const std::shared_ptr<Object>& /*sender*/) { log->push_back(event); }
        };
        auto noter = std::make_shared<Noter>();
        noter->log = &events;
        noter->event = event;
        button->addTarget_action_forControlEvents({ noter, &Noter::note }, event);
        recorder->senders.push_back(noter); // keeps it alive
    }
    auto& touches = SimulatedDevice::shared().touchScreen();
    const auto finger = touches.touchDown({ 100, 100 });
    EXPECT_TRUE(button->isHighlighted());
    EXPECT_EQ(button->currentImage(), button->imageForState(Control::StateHighlighted));
    touches.touchMove(finger, { 200, 100 });
    EXPECT_FALSE(button->isHighlighted());
    touches.touchMove(finger, { 101, 101 });
    touches.touchUp(finger, { 101, 101 });
    EXPECT_EQ(events,
        (std::vector<Control::Events> { Control::EventTouchDown, Control::EventTouchDragExit,
            Control::EventTouchDragEnter, Control::EventTouchUpInside }));
    EXPECT_TRUE(recorder->states.empty());
    EXPECT_FALSE(button->isHighlighted());

    // Targets released mid-gesture receive nothing; the button carries on.
    events.clear();
    const auto second = touches.touchDown({ 100, 100 });
    recorder->senders.clear();
    touches.touchCancel(second);
    EXPECT_EQ(events, (std::vector<Control::Events> { Control::EventTouchDown }));
    EXPECT_FALSE(button->isHighlighted());
}

TEST(Touches, APanThatBeginsTakesTheFingerFromTheControlAndCatchesViewsInFlight)
{
    const auto app = screenWindow();
    const auto content = square({ 50, 50 });
    app->addSubview(content);
    const auto button = std::make_shared<Button>(Rect { { 0, 0 }, { 20, 20 } });
    content->addSubview(button);
    const auto recorder = std::make_shared<Recorder>();
    button->addTarget_action_forControlEvents({ recorder, &Recorder::pressed }, Control::EventTouchCancel);
    content->addGestureRecognizer(
        std::make_shared<PanGestureRecognizer>(PanGestureRecognizer::Action { recorder, &Recorder::panned }));
    auto& touches = SimulatedDevice::shared().touchScreen();
    touches.drag({ 50, 50 }, { 50, 80 }, 3);
    EXPECT_EQ(recorder->senders.size(), 1U); // cancelled once the pan began
    EXPECT_FALSE(button->isHighlighted());

    View::animateWithDuration_animations(1, [&] { content->setCenter({ 300, 50 }); });
    advance(0.5);
    const auto shown = content->layer()->presentationLayer()->frame().center();
    const auto finger = touches.touchDown(shown);
    EXPECT_TRUE(touches.viewOfFinger(finger)->isDescendantOfView(content.get()));
    touches.touchUp(finger, shown);
}

} // namespace
} // namespace lumora::platform
