#include "sample_app/app/ServiceProcessApp.h"

#include "camera/LMPictureInPictureController.h"
#include "camera/LMPictureInPictureWindow.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/Color.h"
#include "platform/ui/Window.h"
#include "widgets/LMVideoOverlayButton.h"

#include <filesystem>
#include <fmt/format.h>

namespace lumora::sample {

namespace {

using platform::Color;
using platform::Rect;

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("{} \"{}\"", error->code(), error->localizedDescription()) : "none";
}

} // namespace

ServiceProcessApp::ServiceProcessApp()
    : window_(std::make_shared<platform::Window>(Rect { { 0, 0 }, { 375, 667 } })),
      root_(std::make_shared<platform::ViewController>())
{
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
}

void ServiceProcessApp::screenRecorder_didStopRecordingWithError_previewViewController(
    const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const platform::ErrorRef& error,
    const std::shared_ptr<LMPreviewViewController>& preview)
{
    fmt::print("[service] delegate: the recording stopped, error {}, preview {}\n", describe(error),
        preview ? "received" : "none");
    std::lock_guard lock(mutex_);
    stopHeard_ = true;
    stopError_ = error;
}

void ServiceProcessApp::showScene()
{
    LMScreenRecorder::sharedRecorder()->setDelegate(sharedFrom(this));
    const auto canvas = root_->view();
    canvas->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.08, 0.1, 0.2, 1));
    bar_ = std::make_shared<platform::View>(Rect { { 0, 0 }, { 60, 667 } });
    bar_->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.95, 0.75, 0.1, 1));
    canvas->addSubview(bar_);

    playButton_ = LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(LMVideoOverlayButton::StyleFlat);
    if (const auto button = std::dynamic_pointer_cast<LMVideoOverlayButton>(playButton_)) {
        button->setTarget_action(sharedFrom(this), &ServiceProcessApp::playTapped);
    }
    playButton_->setCenter({ 290, 110 });
    canvas->addSubview(playButton_);
}

void ServiceProcessApp::sweepBar(double seconds)
{
    bar_->setCenter({ 30, 333.5 });
    platform::View::animateWithDuration_animations(seconds / 2, [this] { bar_->setCenter({ 345, 333.5 }); });
    platform::View::animateWithDuration_delay_options_animations_completion(
        seconds / 2, seconds / 2, 0,
        [this] {
            bar_->setCenter({ 30, 333.5 });
        },
        nullptr);
    fmt::print("[service] a bar sweeps across the screen and back in {:g} seconds\n", seconds);
}

bool ServiceProcessApp::startRecording()
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    bool answered = false;
    platform::ErrorRef startError;
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        true, true, false, [&answered, &startError](const platform::ErrorRef& error) {
            answered = true;
            startError = error;
        });
    // The service answers from elsewhere: the answer arrives on the MainQueue.
    if (!platform::MainQueue::runUntil([&answered] { return answered; })) {
        fmt::print("[service] (gave up waiting for the start's answer)\n");
        return false;
    }
    fmt::print("[service] recording started, error {}; microphone {}, camera {}\n", describe(startError),
        recorder->isMicrophoneEnabled(), recorder->isCameraEnabled());
    if (startError) {
        return false;
    }
    if (const auto preview = recorder->cameraPreviewView()) {
        LMPictureInPictureController::sharedController()->showPictureInPictureWindowWithContentView(preview);
        fmt::print("[service] the camera's picture floats over the app\n");
    }
    return true;
}

std::shared_ptr<platform::View> ServiceProcessApp::pictureInPictureView() const
{
    const auto& window = LMPictureInPictureController::sharedController()->pictureInPictureWindow();
    return window ? window->contentView() : nullptr;
}

std::optional<platform::URL> ServiceProcessApp::stopIntoPreview()
{
    bool stopped = false;
    LMScreenRecorder::sharedRecorder()->stopRecordingWithHandler(
        [this, &stopped](const std::shared_ptr<LMPreviewViewController>& preview, const platform::ErrorRef& error) {
            stopped = true;
            preview_ = preview;
            fmt::print(
                "[service] recording stopped, error {}; preview {}\n", describe(error), preview ? "received" : "none");
        });
    if (!platform::MainQueue::runUntil([&stopped] { return stopped; }) || !preview_) {
        return std::nullopt;
    }
    LMPictureInPictureController::sharedController()->hidePictureInPictureWindow();
    root_->presentViewController_animated_completion(preview_, false, nullptr);
    fmt::print("[service] the app presents the preview of {}\n",
        preview_->movieURL() ? std::filesystem::path(preview_->movieURL()->path()).filename().string() : "(no movie)");
    return preview_->movieURL();
}

void ServiceProcessApp::dismissPreview()
{
    if (preview_) {
        root_->dismissViewControllerAnimated_completion(false, nullptr);
        preview_.reset();
    }
}

platform::ErrorRef ServiceProcessApp::waitForStopHeard()
{
    const auto heard = [this] {
        std::lock_guard lock(mutex_);
        return stopHeard_;
    };
    if (!platform::MainQueue::runUntil(heard)) {
        fmt::print("[service] (gave up waiting for the recording to stop)\n");
    }
    std::lock_guard lock(mutex_);
    return stopError_;
}

void ServiceProcessApp::playTapped(const std::shared_ptr<platform::Object>& /*sender*/)
{
    ++playTaps_;
    fmt::print("[service] the play button was tapped during the recording\n");
}

} // namespace lumora::sample
