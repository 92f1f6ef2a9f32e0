#include "widgets/LMVideoOverlayButton.h"
#include "widgets/LMFlatVideoOverlayButton.h"
#include "widgets/LMHighFidelityVideoOverlayButton.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Window.h"
#include "recording/LMExtensions.h"
#include "tests/harness/Harness.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::Color;
using platform::Point;
using platform::Rect;
using platform::View;
using platform::host::Bitmap;
using platform::host::Pixel;

// Points of the 60-point mask artwork: outside the plate, on the plate away
// from the glyph, and inside the glyph.
constexpr Point offPlate { 2, 2 };
constexpr Point onPlate { 30, 8 };
constexpr Point onGlyph { 31, 30 };
constexpr double pixelTolerance = 1.5 / 255;

class Player final : public platform::Object {
public:
    void play(const std::shared_ptr<platform::Object>& sender)
    {
        senders.push_back(sender);
        if (const auto button = std::dynamic_pointer_cast<LMHighFidelityVideoOverlayButton>(sender)) {
            glyphAlphaSeen = button->button()->alpha();
        }
    }
    std::vector<std::shared_ptr<platform::Object>> senders;
    double glyphAlphaSeen = -1;
};

class LMVideoOverlayButtonTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device().screens().setMainScreen({ { 0, 0 }, { 320, 480 } }, 2);
        window_ = std::make_shared<platform::Window>(Rect { { 0, 0 }, { 320, 480 } });
        window_->makeKeyAndVisible();
    }

    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }
    /// Puts `button` in the window with its top-left corner at (100, 100).
    Point place(const std::shared_ptr<View>& button)
    {
        button->setFrame({ { 100, 100 }, button->frame().size });
        window_->addSubview(button);
        return button->center();
    }
    static void expectPixel(const Pixel& pixel, double gray, double alpha)
    {
        EXPECT_NEAR(pixel.alpha, alpha, pixelTolerance);
        if (alpha > 0) {
            EXPECT_NEAR(pixel.red, gray, pixelTolerance);
            EXPECT_NEAR(pixel.green, gray, pixelTolerance);
            EXPECT_NEAR(pixel.blue, gray, pixelTolerance);
        }
    }

    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<Player> player_ = std::make_shared<Player>();
};

TEST_F(LMVideoOverlayButtonTest, TheFactoryPicksTheLookForTheStyleAndTheDevice)
{
    const auto flat
        = std::dynamic_pointer_cast<LMFlatVideoOverlayButton>(LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(2));
    ASSERT_NE(flat, nullptr);
    EXPECT_EQ(flat->style(), 2);

    const auto bare = std::dynamic_pointer_cast<LMHighFidelityVideoOverlayButton>(
        LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(5));
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->style(), 5);
    EXPECT_EQ(bare->backdropView(), nullptr);
    EXPECT_EQ(bare->subviews().size(), 1U);

    const auto blurred = std::dynamic_pointer_cast<LMHighFidelityVideoOverlayButton>(
        LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(0));
    ASSERT_NE(blurred, nullptr);
    ASSERT_NE(blurred->backdropView(), nullptr);
    EXPECT_EQ(blurred->backdropView()->style(), 2010);
    EXPECT_EQ(blurred->frame().size, (platform::Size { 60, 60 }));
    EXPECT_NEAR(blurred->button()->alpha(), LMVideoOverlayDefaultGlyphAlpha, 0);

    device().hardware().setGraphicsQuality(platform::Device::ReducedGraphicsQuality);
    const auto reduced
        = std::dynamic_pointer_cast<LMFlatVideoOverlayButton>(LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(0));
    ASSERT_NE(reduced, nullptr);
    EXPECT_EQ(reduced->style(), 0); // an automatic flat button keeps its style
    EXPECT_EQ(reduced->frame().size, (platform::Size { 60, 60 }));
}

TEST_F(LMVideoOverlayButtonTest, TheFlatImagesAreAGrayPlateWithTheMaskCutOutAndTheGlyphPaintedBack)
{
    const auto normal = Bitmap::ofImage(LMFlatVideoOverlayButton::_normalButtonImage().get());
    const auto highlighted = Bitmap::ofImage(LMFlatVideoOverlayButton::_highlightedButtonImage().get());
    ASSERT_EQ(normal.width(), 120); // at the main screen's scale
    for (const auto* image : { &normal, &highlighted }) {
        expectPixel(image->pixelAtPoint(offPlate), 0.96, 0.96);
        expectPixel(image->pixelAtPoint(onPlate), 0, 0);
    }
    expectPixel(normal.pixelAtPoint(onGlyph), 1, 0.3);
    expectPixel(highlighted.pixelAtPoint(onGlyph), 1, 0.5);

    // Drawn once, shared by every flat button.
    const auto first = LMFlatVideoOverlayButton::initWithStyle(2);
    const auto second = LMFlatVideoOverlayButton::initWithStyle(2);
    EXPECT_EQ(
        first->imageForState(platform::Control::StateNormal), second->imageForState(platform::Control::StateNormal));
    EXPECT_EQ(first->imageForState(platform::Control::StateHighlighted),
        second->imageForState(platform::Control::StateHighlighted));
    EXPECT_EQ(first->imageForState(platform::Control::StateNormal), LMFlatVideoOverlayButton::_normalButtonImage());
}

TEST_F(LMVideoOverlayButtonTest, AFlatButtonHighlightsUnderTheFingerAndReportsATapToALiveTarget)
{
    const auto button = LMFlatVideoOverlayButton::initWithStyle(2);
    const auto center = place(button);
    button->setTarget_action(player_, &Player::play);

    const auto finger = device().touchScreen().touchDown(center);
    EXPECT_EQ(button->currentImage(), LMFlatVideoOverlayButton::_highlightedButtonImage());
    const auto screen = device().display().snapshotScreen();
    expectPixel(screen.pixelAtPoint({ 100 + onGlyph.x, 100 + onGlyph.y }), 0.5, 1); // glyph at 0.5 over black
    device().touchScreen().touchUp(finger, center);
    EXPECT_EQ(button->currentImage(), LMFlatVideoOverlayButton::_normalButtonImage());
    ASSERT_EQ(player_->senders.size(), 1U);
    EXPECT_EQ(player_->senders[0], button);

    // A target that has gone receives nothing, and the button carries on.
    player_.reset();
    device().touchScreen().tap(center);
    const auto another = std::make_shared<Player>();
    button->setTarget(another);
    device().touchScreen().tap(center);
    EXPECT_EQ(another->senders.size(), 1U);
}

TEST_F(LMVideoOverlayButtonTest, TheHighFidelityGlyphFollowsTheFingerAndATapDeactivatesFirst)
{
    const auto button = LMHighFidelityVideoOverlayButton::initWithStyle(0);
    const auto center = place(button);
    button->setTarget_action(player_, &Player::play);
    auto& touches = device().touchScreen();

    const auto cancelled = touches.touchDown(center);
    EXPECT_DOUBLE_EQ(button->button()->alpha(), LMVideoOverlayHighlightedGlyphAlpha);
    touches.touchCancel(cancelled);
    EXPECT_DOUBLE_EQ(button->button()->alpha(), LMVideoOverlayHighlightedGlyphAlpha); // a cancel changes nothing

    const auto finger = touches.touchDown(center);
    touches.touchMove(finger, { center.x + 200, center.y });
    EXPECT_DOUBLE_EQ(button->button()->alpha(), LMVideoOverlayDefaultGlyphAlpha);
    touches.touchMove(finger, center);
    EXPECT_DOUBLE_EQ(button->button()->alpha(), LMVideoOverlayHighlightedGlyphAlpha);
    touches.touchUp(finger, center);
    EXPECT_DOUBLE_EQ(button->button()->alpha(), 0.30000001192092896);
    ASSERT_EQ(player_->senders.size(), 1U);
    EXPECT_EQ(player_->senders[0], button); // the outer button, not the inner one
    EXPECT_DOUBLE_EQ(player_->glyphAlphaSeen, LMVideoOverlayDefaultGlyphAlpha);

    player_.reset();
    touches.tap(center); // nobody to tell
    EXPECT_DOUBLE_EQ(button->button()->alpha(), LMVideoOverlayDefaultGlyphAlpha);
}

TEST_F(LMVideoOverlayButtonTest, TheHighFidelityPlateBlursWhatLiesBeneathOnlyInsideTheMask)
{
    // Sharp vertical stripes, one point wide, red and blue, under the button.
    for (int x = 0; x < 320; ++x) {
        auto stripe = std::make_shared<View>(Rect { { static_cast<double>(x), 0 }, { 1, 480 } });
        stripe->setBackgroundColor(x % 2 == 0 ? Color::colorWithRed_green_blue_alpha(1, 0, 0, 1)
                                              : Color::colorWithRed_green_blue_alpha(0, 0, 1, 1));
        window_->addSubview(stripe);
    }
    const auto button = LMHighFidelityVideoOverlayButton::initWithStyle(0);
    place(button);
    const auto screen = device().display().snapshotScreen();

    const auto outside = screen.pixelAtPoint({ 100 + offPlate.x + 0.25, 100 + offPlate.y });
    EXPECT_NEAR(outside.red, 1, pixelTolerance); // untouched stripe
    EXPECT_NEAR(outside.blue, 0, pixelTolerance);
    const auto blurred = screen.pixelAtPoint({ 100 + onPlate.x + 0.25, 100 + onPlate.y });
    EXPECT_GT(blurred.red, 0.2); // the stripes run together
    EXPECT_GT(blurred.blue, 0.2);
}

TEST_F(LMVideoOverlayButtonTest, MissingMaskImagesGiveEmptyButtonsAndImages)
{
    // A framework bundle without its artwork.
    const auto bundle = std::filesystem::temp_directory_path() / ("lumora-no-masks-" + std::to_string(::getpid()));
    std::filesystem::remove_all(bundle);
    std::filesystem::copy(frameworkBundleDirectory(), bundle, std::filesystem::copy_options::recursive);
    for (const auto& entry : std::filesystem::directory_iterator(bundle)) {
        if (entry.path().extension() == ".png") {
            std::filesystem::remove(entry.path());
        }
    }
    device().mountDirectory(std::string(LMExtensions::FrameworkBundlePath), bundle.string());

    EXPECT_EQ(
        Bitmap::ofImage(
            LMFlatVideoOverlayButton::_createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(0.96, 0.96, 0.3)
                .get())
            .isEmpty(),
        true);
    const auto button = LMHighFidelityVideoOverlayButton::initWithStyle(0);
    EXPECT_EQ(button->frame().size, (platform::Size {}));
    place(button);
    device().touchScreen().tap({ 100, 100 });
    std::filesystem::remove_all(bundle);
}

} // namespace
} // namespace lumora::test
