#include "widgets/LMYouTubeActivityProgressOverlay.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::Color;
using platform::Point;
using platform::Rect;

class LMYouTubeActivityProgressOverlayTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device().screens().setMainScreen({ { 0, 0 }, { 320, 480 } }, 1);
        window_ = std::make_shared<platform::Window>(Rect { { 0, 0 }, { 320, 480 } });
        window_->setBackgroundColor(Color::whiteColor());
        window_->makeKeyAndVisible();
        overlay_ = std::make_shared<LMYouTubeActivityProgressOverlay>(Rect { { 0, 0 }, { 320, 480 } });
        window_->addSubview(overlay_);
    }

    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }
    static void wait(double seconds)
    {
        device().advanceClock(seconds);
        drainMainQueue();
    }
    /// The gray level the screen shows away from the spinner.
    [[nodiscard]] static double shownGray() { return device().display().snapshotScreen().pixelAtPoint({ 10, 10 }).red; }

    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<LMYouTubeActivityProgressOverlay> overlay_;
};

TEST_F(LMYouTubeActivityProgressOverlayTest, ShowingFadesInTheDimmingAndThenAddsACentredSpinner)
{
    overlay_->setShowing_animated(true, false); // animates all the same
    EXPECT_TRUE(overlay_->isShowing());
    ASSERT_EQ(overlay_->subviews().size(), 1U);
    EXPECT_EQ(overlay_->subviews()[0]->frame(), overlay_->bounds());
    EXPECT_DOUBLE_EQ(shownGray(), 1.0); // still transparent
    wait(0.1);
    const double midFade = shownGray();
    EXPECT_GT(midFade, 0.55);
    EXPECT_LT(midFade, 0.95);
    EXPECT_EQ(overlay_->activityIndicator(), nullptr);
    overlay_->stopActivity(); // no spinner yet: nothing to stop

    wait(0.15);
    EXPECT_NEAR(shownGray(), 0.5, 0.01); // black at alpha 0.5 over white
    const auto& spinner = overlay_->activityIndicator();
    ASSERT_NE(spinner, nullptr);
    EXPECT_EQ(spinner->superview(), overlay_);
    EXPECT_TRUE(spinner->isAnimating());
    EXPECT_EQ(spinner->activityIndicatorViewStyle(), platform::ActivityIndicatorView::Style::WhiteLarge);
    EXPECT_EQ(spinner->center(), (Point { 160, 240 }));
    // The white spinner shows over the dimming.
    EXPECT_GT(device().display().snapshotScreen().pixelAtPoint({ 160, 240 - 14 }).red, 0.6);

    // The same value again changes nothing.
    overlay_->setShowing_animated(true, true);
    EXPECT_EQ(overlay_->subviews().size(), 2U);
    EXPECT_TRUE(overlay_->layer()->animationKeys().empty());

    overlay_->stopActivity();
    EXPECT_EQ(spinner->superview(), nullptr);
    EXPECT_NEAR(shownGray(), 0.5, 0.01);
}

TEST_F(LMYouTubeActivityProgressOverlayTest, HidingDropsTheSpinnerAtOnceAndLeavesTheParentAfterTheFade)
{
    overlay_->setShowing_animated(true, true);
    wait(0.3);
    const auto spinner = overlay_->activityIndicator();
    overlay_->setShowing_animated(false, true);
    EXPECT_FALSE(overlay_->isShowing());
    EXPECT_EQ(spinner->superview(), nullptr);
    EXPECT_EQ(overlay_->superview(), window_);
    wait(0.1);
    EXPECT_GT(shownGray(), 0.55);
    EXPECT_LT(shownGray(), 0.95);
    wait(0.15);
    EXPECT_EQ(overlay_->superview(), nullptr);
    EXPECT_DOUBLE_EQ(shownGray(), 1.0);

    // Shown again in a parent, it stacks a second dimming view on the first.
    window_->addSubview(overlay_);
    overlay_->setShowing_animated(true, true);
    wait(0.3);
    EXPECT_NEAR(shownGray(), 0.25, 0.01);
}

TEST_F(LMYouTubeActivityProgressOverlayTest, HidingDuringTheFadeInStillAddsASpinnerThatLeavesWithTheOverlay)
{
    overlay_->setShowing_animated(true, true);
    wait(0.05);
    overlay_->setShowing_animated(false, true);
    drainMainQueue();
    const auto& spinner = overlay_->activityIndicator();
    ASSERT_NE(spinner, nullptr); // the interrupted fade-in still ends with a spinner
    EXPECT_EQ(spinner->superview(), overlay_);
    wait(0.25);
    EXPECT_EQ(overlay_->superview(), nullptr);
}

TEST_F(LMYouTubeActivityProgressOverlayTest, TheSpinnerSitsOnHalfTheBoundsSizesNotOnTheBoundsCentre)
{
    overlay_->setBounds({ { 40, 30 }, { 320, 480 } });
    overlay_->setShowing_animated(true, true);
    wait(0.3);
    EXPECT_EQ(overlay_->activityIndicator()->center(), (Point { 160, 240 }));
    // On screen that is 40 left of and 30 above the middle.
    const auto screen = device().display().snapshotScreen();
    EXPECT_GT(screen.pixelAtPoint({ 120, 210 - 14 }).red, 0.6);
    EXPECT_LT(screen.pixelAtPoint({ 160, 240 - 14 }).red, 0.55);
}

} // namespace
} // namespace lumora::test
