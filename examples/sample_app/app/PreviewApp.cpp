#include "sample_app/app/PreviewApp.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/ui/Window.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "recording/LMScreenRecorder.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>

namespace lumora::sample {

namespace {

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("{} ({})", error->code(), error->localizedDescription()) : "none";
}

// Plays the application's run loop until `done` holds.
void runLoopUntil(const std::function<bool()>& done, const char* what)
{
    if (!platform::MainQueue::runUntil(done)) {
        fmt::print("[preview] (gave up waiting for {})\n", what);
    }
}

} // namespace

PreviewApp::PreviewApp()
    : window_(std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } })),
      root_(std::make_shared<platform::ViewController>())
{
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
    platform::Application::sharedApplication()->setStatusBarHidden(true);
}

void PreviewApp::previewController_didFinishWithActivityTypes(
    const std::shared_ptr<LMPreviewViewController>& /*preview*/, const std::set<std::string>& activityTypes)
{
    fmt::print("[preview] delegate heard #{}: previewController:didFinishWithActivityTypes: {{{}}}\n", ++heard_,
        fmt::join(activityTypes, ", "));
}

void PreviewApp::previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& preview)
{
    fmt::print("[preview] delegate heard #{}: previewControllerDidFinish:\n", ++heard_);
    fmt::print("[preview] the app dismisses the preview\n");
    preview->dismissViewControllerAnimated_completion(true, nullptr);
}

bool PreviewApp::recordAndStop()
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    if (recorder->isRecording()) {
        fmt::print("[preview] a recording of an earlier flow is still running: stopping it first\n");
        recorder->stopRecordingWithVideoURLHandler(
            [](const std::optional<platform::URL>&, const platform::ErrorRef&) {});
    }
    recorder->startRecordingWithHandler([](const platform::ErrorRef& error) {
        fmt::print("[preview] recording started, error {}\n", describe(error));
    });

    bool stopped = false;
    recorder->stopRecordingWithHandler(
        [this, &stopped](const std::shared_ptr<LMPreviewViewController>& received, const platform::ErrorRef& error) {
            stopped = true;
            preview_ = received;
            fmt::print("[preview] recording stopped, error {}; preview {}\n", describe(error),
                received ? "received" : "absent");
        });
    runLoopUntil([&] { return stopped; }, "the preview");
    if (!preview_) {
        return false;
    }
    fmt::print("[preview] movie: {}\n", preview_->movieURL() ? preview_->movieURL()->path() : "(none)");
    fmt::print("[preview] editor embedded: {}; presentation style {}\n",
        preview_->hostViewController() && preview_->hostViewController()->parentViewController() == preview_,
        preview_->modalPresentationStyle());
    return true;
}

void PreviewApp::presentPreview()
{
    preview_->setPreviewControllerDelegate(shared_from_this());
    fmt::print("[preview] the app presents the preview (its status bar was hidden)\n");
    root_->presentViewController_animated_completion(preview_, true, nullptr);
    printScreenState();
}

void PreviewApp::waitForUserAndReleasePreview()
{
    runLoopUntil([&] { return heard_ == 2; }, "the delegate");
    printScreenState();
    const std::weak_ptr<LMPreviewViewController> released = preview_;
    preview_.reset();
    runLoopUntil([&] { return released.expired(); }, "the preview to go");
    fmt::print("[preview] preview released\n");
}

void PreviewApp::recordAndSaveToPhotoLibrary()
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithHandler(
        [](const platform::ErrorRef& error) { fmt::print("[save] recording started, error {}\n", describe(error)); });
    bool saved = false;
    recorder->stopRecordingAndSaveToCameraRoll(
        [&](const std::optional<std::string>& path, const platform::ErrorRef& error) {
            saved = true;
            fmt::print("[save] saved, error {}; path reported: {}\n", describe(error), path.value_or("(none)"));
        });
    runLoopUntil([&] { return saved; }, "the save");
}

void PreviewApp::printScreenState() const
{
    fmt::print("[preview] status bar hidden: {}; rotation locked on the app window: {}\n",
        platform::Application::sharedApplication()->isStatusBarHidden(), window_->isInterfaceAutorotationDisabled());
}

} // namespace lumora::sample
