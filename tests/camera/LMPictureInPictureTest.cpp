#include "camera/LMPassThroughView.h"
#include "camera/LMPictureInPictureController.h"
#include "camera/LMPictureInPictureViewController.h"
#include "camera/LMPictureInPictureWindow.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "platform/ui/Control.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::Color;
using platform::Point;
using platform::Rect;
using platform::View;

class Tapped final : public platform::Object {
public:
    void tapped(const std::shared_ptr<platform::Object>& /*sender*/) { ++count; }
    int count = 0;
};

class LMPictureInPictureTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device().screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 1);
        // The application beneath: one control covering the screen.
        appWindow_ = std::make_shared<platform::Window>(Rect { { 0, 0 }, { 375, 667 } });
        appWindow_->setRootViewController(std::make_shared<platform::ViewController>());
        appControl_ = std::make_shared<platform::Control>(Rect { { 0, 0 }, { 375, 667 } });
        appControl_->setBackgroundColor(Color::whiteColor());
        appControl_->addTarget_action_forControlEvents(
            platform::Control::Action(appTaps_, &Tapped::tapped), platform::Control::EventTouchUpInside);
        appWindow_->rootViewController()->view()->addSubview(appControl_);
        appWindow_->makeKeyAndVisible();

        content_ = std::make_shared<View>(Rect { { 200, 300 }, { 100, 150 } });
        content_->setBackgroundColor(Color::colorWithRed_green_blue_alpha(1, 0, 0, 1));
    }

    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }
    static void wait(double seconds)
    {
        device().advanceClock(seconds);
        drainMainQueue();
    }
    std::shared_ptr<LMPictureInPictureViewController> show()
    {
        const auto controller = LMPictureInPictureController::sharedController();
        controller->showPictureInPictureWindowWithContentView(content_);
        return std::static_pointer_cast<LMPictureInPictureViewController>(
            controller->pictureInPictureWindow()->rootViewController());
    }
    /// Drags the content view by its centre to `to` and lets it settle.
    void dragContentTo(Point to)
    {
        device().touchScreen().drag(content_->center(), to);
        wait(1);
    }

    std::shared_ptr<platform::Window> appWindow_;
    std::shared_ptr<platform::Control> appControl_;
    std::shared_ptr<Tapped> appTaps_ = std::make_shared<Tapped>();
    std::shared_ptr<View> content_;
};

TEST_F(LMPictureInPictureTest, ShowingFloatsTheContentAboveTheAppAndSpringsItToTheTopLeft)
{
    const auto pip = show();
    const auto& window = LMPictureInPictureController::sharedController()->pictureInPictureWindow();
    EXPECT_FALSE(window->isHidden());
    EXPECT_FALSE(window->isOpaque());
    EXPECT_EQ(window->frame(), (Rect { { 0, 0 }, { 375, 667 } }));
    EXPECT_EQ(window->contentView(), content_);
    EXPECT_EQ(pip->contentView(), content_);
    const auto passThrough = std::dynamic_pointer_cast<LMPassThroughView>(pip->view());
    ASSERT_NE(passThrough, nullptr);
    EXPECT_EQ(passThrough->superview(), window);
    EXPECT_EQ(passThrough->hitableView(), content_);
    EXPECT_EQ(pip->currentAlignment(), PipAlignment::TopLeft);

    // On a spring: not there at once, there within the half second.
    wait(0.1);
    EXPECT_NE(content_->layer()->presentationLayer()->frame().center(), (Point { 75, 100 }));
    wait(0.5);
    EXPECT_EQ(content_->center(), (Point { 75, 100 }));

    // The screen shows the content above the app.
    const auto screen = device().display().snapshotScreen();
    const auto onContent = screen.pixelAtPoint({ 75, 100 });
    EXPECT_NEAR(onContent.red, 1, 0.01);
    EXPECT_NEAR(onContent.green, 0, 0.01);
    EXPECT_NEAR(screen.pixelAtPoint({ 300, 500 }).green, 1, 0.01);
}

TEST_F(LMPictureInPictureTest, EachCornerHasItsCentreAndBottomRightMeasuresTheControllersOwnView)
{
    const auto pip = show();
    struct Corner {
        PipAlignment alignment;
        Point center;
    };
    const Corner corners[] = {
        { PipAlignment::TopLeft, { 75, 100 } },
        { PipAlignment::TopRight, { 300, 100 } },
        { PipAlignment::BottomLeft, { 75, 567 } },
        { PipAlignment::BottomRight, { 300, 567 } },
        { static_cast<PipAlignment>(7), { 300, 567 } },
    };
    for (const auto& corner : corners) {
        pip->updateContentViewWithAlignment_size(corner.alignment, { 375, 667 });
        wait(0.6);
        EXPECT_EQ(content_->center(), corner.center) << static_cast<int>(corner.alignment);
        EXPECT_EQ(pip->currentAlignment(), corner.alignment);
    }

    // Given another size, the top-right and bottom-left corners follow it;
    // the bottom-right one keeps to the controller's own view.
    pip->updateContentViewWithAlignment_size(PipAlignment::TopRight, { 200, 300 });
    wait(0.6);
    EXPECT_EQ(content_->center(), (Point { 125, 100 }));
    pip->updateContentViewWithAlignment_size(PipAlignment::BottomLeft, { 200, 300 });
    wait(0.6);
    EXPECT_EQ(content_->center(), (Point { 75, 200 }));
    pip->updateContentViewWithAlignment_size(PipAlignment::BottomRight, { 200, 300 });
    wait(0.6);
    EXPECT_EQ(content_->center(), (Point { 300, 567 }));
}

TEST_F(LMPictureInPictureTest, LettingGoSnapsToTheQuarterOfTheCentreAndTiesGoToTheTopLeft)
{
    show();
    wait(0.6);
    dragContentTo({ 300, 500 });
    EXPECT_EQ(content_->center(), (Point { 300, 567 }));
    dragContentTo({ 250, 200 });
    EXPECT_EQ(content_->center(), (Point { 300, 100 }));
    dragContentTo({ 100, 600 });
    EXPECT_EQ(content_->center(), (Point { 75, 567 }));
    dragContentTo({ 150, 200 });
    EXPECT_EQ(content_->center(), (Point { 75, 100 }));

    // Exactly on the vertical midline, in the lower half, or on the
    // horizontal midline on the right: the top left all the same.
    dragContentTo({ 187.5, 550 });
    EXPECT_EQ(content_->center(), (Point { 75, 100 }));
    dragContentTo({ 320, 333.5 });
    EXPECT_EQ(content_->center(), (Point { 75, 100 }));
}

TEST_F(LMPictureInPictureTest, TouchesOffTheContentReachTheAppAndAFingerStopsASpringWhereItIs)
{
    const auto pip = show();
    wait(0.6);
    device().touchScreen().tap({ 300, 400 });
    EXPECT_EQ(appTaps_->count, 1);
    device().touchScreen().tap({ 75, 100 });
    EXPECT_EQ(appTaps_->count, 1); // the content view took it

    // Send it springing to the bottom right and catch it on the way.
    pip->updateContentViewWithAlignment_size(PipAlignment::BottomRight, { 375, 667 });
    wait(0.15);
    const Point shown = content_->layer()->presentationLayer()->frame().center();
    ASSERT_NE(shown, (Point { 300, 567 }));
    const auto finger = device().touchScreen().touchDown(shown);
    device().touchScreen().touchMove(finger, { shown.x + 30, shown.y });
    EXPECT_TRUE(content_->layer()->animationKeys().empty());
    EXPECT_NEAR(content_->center().x, shown.x + 30, 1e-9);
    EXPECT_NEAR(content_->center().y, shown.y, 1e-9);
    wait(1); // held: nothing moves it
    EXPECT_NEAR(content_->center().x, shown.x + 30, 1e-9);

    // A cancelled drag stays where the finger left it.
    device().touchScreen().touchCancel(finger);
    wait(1);
    EXPECT_NEAR(content_->center().x, shown.x + 30, 1e-9);
}

TEST_F(LMPictureInPictureTest, TheContentKeepsItsCornerWhenTheInterfaceTurns)
{
    const auto pip = show();
    pip->updateContentViewWithAlignment_size(PipAlignment::TopRight, { 375, 667 });
    wait(0.6);
    device().application().transitionToSize({ 667, 375 }, 0.3);
    wait(0.6);
    EXPECT_EQ(pip->currentAlignment(), PipAlignment::TopRight);
    EXPECT_EQ(content_->center(), (Point { 592, 100 }));
    EXPECT_EQ(pip->supportedInterfaceOrientations(), 30U);
    EXPECT_TRUE(pip->shouldAutorotate());
}

TEST_F(LMPictureInPictureTest, ShowingAgainReplacesTheWindowAndHidingLetsItGo)
{
    const auto controller = LMPictureInPictureController::sharedController();
    EXPECT_EQ(controller, LMPictureInPictureController::sharedController());
    controller->hidePictureInPictureWindow(); // nothing shown: nothing happens
    EXPECT_EQ(controller->pictureInPictureWindow(), nullptr);

    // Without a content view the window is there but takes no touch at all.
    controller->showPictureInPictureWindowWithContentView(nullptr);
    const auto empty = controller->pictureInPictureWindow();
    device().touchScreen().tap({ 75, 100 });
    EXPECT_EQ(appTaps_->count, 1);

    show();
    const auto first = controller->pictureInPictureWindow();
    show();
    const auto second = controller->pictureInPictureWindow();
    EXPECT_NE(first, second);
    EXPECT_FALSE(empty->isHidden());
    EXPECT_FALSE(first->isHidden());

    controller->hidePictureInPictureWindow();
    EXPECT_TRUE(second->isHidden());
    EXPECT_TRUE(second->isOpaque());
    EXPECT_EQ(controller->pictureInPictureWindow(), nullptr);
}

} // namespace
} // namespace lumora::test
