#include "extensions/SampleVideoEditor.h"
#include "platform/Application.h"
#include "platform/DispatchQueue.h"
#include "platform/Window.h"
#include "platform/host/SimulatedApplication.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedExtensions.h"
#include "platform/host/SimulatedPhotoLibrary.h"
#include "platform/host/SimulatedRecordingService.h"
#include "platform/host/SimulatedScreens.h"
#include "preview/LMPreviewViewController.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "recording/LMScreenRecorder.h"
#include "sample_app/Demos.h"
#include "sample_app/SampleDevice.h"

#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lumora::sample {

namespace {

using platform::host::SimulatedDevice;

// The sample application's delegate: it names the main window and, as the
// preview's delegate, prints what it hears, numbered in the order heard. When
// the user has finished it dismisses the preview, which is its business.
class PreviewAppDelegate final : public platform::ApplicationDelegate::Window,
                                 public LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes,
                                 public LMPreviewViewControllerDelegate::PreviewControllerDidFinish {
public:
    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }

    void previewController_didFinishWithActivityTypes(const std::shared_ptr<LMPreviewViewController>& /*preview*/,
        const std::set<std::string>& activityTypes) override
    {
        fmt::print("[preview] delegate heard #{}: previewController:didFinishWithActivityTypes: {{{}}}\n", ++heard_,
            fmt::join(activityTypes, ", "));
    }

    void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& preview) override
    {
        fmt::print("[preview] delegate heard #{}: previewControllerDidFinish:\n", ++heard_);
        fmt::print("[preview] the app dismisses the preview\n");
        preview->dismissViewControllerAnimated_completion(true, nullptr);
    }

    [[nodiscard]] int heard() const { return heard_; }

    std::shared_ptr<platform::Window> window_;

private:
    int heard_ = 0;
};

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("{} ({})", error->code(), error->localizedDescription()) : "none";
}

void printScreenState(const std::shared_ptr<platform::Window>& window)
{
    fmt::print("[preview] status bar hidden: {}; rotation locked on the app window: {}\n",
        platform::Application::sharedApplication()->isStatusBarHidden(), window->isInterfaceAutorotationDisabled());
}

// Plays the application's run loop until `done` holds.
void runLoopUntil(const std::function<bool()>& done, const char* what)
{
    if (!platform::MainQueue::runUntil(done)) {
        fmt::print("[preview] (gave up waiting for {})\n", what);
    }
}

} // namespace

void runPreviewDemo()
{
    say("Record, stop, and preview the movie in the video editor");
    auto& device = SimulatedDevice::shared();
    device.reset();
    prepareSampleDevice();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    installSampleVideoEditorExtension();
    // The sample's photo library starts empty on every run.
    const auto library = sampleOutputDirectory() + "/PhotoLibrary";
    std::error_code ignored;
    std::filesystem::remove_all(library, ignored);
    device.photoLibrary().setLibraryDirectory(library);

    const auto app = std::make_shared<PreviewAppDelegate>();
    app->window_ = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } });
    const auto root = std::make_shared<platform::ViewController>();
    app->window_->setRootViewController(root);
    app->window_->makeKeyAndVisible();
    device.application().setDelegate(app);
    device.application().setStatusBarHidden(true);

    const auto recorder = LMScreenRecorder::sharedRecorder();
    if (recorder->isRecording()) {
        fmt::print("[preview] a recording of an earlier flow is still running: stopping it first\n");
        recorder->stopRecordingWithVideoURLHandler(
            [](const std::optional<platform::URL>&, const platform::ErrorRef&) {});
    }

    recorder->startRecordingWithHandler([](const platform::ErrorRef& error) {
        fmt::print("[preview] recording started, error {}\n", describe(error));
    });

    std::shared_ptr<LMPreviewViewController> preview;
    bool stopped = false;
    recorder->stopRecordingWithHandler(
        [&](const std::shared_ptr<LMPreviewViewController>& received, const platform::ErrorRef& error) {
            stopped = true;
            preview = received;
            fmt::print("[preview] recording stopped, error {}; preview {}\n", describe(error),
                received ? "received" : "absent");
        });
    runLoopUntil([&] { return stopped; }, "the preview");
    if (!preview) {
        return;
    }
    fmt::print("[preview] movie: {}\n", preview->movieURL() ? preview->movieURL()->path() : "(none)");
    fmt::print("[preview] editor embedded: {}; presentation style {}\n",
        preview->hostViewController() && preview->hostViewController()->parentViewController() == preview,
        preview->modalPresentationStyle());

    const auto editor = runningSampleVideoEditor();
    if (!editor || !editor->waitForInputItems()) {
        fmt::print("[preview] the sample editor is not running\n");
        return;
    }
    fmt::print("[sample editor] request {} brought these items:\n", editor->requestIdentifier());
    for (const auto& [label, value] : editor->inputValues()) {
        fmt::print("[sample editor]   {} = {}\n", label, value.description());
    }

    preview->setPreviewControllerDelegate(app);
    fmt::print("[preview] the app presents the preview (its status bar was hidden)\n");
    root->presentViewController_animated_completion(preview, true, nullptr);
    printScreenState(app->window_);

    fmt::print("[sample editor] the user shares by mail, saves to files, and is done\n");
    editor->userDidFinishWithActivityTypes(
        { "com.lumora.activity.mail", "com.lumora.activity.save-to-files", "com.lumora.activity.mail" });
    runLoopUntil([&] { return app->heard() == 2; }, "the delegate");
    printScreenState(app->window_);

    const std::weak_ptr<LMPreviewViewController> released = preview;
    preview.reset();
    runLoopUntil([&] { return released.expired(); }, "the preview to go");
    fmt::print(
        "[preview] preview released; editing requests still going on: {}\n", device.extensions().requests().size());

    say("Record, stop, and save the movie to the photo library");
    recorder->startRecordingWithHandler(
        [](const platform::ErrorRef& error) { fmt::print("[save] recording started, error {}\n", describe(error)); });
    bool saved = false;
    recorder->stopRecordingAndSaveToCameraRoll(
        [&](const std::optional<std::string>& path, const platform::ErrorRef& error) {
            saved = true;
            fmt::print("[save] saved, error {}; path reported: {}\n", describe(error), path.value_or("(none)"));
        });
    runLoopUntil([&] { return saved; }, "the save");
    for (const auto& movie : device.photoLibrary().savedMovies()) {
        fmt::print("[save] the photo library holds {} ({} bytes)\n", movie, std::filesystem::file_size(movie, ignored));
    }
    const auto discards = device.recordingService().requestsNamed("discardRecordingWithHandler:").size();
    fmt::print("[save] the recorder then asked the service to discard the movie ({} request)\n", discards);
}

} // namespace lumora::sample
