#include "extensions/SampleVideoEditor.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedPhotoLibrary.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "sample_app/Demos.h"
#include "sample_app/app/PreviewApp.h"
#include "sample_app/device/SampleDevice.h"

#include <filesystem>
#include <fmt/format.h>

namespace lumora::sample {

void runPreviewDemo()
{
    say("Record, stop, and preview the movie in the video editor");
    auto& device = platform::host::SimulatedDevice::shared();
    device.reset();
    prepareSampleDevice();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    installSampleVideoEditorExtension();
    // The sample's photo library starts empty on every run.
    const auto library = sampleOutputDirectory() + "/PhotoLibrary";
    std::error_code ignored;
    std::filesystem::remove_all(library, ignored);
    device.photoLibrary().setLibraryDirectory(library);

    const auto app = std::make_shared<PreviewApp>();
    device.application().setDelegate(app);
    if (!app->recordAndStop()) {
        return;
    }

    const auto editor = runningSampleVideoEditor();
    if (!editor || !editor->waitForInputItems()) {
        fmt::print("[preview] the sample editor is not running\n");
        return;
    }
    fmt::print("[sample editor] request {} brought these items:\n", editor->requestIdentifier());
    for (const auto& [label, value] : editor->inputValues()) {
        fmt::print("[sample editor]   {} = {}\n", label, value.description());
    }

    app->presentPreview();
    fmt::print("[sample editor] the user shares by mail, saves to files, and is done\n");
    editor->userDidFinishWithActivityTypes(
        { "com.lumora.activity.mail", "com.lumora.activity.save-to-files", "com.lumora.activity.mail" });
    app->waitForUserAndReleasePreview();
    fmt::print("[preview] editing requests still going on: {}\n", device.extensions().requests().size());

    say("Record, stop, and save the movie to the photo library");
    app->recordAndSaveToPhotoLibrary();
    for (const auto& movie : device.photoLibrary().savedMovies()) {
        fmt::print("[save] the photo library holds {} ({} bytes)\n", movie, std::filesystem::file_size(movie, ignored));
    }
    const auto discards = device.recordingService().requestsNamed("discardRecordingWithHandler:").size();
    fmt::print("[save] the recorder then asked the service to discard the movie ({} request)\n", discards);
}

} // namespace lumora::sample
