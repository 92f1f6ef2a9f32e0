#include "camera/LMPipViewController.h"
#include "platform/Application.h"
#include "platform/DeviceRestrictions.h"
#include "platform/KeyValueObserving.h"
#include "platform/Screen.h"
#include "platform/Window.h"
#include "platform/host/SimulatedApplication.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedHardware.h"
#include "platform/host/SimulatedMedia.h"
#include "platform/host/SimulatedRecordingService.h"
#include "platform/host/SimulatedRestrictions.h"
#include "platform/host/SimulatedScreens.h"
#include "recording/LMScreenRecorder.h"
#include "sample_app/Demos.h"

#include <fmt/format.h>

namespace lumora::sample {

namespace {

using platform::DeviceRestrictions;
using platform::ExternalScreenType;
using platform::host::SimulatedDevice;

// The sample application's delegate: it names its main window, and as the
// recorder's delegate it prints what the recorder tells it.
class SampleAppDelegate final
    : public platform::ApplicationDelegate::Window,
      public LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability,
      public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController {
public:
    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }

    void screenRecorderDidChangeAvailability(const std::shared_ptr<LMScreenRecorder>& recorder) override
    {
        fmt::print("[recording] delegate: recording is {}\n", recorder->isAvailable() ? "available" : "unavailable");
    }

    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const platform::ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& /*preview*/) override
    {
        fmt::print("[recording] delegate: recording stopped, error {}\n", error ? error->description() : "none");
    }

    std::shared_ptr<platform::Window> window_;
};

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("{} ({})", error->code(), error->localizedDescription()) : "none";
}

std::string describe(const platform::Rect& rect)
{
    return fmt::format("x {:g}, y {:g}, {:g} by {:g}", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void printState(const char* step, const std::shared_ptr<LMScreenRecorder>& recorder)
{
    fmt::print("[recording] {}: recording {}, paused {}, microphone {}, camera {}\n", step, recorder->isRecording(),
        recorder->isPaused(), recorder->isMicrophoneEnabled(), recorder->isCameraEnabled());
}

void printServiceRequests(std::size_t from)
{
    const auto requests = SimulatedDevice::shared().recordingService().requests();
    for (auto index = from; index < requests.size(); ++index) {
        std::string arguments;
        for (const auto& argument : requests[index].arguments) {
            arguments += (arguments.empty() ? "" : ", ") + argument.description();
        }
        fmt::print("[recording]   service received {}({})\n", requests[index].message, arguments);
    }
}

} // namespace

void runRecordingDemo()
{
    fmt::print("[recording] --- Screen recording ---\n");
    auto& device = SimulatedDevice::shared();
    device.reset();
    device.setMainBundle(std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/SampleRecorder.app");
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);

    const auto appDelegate = std::make_shared<SampleAppDelegate>();
    appDelegate->window_ = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } });
    appDelegate->window_->setRootViewController(std::make_shared<platform::ViewController>());
    appDelegate->window_->makeKeyAndVisible();
    device.application().setDelegate(appDelegate);

    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->setDelegate(appDelegate);
    const auto microphoneToken = recorder->addObserverForKey("microphoneEnabled",
        platform::KeyValueObservable::OptionNew, [](const std::string& key, const platform::KeyValueChange& change) {
            fmt::print("[recording] observed {} = {}\n", key, change.newValue.boolValue());
        });
    const auto cameraToken = recorder->addObserverForKey("cameraEnabled", platform::KeyValueObservable::OptionNew,
        [](const std::string& key, const platform::KeyValueChange& change) {
            fmt::print("[recording] observed {} = {}\n", key, change.newValue.boolValue());
        });

    fmt::print("[recording] Restricting screen recording in settings\n");
    device.restrictions().setEffectiveBoolValue(
        DeviceRestrictions::AllowScreenRecordingSetting, DeviceRestrictions::BoolValueNo);
    recorder->startRecordingWithHandler([](const platform::ErrorRef& error) {
        fmt::print("[recording] start while restricted: error {}\n", describe(error));
    });
    device.restrictions().setEffectiveBoolValue(
        DeviceRestrictions::AllowScreenRecordingSetting, DeviceRestrictions::BoolValueYes);

    fmt::print("[recording] Mirroring the screen to a wireless display\n");
    device.screens().setExternalScreenType(ExternalScreenType::WirelessMirroring);
    recorder->startRecordingWithHandler([](const platform::ErrorRef& error) {
        fmt::print("[recording] start while mirroring: error {}\n", describe(error));
    });
    device.screens().setExternalScreenType(ExternalScreenType::None);

    fmt::print("[recording] Starting a recording with microphone and camera\n");
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(true, true, false,
        [](const platform::ErrorRef& error) { fmt::print("[recording] start finished: error {}\n", describe(error)); });
    printState("after start", recorder);
    printServiceRequests(0);
    fmt::print(
        "[recording] rotation locked on the app window: {}\n", appDelegate->window_->isInterfaceAutorotationDisabled());
    if (const auto& preview = recorder->cameraPreviewView()) {
        fmt::print("[recording] camera preview frame: {}; camera sessions running: {}\n", describe(preview->frame()),
            device.media().runningSessionCount());
    }

    recorder->startRecordingWithHandler(
        [](const platform::ErrorRef&) { fmt::print("[recording] (never printed: a second start is ignored)\n"); });

    fmt::print("[recording] Turning the device to landscape\n");
    device.hardware().rotateTo(platform::DeviceOrientation::LandscapeLeft);
    // The recording holds the interface still, so only the camera picture is turned.
    fmt::print("[recording] screen is still {}\n", describe(platform::Screen::mainScreen()->bounds()));
    recorder->pipViewController()->setPreviewOrientation();
    fmt::print("[recording] camera picture orientation: {}\n",
        static_cast<int>(recorder->pipViewController()->previewLayer()->connection()->videoOrientation()));

    auto seen = device.recordingService().requests().size();
    fmt::print("[recording] The application goes inactive\n");
    device.application().resignActive();
    printState("inactive", recorder);
    printServiceRequests(seen);

    seen = device.recordingService().requests().size();
    fmt::print("[recording] The application is active again\n");
    device.application().becomeActive();
    printState("active", recorder);
    printServiceRequests(seen);

    seen = device.recordingService().requests().size();
    fmt::print("[recording] Switching the camera off and the microphone off during the recording\n");
    recorder->setCameraEnabled(false);
    recorder->setMicrophoneEnabled(false);
    printState("switched off", recorder);
    fmt::print("[recording] camera sessions running: {}\n", device.media().runningSessionCount());
    printServiceRequests(seen);
}

} // namespace lumora::sample
