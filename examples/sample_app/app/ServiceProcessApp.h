#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/URL.h"
#include "platform/system/Application.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "preview/LMPreviewViewController.h"
#include "recording/LMScreenRecorder.h"

#include <memory>
#include <mutex>
#include <optional>

namespace lumora::sample {

/// An app that records while the user plays with it: a bar sweeps across its
/// screen, the front camera's picture floats over it in the picture-in-picture
/// window, and a play button sits in a corner. It records with the microphone
/// and the camera, stops into the preview, and hears a recording that the
/// service stopped on its own. It does not know where the recording service
/// runs: the framework reaches it the same way in every case.
class ServiceProcessApp final
    : public platform::ApplicationDelegate::Window,
      public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController,
      public platform::Object {
public:
    /// Makes the main window key and visible.
    ServiceProcessApp();

    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& recorder, const platform::ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& preview) override;

    /// Becomes the recorder's delegate and shows the dark canvas, the bar and the play button.
    void showScene();
    /// Sweeps the bar across the screen and back in `seconds` (a view
    /// animation, on the device clock).
    void sweepBar(double seconds);
    /// Starts recording with the microphone and the camera, waits for the
    /// service's answer and floats the camera's picture over the app. False
    /// when the recording did not start.
    bool startRecording();
    /// The floating camera picture, once shown.
    [[nodiscard]] std::shared_ptr<platform::View> pictureInPictureView() const;
    [[nodiscard]] std::shared_ptr<platform::View> playButton() const { return playButton_; }
    [[nodiscard]] int playTaps() const { return playTaps_; }
    /// Stops the recording, presents the preview it hands back and answers
    /// the movie's URL (none when the stop failed).
    std::optional<platform::URL> stopIntoPreview();
    /// Dismisses the preview and lets it go.
    void dismissPreview();
    /// Waits until the recorder's delegate heard the recording stop without
    /// being asked to; the error it heard.
    platform::ErrorRef waitForStopHeard();

private:
    void playTapped(const std::shared_ptr<platform::Object>& sender);

    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<platform::ViewController> root_;
    std::shared_ptr<platform::View> bar_;
    std::shared_ptr<platform::View> playButton_;
    std::shared_ptr<LMPreviewViewController> preview_;
    int playTaps_ = 0;
    // The delegate may hear a stop on the service connection's thread.
    mutable std::mutex mutex_;
    bool stopHeard_ = false;
    platform::ErrorRef stopError_;
};

} // namespace lumora::sample
