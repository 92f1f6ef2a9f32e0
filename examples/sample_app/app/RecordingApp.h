#pragma once

#include "platform/foundation/URL.h"
#include "platform/system/Application.h"
#include "platform/ui/View.h"
#include "recording/LMScreenRecorder.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::sample {

/// The recording part of the sample application: it owns the main window, is
/// the recorder's delegate, and records the screen with the microphone and the
/// camera. Each step prints what the recorder reports.
class RecordingApp final
    : public platform::ApplicationDelegate::Window,
      public LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability,
      public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController,
      public std::enable_shared_from_this<RecordingApp> {
public:
    /// Makes the main window key and visible.
    RecordingApp();

    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }
    void screenRecorderDidChangeAvailability(const std::shared_ptr<LMScreenRecorder>& recorder) override;
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& recorder, const platform::ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& preview) override;

    /// Becomes the recorder's delegate and watches its microphone and camera switches.
    void observeRecorder();
    /// Asks for a plain recording; `situation` says why it may be refused.
    void tryToStart(const std::string& situation);
    /// Starts a recording with the microphone and the camera and prints what it got.
    void startWithMicrophoneAndCamera();
    /// Asks to start once more while recording, which the recorder ignores.
    void startAgain();
    /// Turns the camera picture to the device's orientation; the screen itself stays still.
    void followDeviceOrientation();
    /// Switches the camera and the microphone off during the recording.
    void switchOffCameraAndMicrophone();
    /// Prints the recorder's state after `step`.
    void printState(const std::string& step) const;
    /// Shows three coloured squares and sets them moving across the window
    /// for `seconds` (view animations, which run on the device clock).
    void animateColours(double seconds);
    /// Stops the recording, asking for the movie itself, and answers its URL.
    std::optional<platform::URL> stopAndTakeMovie();

private:
    std::shared_ptr<platform::Window> window_;
    std::vector<std::shared_ptr<platform::View>> squares_;
    std::shared_ptr<LMScreenRecorder> recorder_;
    std::shared_ptr<void> microphoneToken_;
    std::shared_ptr<void> cameraToken_;
};

} // namespace lumora::sample
