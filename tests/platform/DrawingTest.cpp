#include "platform/graphics/Image.h"
#include "platform/graphics/ImageContext.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/system/Bundle.h"
#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/BackdropView.h"
#include "platform/ui/ImageView.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace lumora::platform {
namespace {

using host::Bitmap;
using host::Pixel;
using host::SimulatedDevice;

std::shared_ptr<Color> rgb(double red, double green, double blue)
{
    return Color::colorWithRed_green_blue_alpha(red, green, blue, 1);
}

std::shared_ptr<View> box(Rect frame, std::shared_ptr<Color> color)
{
    auto view = std::make_shared<View>(frame);
    view->setBackgroundColor(std::move(color));
    return view;
}

std::shared_ptr<Window> shownWindow(Rect frame, std::shared_ptr<Color> color, double level = 0)
{
    auto window = std::make_shared<Window>(frame);
    window->setBackgroundColor(std::move(color));
    window->setWindowLevel(level);
    window->setHidden(false);
    return window;
}

// A solid image of `size` points at `scale`, `filled` (in points) opaque white.
std::shared_ptr<Image> solidImage(Size size, double scale, Rect filled)
{
    const auto context = ImageContext::beginImageContextWithOptions(size, false, scale);
    context->setGrayFillColor_alpha(1, 1);
    context->fillRect(filled);
    return context->imageFromCurrentImageContext();
}

void expectPixel(const Pixel& pixel, double red, double green, double blue, double alpha)
{
    constexpr double tolerance = 0.01;
    EXPECT_NEAR(pixel.red, red, tolerance);
    EXPECT_NEAR(pixel.green, green, tolerance);
    EXPECT_NEAR(pixel.blue, blue, tolerance);
    EXPECT_NEAR(pixel.alpha, alpha, tolerance);
}

Pixel screenPixel(Point point)
{
    return SimulatedDevice::shared().display().snapshotScreen().pixelAtPoint(point);
}

TEST(Drawing, TheScreenCompositesWindowsByLevelAndTheirTreesWithBoundsAlphaClippingAndDepth)
{
    const auto app = shownWindow({ { 0, 0 }, { 375, 667 } }, rgb(1, 0, 0));
    const auto below = shownWindow({ { 0, 0 }, { 50, 50 } }, rgb(0, 1, 0), -1); // joins later, lower level
    const auto floating = shownWindow({ { 100, 100 }, { 100, 100 } }, rgb(0, 0, 1), 1);
    const auto panel = std::make_shared<View>(Rect { { 10, 10 }, { 50, 50 } });
    panel->setBounds({ { 20, 20 }, { 50, 50 } });
    panel->setClipsToBounds(true);
    panel->setAlpha(0.5);
    floating->addSubview(panel);
    panel->addSubview(box({ { 20, 20 }, { 100, 10 } }, rgb(1, 1, 1))); // at the panel's top left, cut at its edge
    const auto hidden = box({ { 0, 40 }, { 100, 100 } }, rgb(0, 0, 0));
    hidden->setHidden(true);
    floating->addSubview(hidden);
    const auto under = box({ { 0, 80 }, { 10, 10 } }, rgb(0, 1, 0));
    const auto over = box({ { 0, 80 }, { 10, 10 } }, rgb(1, 1, 0));
    over->layer()->setZPosition(1);
    floating->addSubview(over);
    floating->addSubview(under); // added later, drawn earlier by depth

    const auto snapshot = SimulatedDevice::shared().display().snapshotScreen();
    ASSERT_EQ(snapshot.width(), 750);
    ASSERT_EQ(snapshot.height(), 1334);
    expectPixel(snapshot.pixelAtPoint({ 25, 25 }), 1, 0, 0, 1);
    expectPixel(snapshot.pixelAtPoint({ 150, 190 }), 0, 0, 1, 1);
    expectPixel(snapshot.pixelAtPoint({ 115, 112 }), 0.5, 0.5, 1, 1);
    expectPixel(snapshot.pixelAtPoint({ 165, 112 }), 0, 0, 1, 1);
    expectPixel(snapshot.pixelAtPoint({ 105, 185 }), 1, 1, 0, 1);

    floating->setHidden(true);
    expectPixel(screenPixel({ 150, 150 }), 1, 0, 0, 1);
    SimulatedDevice::shared().screens().removeMainScreen();
    EXPECT_TRUE(SimulatedDevice::shared().display().snapshotScreen().isEmpty());
}

TEST(Drawing, ImagesAreDrawnAtTheirScaleAndBadSizesOrAlphasDrawNothingWrong)
{
    const auto window = shownWindow({ { 0, 0 }, { 375, 667 } }, rgb(0, 0, 0));
    const auto image = solidImage({ 10, 10 }, 3, { { 0, 0 }, { 5, 10 } });
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->size(), (Size { 10, 10 }));
    EXPECT_EQ(Bitmap::ofImage(image.get()).width(), 30);
    const auto imageView = std::make_shared<ImageView>(image);
    imageView->setCenter({ 105, 105 });
    window->addSubview(imageView);
    const auto odd = box({ { 200, 200 }, { -20, 30 } }, rgb(1, 1, 1)); // negative width
    odd->addSubview(box({ { 0, 0 }, { 10, 10 } }, rgb(0, 1, 0)));
    odd->setAlpha(7); // drawn as 1
    window->addSubview(odd);
    const auto invisible = box({ { 300, 300 }, { 10, 10 } }, rgb(1, 1, 1));
    invisible->setAlpha(-3);
    window->addSubview(invisible);

    const auto snapshot = SimulatedDevice::shared().display().snapshotScreen();
    expectPixel(snapshot.pixelAtPoint({ 102, 105 }), 1, 1, 1, 1);
    expectPixel(snapshot.pixelAtPoint({ 107, 105 }), 0, 0, 0, 1);
    expectPixel(snapshot.pixelAtPoint({ 205, 205 }), 0, 1, 0, 1);
    expectPixel(snapshot.pixelAtPoint({ 195, 205 }), 0, 0, 0, 1);
    expectPixel(snapshot.pixelAtPoint({ 305, 305 }), 0, 0, 0, 1);

    const auto viewShot = SimulatedDevice::shared().display().snapshotView(*imageView);
    EXPECT_EQ(viewShot.width(), 20); // the screen's scale
    expectPixel(viewShot.pixelAtPoint({ 2, 2 }), 1, 1, 1, 1);
    expectPixel(viewShot.pixelAtPoint({ 7, 2 }), 0, 0, 0, 0);
}

TEST(Drawing, ImageContextsCutAndPaintWithBlendModes)
{
    // A translucent gray plate, the left half cut out, a glyph cut out and
    // painted back at alpha 0.3.
    const auto context = ImageContext::beginImageContextWithOptions({ 20, 10 }, false, 0);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->scale(), 2);
    context->setGrayFillColor_alpha(0.96, 0.96);
    context->fillRect({ { 0, 0 }, { 20, 10 } });
    const auto plate = solidImage({ 20, 10 }, 2, { { 0, 0 }, { 10, 10 } });
    const auto glyph = solidImage({ 20, 10 }, 2, { { 12, 0 }, { 4, 10 } });
    context->drawImage_atPoint_blendMode_alpha(*plate, { 0, 0 }, BlendMode::DestinationOut, 1);
    context->drawImage_atPoint_blendMode_alpha(*glyph, { 0, 0 }, BlendMode::DestinationOut, 1);
    context->drawImage_atPoint_blendMode_alpha(*glyph, { 0, 0 }, BlendMode::Normal, 0.3);
    const auto pixels = Bitmap::ofImage(context->imageFromCurrentImageContext().get());
    EXPECT_EQ(pixels.width(), 40);
    expectPixel(pixels.pixelAtPoint({ 5, 5 }), 0, 0, 0, 0);
    expectPixel(pixels.pixelAtPoint({ 11, 5 }), 0.96, 0.96, 0.96, 0.96);
    expectPixel(pixels.pixelAtPoint({ 14, 5 }), 1, 1, 1, 0.3);

    const auto opaque = ImageContext::beginImageContextWithOptions({ 4, 4 }, true, 1);
    EXPECT_EQ(Bitmap::ofImage(opaque->imageFromCurrentImageContext().get()).pixelAt(1, 1).alpha, 1);
    EXPECT_EQ(ImageContext::beginImageContextWithOptions({ 0, 10 }, false, 1), nullptr);
    EXPECT_EQ(ImageContext::beginImageContextWithOptions({ 10, -1 }, false, 1), nullptr);
    SimulatedDevice::shared().screens().removeMainScreen();
    EXPECT_EQ(ImageContext::beginImageContextWithOptions({ 4, 4 }, false, 0)->scale(), 1);
}

TEST(Drawing, BundleImagesComeInTheVariantForTheScreenScale)
{
    const auto folder = std::filesystem::temp_directory_path() / ("lumora-images-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    const auto write = [&](const std::string& name, double scale) {
        const auto image = solidImage({ 4, 4 }, scale, { { 0, 0 }, { 4, 4 } });
        ASSERT_TRUE(Bitmap::ofImage(image.get()).writePNG((folder / name).string()));
    };
    write("Mask.png", 1);
    write("Mask@2x.png", 2);
    write("Only@3x.png", 3);
    const auto bundle = std::make_shared<Bundle>(folder.string());

    const auto mask = Image::imageNamed_inBundle("Mask", bundle);
    ASSERT_NE(mask, nullptr);
    EXPECT_EQ(mask->scale(), 2);
    EXPECT_EQ(mask->size(), (Size { 4, 4 }));
    EXPECT_EQ(Image::imageNamed_inBundle("Only", bundle)->scale(), 3);
    EXPECT_EQ(Image::imageNamed_inBundle("Missing", bundle), nullptr);
    SimulatedDevice::shared().screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 3);
    EXPECT_EQ(Image::imageNamed_inBundle("Mask", bundle)->scale(), 2); // no @3x: the nearest smaller
    SimulatedDevice::shared().screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 1);
    EXPECT_EQ(Image::imageNamed_inBundle("Mask", bundle)->scale(), 1);
    std::filesystem::remove_all(folder);
}

TEST(Drawing, TheBackdropBlursWhatLiesBeneathOnlyWithinItsMaskShape)
{
    const auto window = shownWindow({ { 0, 0 }, { 375, 667 } }, rgb(1, 0, 0));
    window->addSubview(box({ { 100, 0 }, { 275, 667 } }, rgb(0, 0, 1))); // red left, blue right of x = 100
    const auto backdrop = std::make_shared<BackdropView>(BackdropView::StyleLight);
    backdrop->setFrame({ { 50, 50 }, { 100, 100 } });
    window->addSubview(backdrop);

    auto snapshot = SimulatedDevice::shared().display().snapshotScreen();
    const auto edge = snapshot.pixelAtPoint({ 101, 100 });
    EXPECT_GT(edge.red, 0.2);
    EXPECT_GT(edge.blue, 0.2);
    EXPECT_LT(snapshot.pixelAtPoint({ 101, 200 }).red, 0.01); // outside the backdrop: sharp

    // Only the top half shapes the blur; the mask view itself never shows.
    const auto shape = std::make_shared<ImageView>(solidImage({ 100, 100 }, 2, { { 0, 0 }, { 100, 50 } }));
    shape->setAlpha(0);
    shape->setBackdropMaskViewFlags(View::BackdropMaskFilters);
    backdrop->addSubview(shape);
    backdrop->updateMaskViewsForView(shape);
    EXPECT_EQ(backdrop->maskViews().size(), 1U);
    snapshot = SimulatedDevice::shared().display().snapshotScreen();
    EXPECT_GT(snapshot.pixelAtPoint({ 101, 75 }).red, 0.2);
    expectPixel(snapshot.pixelAtPoint({ 101, 125 }), 0, 0, 1, 1);
}

TEST(Drawing, TheLargeWhiteSpinnerTurnsOnTheDeviceClock)
{
    const auto spinner = std::make_shared<ActivityIndicatorView>(ActivityIndicatorView::Style::WhiteLarge);
    EXPECT_EQ(spinner->bounds().size, (Size { 37, 37 }));
    EXPECT_TRUE(spinner->isHidden());
    spinner->startAnimating();
    EXPECT_FALSE(spinner->isHidden());
    auto& display = SimulatedDevice::shared().display();
    const auto before = display.snapshotView(*spinner).rgbaBytes();
    EXPECT_EQ(display.snapshotView(*spinner).pixelAtPoint({ 18.5, 3 }).red, 1); // white spokes
    SimulatedDevice::shared().advanceClock(1.0 / 12);
    EXPECT_NE(display.snapshotView(*spinner).rgbaBytes(), before);
    SimulatedDevice::shared().advanceClock(11.0 / 12);
    EXPECT_EQ(display.snapshotView(*spinner).rgbaBytes(), before);
    spinner->stopAnimating();
    EXPECT_TRUE(spinner->isHidden());
}

} // namespace
} // namespace lumora::platform
