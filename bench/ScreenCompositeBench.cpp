// Drawing a full 750 x 1334 pixel screen of about twenty views, with a
// floating window and a button over the application's window, beside a
// plain copy of the same number of pixels; the same screen with the
// framework's own picture-in-picture window and flat overlay button; and what
// a flat overlay button costs once the first one has drawn the shared images.

#include "camera/LMPictureInPictureController.h"
#include "platform/graphics/ImageContext.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/ui/Button.h"
#include "platform/ui/Window.h"
#include "widgets/LMFlatVideoOverlayButton.h"
#include "widgets/LMVideoOverlayButton.h"

#include <benchmark/benchmark.h>
#include <cstring>

namespace {

using namespace lumora::platform;

struct Scene {
    std::shared_ptr<Window> app;
    std::shared_ptr<Window> floating;
};

Scene makeScene()
{
    auto& device = host::SimulatedDevice::shared();
    device.reset();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    Scene scene;
    scene.app = std::make_shared<Window>(Rect { { 0, 0 }, { 375, 667 } });
    scene.app->setBackgroundColor(Color::whiteColor());
    scene.app->setHidden(false);
    // A list of rows, each with an icon and two lines of text stand-ins.
    for (int row = 0; row < 5; ++row) {
        auto cell = std::make_shared<View>(Rect { { 0, 64.0 + row * 90 }, { 375, 88 } });
        cell->setBackgroundColor(Color::colorWithWhite_alpha(0.95, 1));
        auto icon = std::make_shared<View>(Rect { { 12, 12 }, { 64, 64 } });
        icon->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.2, 0.4 + row * 0.1, 0.8, 1));
        icon->layer()->setCornerRadius(12);
        icon->setClipsToBounds(true);
        auto title = std::make_shared<View>(Rect { { 88, 20 }, { 200, 16 } });
        title->setBackgroundColor(Color::colorWithWhite_alpha(0.2, 1));
        cell->addSubview(icon);
        cell->addSubview(title);
        scene.app->addSubview(cell);
    }
    auto bar = std::make_shared<View>(Rect { { 0, 0 }, { 375, 64 } });
    bar->setBackgroundColor(Color::colorWithWhite_alpha(0.98, 0.9));
    scene.app->addSubview(bar);

    scene.floating = std::make_shared<Window>(Rect { { 0, 0 }, { 375, 667 } });
    scene.floating->setWindowLevel(1);
    scene.floating->setHidden(false);
    auto content = std::make_shared<View>(Rect { { 250, 492 }, { 100, 150 } });
    content->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.1, 0.1, 0.1, 1));
    scene.floating->addSubview(content);

    const auto context = ImageContext::beginImageContextWithOptions({ 60, 60 }, false, 0);
    context->setGrayFillColor_alpha(0.96, 0.96);
    context->fillRoundedRect({ { 0, 0 }, { 60, 60 } }, 30);
    auto button = std::make_shared<Button>();
    button->setImage_forState(context->imageFromCurrentImageContext(), Control::StateNormal);
    button->sizeToFit();
    button->setCenter({ 187.5, 333.5 });
    scene.app->addSubview(button);
    return scene;
}

void BM_CompositeScreen(benchmark::State& state)
{
    const auto scene = makeScene();
    host::Bitmap frame;
    auto& display = host::SimulatedDevice::shared().display();
    for (auto _ : state) {
        display.drawScreen(frame);
        benchmark::DoNotOptimize(frame.data());
    }
    state.counters["frames/s"]
        = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CompositeScreen)->Unit(benchmark::kMillisecond);

// The baseline: copying one screen's pixels once.
void BM_CopyScreenPixels(benchmark::State& state)
{
    const host::Bitmap source(750, 1334, 2);
    host::Bitmap target(750, 1334, 2);
    const auto bytes = static_cast<std::size_t>(source.stride()) * static_cast<std::size_t>(source.height());
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), bytes);
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
    state.counters["frames/s"]
        = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CopyScreenPixels)->Unit(benchmark::kMillisecond);

void mountFramework()
{
    host::SimulatedDevice::shared().mountDirectory(
        "/System/Library/Frameworks/Lumora.framework", LUMORA_FRAMEWORK_BUNDLE_DIR);
}

// The same screen, with the framework's picture-in-picture window in its
// corner and a flat overlay button over the list.
void BM_CompositeScreenWithWidgets(benchmark::State& state)
{
    const auto scene = makeScene();
    mountFramework();
    auto content = std::make_shared<View>(Rect { { 0, 0 }, { 100, 150 } });
    content->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.1, 0.1, 0.1, 1));
    const auto pip = lumora::LMPictureInPictureController::sharedController();
    pip->showPictureInPictureWindowWithContentView(content);
    const auto button
        = lumora::LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(lumora::LMVideoOverlayButton::StyleFlat);
    button->setCenter({ 187.5, 200 });
    scene.app->addSubview(button);
    host::Bitmap frame;
    auto& display = host::SimulatedDevice::shared().display();
    for (auto _ : state) {
        display.drawScreen(frame);
        benchmark::DoNotOptimize(frame.data());
    }
    state.counters["frames/s"]
        = benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
    pip->hidePictureInPictureWindow();
}
BENCHMARK(BM_CompositeScreenWithWidgets)->Unit(benchmark::kMillisecond);

// Every flat button after the first: no drawing, the two images are shared.
void BM_FlatButtonAfterTheFirst(benchmark::State& state)
{
    mountFramework();
    const auto first = lumora::LMFlatVideoOverlayButton::initWithStyle(lumora::LMVideoOverlayButton::StyleFlat);
    if (!first || !first->imageForState(Control::StateNormal)) {
        state.SkipWithError("the first flat button has no image: is the framework bundle there?");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            lumora::LMFlatVideoOverlayButton::initWithStyle(lumora::LMVideoOverlayButton::StyleFlat));
    }
}
BENCHMARK(BM_FlatButtonAfterTheFirst)->Unit(benchmark::kMicrosecond);

// What a flat button would cost if it drew its two images itself.
void BM_DrawFlatButtonImages(benchmark::State& state)
{
    mountFramework();
    using lumora::LMFlatVideoOverlayButton;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            LMFlatVideoOverlayButton::_createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
                lumora::LMVideoOverlayFlatBackgroundWhite, lumora::LMVideoOverlayFlatBackgroundAlpha,
                lumora::LMVideoOverlayDefaultGlyphAlpha));
        benchmark::DoNotOptimize(
            LMFlatVideoOverlayButton::_createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
                lumora::LMVideoOverlayFlatBackgroundWhite, lumora::LMVideoOverlayFlatBackgroundAlpha,
                lumora::LMVideoOverlayHighlightedGlyphAlpha));
    }
}
BENCHMARK(BM_DrawFlatButtonImages)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
