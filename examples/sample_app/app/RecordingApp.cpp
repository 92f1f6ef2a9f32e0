#include "sample_app/app/RecordingApp.h"

#include "camera/LMPipViewController.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/KeyValueObserving.h"
#include "platform/graphics/Color.h"
#include "platform/ui/Screen.h"
#include "platform/ui/Window.h"

#include <array>
#include <fmt/format.h>

namespace lumora::sample {

namespace {

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("{} ({})", error->code(), error->localizedDescription()) : "none";
}

std::string describe(const platform::Rect& rect)
{
    return fmt::format("x {:g}, y {:g}, {:g} by {:g}", rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void printObserved(const std::string& key, const platform::KeyValueChange& change)
{
    fmt::print("[recording] observed {} = {}\n", key, change.newValue.boolValue());
}

} // namespace

RecordingApp::RecordingApp()
    : window_(std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } })),
      recorder_(LMScreenRecorder::sharedRecorder())
{
    window_->setRootViewController(std::make_shared<platform::ViewController>());
    window_->makeKeyAndVisible();
}

void RecordingApp::screenRecorderDidChangeAvailability(const std::shared_ptr<LMScreenRecorder>& recorder)
{
    fmt::print("[recording] delegate: recording is {}\n", recorder->isAvailable() ? "available" : "unavailable");
}

void RecordingApp::screenRecorder_didStopRecordingWithError_previewViewController(
    const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const platform::ErrorRef& error,
    const std::shared_ptr<LMPreviewViewController>& /*preview*/)
{
    fmt::print("[recording] delegate: recording stopped, error {}\n", error ? error->description() : "none");
}

void RecordingApp::observeRecorder()
{
    recorder_->setDelegate(shared_from_this());
    microphoneToken_
        = recorder_->addObserverForKey("microphoneEnabled", platform::KeyValueObservable::OptionNew, printObserved);
    cameraToken_
        = recorder_->addObserverForKey("cameraEnabled", platform::KeyValueObservable::OptionNew, printObserved);
}

void RecordingApp::tryToStart(const std::string& situation)
{
    recorder_->startRecordingWithHandler([situation](const platform::ErrorRef& error) {
        fmt::print("[recording] start {}: error {}\n", situation, describe(error));
    });
}

void RecordingApp::startWithMicrophoneAndCamera()
{
    recorder_->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(true, true, false,
        [](const platform::ErrorRef& error) { fmt::print("[recording] start finished: error {}\n", describe(error)); });
    printState("after start");
    fmt::print("[recording] rotation locked on the app window: {}\n", window_->isInterfaceAutorotationDisabled());
    if (const auto& preview = recorder_->cameraPreviewView()) {
        fmt::print("[recording] camera preview frame: {}\n", describe(preview->frame()));
    }
}

void RecordingApp::startAgain()
{
    recorder_->startRecordingWithHandler(
        [](const platform::ErrorRef&) { fmt::print("[recording] (never printed: a second start is ignored)\n"); });
}

void RecordingApp::followDeviceOrientation()
{
    // The recording holds the interface still, so only the camera picture is turned.
    fmt::print("[recording] screen is still {}\n", describe(platform::Screen::mainScreen()->bounds()));
    recorder_->pipViewController()->setPreviewOrientation();
    fmt::print("[recording] camera picture orientation: {}\n",
        static_cast<int>(recorder_->pipViewController()->previewLayer()->connection()->videoOrientation()));
}

void RecordingApp::switchOffCameraAndMicrophone()
{
    recorder_->setCameraEnabled(false);
    recorder_->setMicrophoneEnabled(false);
    printState("switched off");
}

void RecordingApp::printState(const std::string& step) const
{
    fmt::print("[recording] {}: recording {}, paused {}, microphone {}, camera {}\n", step, recorder_->isRecording(),
        recorder_->isPaused(), recorder_->isMicrophoneEnabled(), recorder_->isCameraEnabled());
}

void RecordingApp::animateColours(double seconds)
{
    const auto canvas = window_->rootViewController()->view();
    canvas->setBackgroundColor(platform::Color::colorWithWhite_alpha(0.15, 1));
    struct Square {
        std::array<double, 3> colour;
        platform::Point from;
        platform::Point to;
    };
    const std::array<Square, 3> squares { {
        { { 0.9, 0.2, 0.2 }, { 60, 120 }, { 315, 260 } },
        { { 0.2, 0.8, 0.3 }, { 315, 330 }, { 60, 470 } },
        { { 0.2, 0.4, 0.95 }, { 60, 540 }, { 315, 400 } },
    } };
    for (const auto& square : squares) {
        auto view = std::make_shared<platform::View>(platform::Rect { { 0, 0 }, { 90, 90 } });
        view->setBackgroundColor(
            platform::Color::colorWithRed_green_blue_alpha(square.colour[0], square.colour[1], square.colour[2], 1));
        view->setCenter(square.from);
        canvas->addSubview(view);
        squares_.push_back(view);
    }
    platform::View::animateWithDuration_animations(seconds, [this, &squares] {
        for (std::size_t index = 0; index < squares.size(); ++index) {
            squares_[index]->setCenter(squares.at(index).to);
        }
    });
    fmt::print("[recording] three squares move across the screen for {:g} seconds\n", seconds);
}

std::optional<platform::URL> RecordingApp::stopAndTakeMovie()
{
    auto answer = std::make_shared<std::optional<std::optional<platform::URL>>>();
    recorder_->stopRecordingWithVideoURLHandler([answer](const std::optional<platform::URL>& movieURL,
                                                    const platform::ErrorRef& error) {
        fmt::print("[recording] stopped: movie {}, error {}\n", movieURL ? movieURL->path() : "none", describe(error));
        *answer = movieURL;
    });
    platform::MainQueue::runUntil([answer] { return answer->has_value(); });
    return answer->value_or(std::nullopt);
}

} // namespace lumora::sample
