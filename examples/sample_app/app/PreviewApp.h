#pragma once

#include "platform/system/Application.h"
#include "preview/LMPreviewViewController.h"

#include <memory>
#include <string>

namespace lumora::sample {

/// The preview part of the sample application: it records, stops, presents the
/// preview the recorder hands back, dismisses it when the user has finished, and
/// saves a second recording to the photo library. As the preview's delegate it
/// prints what it hears, numbered in the order heard.
class PreviewApp final : public platform::ApplicationDelegate::Window,
                         public LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes,
                         public LMPreviewViewControllerDelegate::PreviewControllerDidFinish,
                         public std::enable_shared_from_this<PreviewApp> {
public:
    /// Makes the main window key and visible and hides the status bar.
    PreviewApp();

    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }
    void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& preview, const std::set<std::string>& activityTypes) override;
    void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& preview) override;

    /// Records and stops; answers false when no preview came back.
    bool recordAndStop();
    /// Presents the preview over the main window.
    void presentPreview();
    /// Plays the run loop until the user has finished with the preview and lets it go.
    void waitForUserAndReleasePreview();
    /// Records and stops into the photo library, waiting for the save.
    void recordAndSaveToPhotoLibrary();

private:
    void printScreenState() const;

    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<platform::ViewController> root_;
    std::shared_ptr<LMPreviewViewController> preview_;
    int heard_ = 0;
};

} // namespace lumora::sample
