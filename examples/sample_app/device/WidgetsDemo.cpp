#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "sample_app/Demos.h"
#include "sample_app/app/WidgetsApp.h"
#include "sample_app/device/SampleDevice.h"

#include <fmt/format.h>

namespace lumora::sample {

namespace {

using platform::Point;
using platform::host::Bitmap;
using platform::host::SimulatedDevice;

// Lets the clock run on by `seconds` and the MainQueue handle what fell due.
void wait(double seconds)
{
    SimulatedDevice::shared().advanceClock(seconds);
    platform::MainQueue::drain();
}

void save(const Bitmap& picture, const std::string& name)
{
    const auto path = sampleOutputDirectory() + "/" + name;
    if (picture.writePNG(path)) {
        fmt::print("[widgets] wrote {} ({} x {} pixels)\n", path, picture.width(), picture.height());
    } else {
        fmt::print("[widgets] could not write {}\n", path);
    }
}

void saveScreen(const std::string& name)
{
    save(SimulatedDevice::shared().display().snapshotScreen(), name);
}

Point centerOf(const platform::View& view)
{
    return view.convertPoint_toView({ view.bounds().size.width / 2, view.bounds().size.height / 2 }, nullptr);
}

void runPictureInPicture(WidgetsApp& app)
{
    auto& device = SimulatedDevice::shared();
    say("Picture in picture: the floating view springs to a corner of the quarter it is let go in");
    app.showPictureInPicture();
    wait(0.6);
    const auto& pip = *app.pictureInPictureView();
    fmt::print("[widgets] shown: it rests at the top left, centre ({}, {})\n", pip.center().x, pip.center().y);
    saveScreen("pip-top-left.png");

    struct Leg {
        Point to;
        const char* corner;
        const char* picture;
    };
    const Leg legs[] = {
        { { 260, 180 }, "top right", "pip-top-right.png" },
        { { 280, 520 }, "bottom right", "pip-bottom-right.png" },
        { { 110, 480 }, "bottom left", "pip-bottom-left.png" },
    };
    bool first = true;
    for (const auto& leg : legs) {
        device.touchScreen().drag(centerOf(pip), leg.to, 8);
        if (first) {
            // A moment after the finger lifts, the spring is still on its way.
            wait(0.12);
            saveScreen("pip-mid-spring.png");
            first = false;
        }
        wait(0.6);
        fmt::print("[widgets] dragged to ({}, {}) and let go: it settles {} at ({}, {})\n", leg.to.x, leg.to.y,
            leg.corner, pip.center().x, pip.center().y);
        saveScreen(leg.picture);
    }

    const int before = app.tileTaps();
    device.touchScreen().tap({ 60, 60 });
    fmt::print("[widgets] a tap beside the floating view reaches the app beneath: {}\n",
        app.tileTaps() > before ? "yes" : "no");
    app.hidePictureInPicture();
}

void runOverlayButtons(WidgetsApp& app)
{
    auto& device = SimulatedDevice::shared();
    say("Video overlay buttons: the flat look, then the high-fidelity look over a blurred backdrop");
    const auto flat = app.addOverlayButtonOverPicture(2, { { 27, 60 }, { 320, 180 } });
    const auto& flatPicture = *flat->superview();
    save(device.display().snapshotView(flatPicture), "button-flat-normal.png");
    const auto finger = device.touchScreen().touchDown(centerOf(*flat));
    save(device.display().snapshotView(flatPicture), "button-flat-highlighted.png");
    device.touchScreen().touchUp(finger, centerOf(*flat));

    device.hardware().setGraphicsQuality(platform::Device::FullGraphicsQuality);
    const auto fidelity = app.addOverlayButtonOverPicture(0, { { 27, 300 }, { 320, 180 } });
    save(device.display().snapshotView(*fidelity->superview()), "button-high-fidelity.png");
    device.touchScreen().tap(centerOf(*fidelity));
    fmt::print("[widgets] the app heard {} taps on its play buttons\n", app.buttonTaps());
    saveScreen("buttons-screen.png");
}

void runProgressOverlay(WidgetsApp& app)
{
    say("Progress overlay: the app dims while a long task runs");
    app.showProgress();
    wait(0.1);
    saveScreen("progress-mid-fade.png");
    wait(0.15);
    wait(0.3);
    const auto& spinner = app.progressOverlay()->activityIndicator();
    fmt::print("[widgets] faded in; the spinner {}\n", spinner && spinner->isAnimating() ? "spins" : "is missing");
    saveScreen("progress-spinner.png");
    app.hideProgress();
    wait(0.25);
    fmt::print("[widgets] hidden: the overlay {} the screen\n",
        app.progressOverlay()->superview() ? "is still on" : "has left");
}

} // namespace

void runWidgetsDemo()
{
    auto& device = SimulatedDevice::shared();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    // The widgets animate on the device clock; the demo moves it by hand.
    device.freezeClock(platform::Date::now());

    const auto app = std::make_shared<WidgetsApp>();
    app->showMainWindow();
    runPictureInPicture(*app);
    runOverlayButtons(*app);
    runProgressOverlay(*app);

    device.releaseClock();
}

} // namespace lumora::sample
