#pragma once

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/KeyValueObserving.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Synchronized.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Geometry.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "preview/LMPreviewViewControllerDelegate.h"
#include "recording/LMScreenRecorderDelegate.h"
#include "recording/LMSystemRecordingIndicatorWindow.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lumora {

class LMBroadcastController;
class LMPipViewController;
class LMPreviewViewController;

/// Records the application's own screen through the recording service.
///
/// There is one shared recorder per process (`sharedRecorder`). It chooses
/// the window to record and its size in pixels, checks that recording may
/// start, asks the service to start, and keeps the recording state. It
/// follows the device's availability conditions (external displays, the
/// screen-recording restriction) from the moment it is created, and pauses
/// and resumes the service as the application resigns and regains activity.
///
/// Every operation is meant to be called on the MainQueue. Notification
/// handlers run on the thread that posts the notification; the service's
/// replies run where the proxy delivers them (synchronously, with the local
/// proxy). `microphoneEnabled` and `cameraEnabled` are observable by key.
class LMScreenRecorder : public platform::Object,
                         public platform::KeyValueObservable,
                         public LMPreviewViewControllerDelegate {
public:
    /// Hears why a start failed, or null when recording began.
    using ErrorHandler = std::function<void(const platform::ErrorRef& error)>;
    /// Receives the preview of the stopped recording's movie, or the error.
    using PreviewHandler = std::function<void(
        const std::shared_ptr<LMPreviewViewController>& previewViewController, const platform::ErrorRef& error)>;
    /// Receives the stopped recording's movie, or the error.
    using MovieURLHandler
        = std::function<void(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error)>;
    /// Receives the broadcast service's information and an error (both absent here).
    using BroadcastStopHandler
        = std::function<void(const platform::DictionaryRef& serviceInfo, const platform::ErrorRef& error)>;
    /// Called once the service has thrown the movie away.
    using DiscardHandler = std::function<void()>;
    /// Hears the path of the movie saved to the photo library, or the error.
    using SaveCompletion
        = std::function<void(const std::optional<std::string>& savedMoviePath, const platform::ErrorRef& error)>;

    /// The context id that names no particular window: the whole screen.
    static constexpr std::uint32_t WholeScreenLayerContextID = 0xFFFFFFFF;

    /// The one recorder of the process, created on first use by the class that
    /// asks first (a subclass asking first gets an instance of itself), and
    /// never destroyed.
    template <class Recorder = LMScreenRecorder>
    requires std::derived_from<Recorder, LMScreenRecorder>
    static std::shared_ptr<LMScreenRecorder> sharedRecorder()
    {
        std::call_once(sharedOnce(), [] { installSharedRecorder(std::make_shared<Recorder>()); });
        return sharedInstance();
    }

    LMScreenRecorder() = default;
    ~LMScreenRecorder() override;
    LMScreenRecorder(const LMScreenRecorder&) = delete;
    LMScreenRecorder& operator=(const LMScreenRecorder&) = delete;
    LMScreenRecorder(LMScreenRecorder&&) = delete;
    LMScreenRecorder& operator=(LMScreenRecorder&&) = delete;

    // ---- Window, size, context id, rotation --------------------------------------------------
    /// `windowToRecord` if set; else the application delegate's window; else
    /// the first of the application's windows (null when there is none).
    [[nodiscard]] std::shared_ptr<platform::Window> applicationWindow();
    /// The size to record, in pixels.
    [[nodiscard]] platform::Size currentWindowSize();
    /// The render-context id of the window to record, or
    /// `WholeScreenLayerContextID` for a system recording of no chosen window.
    [[nodiscard]] std::uint32_t currentWindowLayerContextID();
    /// Locks or unlocks interface rotation on the window being recorded.
    void setWindowRotationLocked(bool locked);

    // ---- Starting ----------------------------------------------------------------------------
    /// Starts with the current microphone and camera settings, not streaming.
    void startRecordingWithHandler(ErrorHandler handler);
    /// Starts with that microphone setting, the camera off, not streaming.
    void startRecordingWithMicrophoneEnabled_handler(bool microphoneEnabled, ErrorHandler handler);
    /// Starts with the current microphone and camera settings, streaming.
    void startBroadcastWithHandler(ErrorHandler handler);
    /// The guarded start: ignored while recording (the handler is not
    /// called); fails with a recording error when recording is unavailable;
    /// otherwise asks the service.
    void startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        bool microphoneEnabled, bool cameraEnabled, bool streamingEnabled, ErrorHandler handler);
    /// Records `windowToRecord` (or, when absent, the last of the
    /// application's windows of the system shell's root-window class), or
    /// the whole screen for a system recording. Makes none of the guarded
    /// start's checks.
    void startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(bool microphoneEnabled,
        const std::shared_ptr<platform::Window>& windowToRecord, bool systemRecording, ErrorHandler handler);

    // ---- Stopping, saving, discarding -------------------------------------------------------------
    // Every stop is ignored (its handler is not called) while not recording.
    // A handler the caller must give but did not is never called.

    /// Stops and hands over a preview of the movie (style 7 on a tablet).
    void stopRecordingWithHandler(PreviewHandler handler);
    /// Stops and hands over a preview that also offers `attachmentURL` for
    /// sharing, with `overrideShareMessage` and `overrideTintColor` when given.
    void
    stopRecordingWithAdditionalShareFileAttachment_overrideShareMessage_previewViewControllerOverrideTintColor_handler(
        const std::optional<platform::URL>& attachmentURL, const std::optional<std::string>& overrideShareMessage,
        const std::shared_ptr<platform::Color>& overrideTintColor, PreviewHandler handler);
    /// Stops and hands over the movie's URL. Unlocks rotation even for a
    /// system recording, and leaves `systemRecording` as it is.
    void stopRecordingWithVideoURLHandler(MovieURLHandler handler);
    /// Stops, cutting the quick panel from a system recording, and saves the
    /// movie to the photo library; the completion (may be empty) hears the
    /// saved path once the save is done, and the movie is then discarded.
    void stopRecordingAndSaveToCameraRoll(SaveCompletion completion);
    /// Stops a broadcast as `stopRecordingWithHandler` does; the handler hears
    /// (absent, absent) whenever that stop calls back, also after an error.
    void stopBroadcastWithHandler(BroadcastStopHandler handler);
    /// Asks the service to throw the last movie away; ignored while recording.
    void discardRecordingWithHandler(DiscardHandler handler);
    /// The photo library's report on a save (see `stopRecordingAndSaveToCameraRoll`).
    void video_didFinishSavingToCameraRollWithError_contextInfo(
        const std::string& videoPath, const platform::ErrorRef& error, void* contextInfo);
    /// The service stopped on its own: the delegate hears of it, with a
    /// preview when there is a movie.
    void stopRecordingWithError_movieURL(const platform::ErrorRef& error, const std::optional<platform::URL>& movieURL);
    /// The system's quick panel appears or goes; nothing is done with it yet.
    void quickPanelWillPresent();
    /// The system's quick panel went away; nothing is done with it yet.
    void quickPanelDidDismiss();

    // ---- Availability ------------------------------------------------------------------------
    /// Computes `available` again and tells the delegate.
    void updateRecordingAvailability();
    /// Tells the delegate, if it answers, that availability may have changed.
    void notifyDelegateOfRecorderAvailability();

    // ---- Application life cycle, pause and resume ----------------------------------------------
    /// The application is going inactive: pauses a running recording and tells the service.
    void clientWillResignActive();
    /// The application is active again: tells the service and resumes a paused recording.
    void clientDidBecomeActive();
    /// Pauses a running recording.
    void pauseRecording();
    /// Resumes a paused recording of the same window.
    void resumeRecording();

    // ---- Audio session -------------------------------------------------------------------------
    /// Does nothing: the service configures audio for the recording itself.
    void configureAudioSession();
    /// Puts back `previousAudioCategory` with `previousAudioSessionOptions`,
    /// ignoring a refusal (an absent category is refused and changes nothing).
    void restoreAudioSession();

    // ---- Properties ------------------------------------------------------------------------------
    /// Whether a recording can start now (not restricted, no mirroring, the service reachable).
    [[nodiscard]] bool isAvailable() const { return available_; }
    /// Sets `available` without telling anyone; `updateRecordingAvailability` is the usual way.
    void setAvailable(bool available) { available_ = available; }
    /// Whether a recording is running (also while paused).
    [[nodiscard]] bool isRecording() const { return recording_; }
    /// Sets `recording` without telling the service.
    void setRecording(bool recording) { recording_ = recording; }
    /// Whether the recording includes the microphone.
    [[nodiscard]] bool isMicrophoneEnabled() const { return microphoneEnabled_; }
    /// Tells the service during a recording (unless the microphone was not
    /// granted), and announces the change to key-value observers.
    void setMicrophoneEnabled(bool enabled);
    /// Whether the recording shows the front camera's picture.
    [[nodiscard]] bool isCameraEnabled() const { return cameraEnabled_; }
    /// Starts or stops the camera preview during a recording (unless the
    /// camera was not granted), and announces the change to key-value observers.
    void setCameraEnabled(bool enabled);
    /// Whether the recording is of the whole screen, started by the system rather than an app.
    [[nodiscard]] bool systemRecording() const { return systemRecording_; }
    /// Marks the next recording as a system recording.
    void setSystemRecording(bool systemRecording) { systemRecording_ = systemRecording; }
    /// Whether the service reported the camera as granted for this recording.
    [[nodiscard]] bool hasUserConsentForCamera() const { return hasUserConsentForCamera_; }
    /// Records whether the camera was granted.
    void setHasUserConsentForCamera(bool consent) { hasUserConsentForCamera_ = consent; }
    /// Whether the service reported the microphone as granted for this recording.
    [[nodiscard]] bool hasUserConsentForMicrophone() const { return hasUserConsentForMicrophone_; }
    /// Records whether the microphone was granted.
    void setHasUserConsentForMicrophone(bool consent) { hasUserConsentForMicrophone_ = consent; }
    /// Whether the running recording is paused.
    [[nodiscard]] bool isPaused() const { return paused_; }
    /// Sets `paused` without telling the service.
    void setPaused(bool paused) { paused_ = paused; }

    /// The delegate, or null when none is set or it has gone.
    [[nodiscard]] std::shared_ptr<LMScreenRecorderDelegate> delegate() const { return delegate_.lock(); }
    /// Holds the delegate weakly and tells it the current availability at
    /// once (also when the same delegate is set again).
    void setDelegate(const std::shared_ptr<LMScreenRecorderDelegate>& delegate);

    /// The view showing the camera's picture during a recording with the camera (null otherwise).
    [[nodiscard]] const std::shared_ptr<platform::View>& cameraPreviewView() const { return cameraPreviewView_; }
    /// Replaces the camera preview view.
    void setCameraPreviewView(std::shared_ptr<platform::View> view) { cameraPreviewView_ = std::move(view); }
    /// The audio session options in force before the recording, put back afterwards.
    [[nodiscard]] std::uint64_t previousAudioSessionOptions() const { return previousAudioSessionOptions_; }
    /// Remembers the audio session options to put back.
    void setPreviousAudioSessionOptions(std::uint64_t options) { previousAudioSessionOptions_ = options; }
    /// The audio session category in force before the recording, put back afterwards.
    [[nodiscard]] const std::optional<std::string>& previousAudioCategory() const { return previousAudioCategory_; }
    /// Remembers the audio session category to put back.
    void setPreviousAudioCategory(std::optional<std::string> category) { previousAudioCategory_ = std::move(category); }
    /// The window the application chose to record; null records the application's window.
    [[nodiscard]] const std::shared_ptr<platform::Window>& windowToRecord() const { return windowToRecord_; }
    /// Chooses the window to record.
    void setWindowToRecord(std::shared_ptr<platform::Window> window) { windowToRecord_ = std::move(window); }
    /// The controller of the camera's picture-in-picture during a recording with the camera.
    [[nodiscard]] const std::shared_ptr<LMPipViewController>& pipViewController() const { return pipViewController_; }
    /// Replaces the picture-in-picture controller.
    void setPipViewController(std::shared_ptr<LMPipViewController> controller)
    {
        pipViewController_ = std::move(controller);
    }
    /// The completion of a pending save to the photo library.
    [[nodiscard]] const SaveCompletion& saveVideoToCameraRollCompletionBlock() const
    {
        return saveVideoToCameraRollCompletionBlock_;
    }
    /// Holds the completion of a save to the photo library until the library reports.
    void setSaveVideoToCameraRollCompletionBlock(SaveCompletion completion)
    {
        saveVideoToCameraRollCompletionBlock_ = std::move(completion);
    }

    /// When the quick panel began showing at the start of a system recording.
    [[nodiscard]] const std::optional<platform::Date>& systemRecordingQuickPanelStartClipStartTime() const
    {
        return systemRecordingQuickPanelStartClipStartTime_;
    }
    /// Records when the quick panel began showing at the start.
    void setSystemRecordingQuickPanelStartClipStartTime(std::optional<platform::Date> date)
    {
        systemRecordingQuickPanelStartClipStartTime_ = date;
    }
    /// When the quick panel stopped showing at the start of a system recording.
    [[nodiscard]] const std::optional<platform::Date>& systemRecordingQuickPanelStartClipEndTime() const
    {
        return systemRecordingQuickPanelStartClipEndTime_;
    }
    /// Records when the quick panel stopped showing at the start.
    void setSystemRecordingQuickPanelStartClipEndTime(std::optional<platform::Date> date)
    {
        systemRecordingQuickPanelStartClipEndTime_ = date;
    }
    /// When the quick panel began showing at the end of a system recording.
    [[nodiscard]] const std::optional<platform::Date>& systemRecordingQuickPanelEndClipStartTime() const
    {
        return systemRecordingQuickPanelEndClipStartTime_;
    }
    /// Records when the quick panel began showing at the end.
    void setSystemRecordingQuickPanelEndClipStartTime(std::optional<platform::Date> date)
    {
        systemRecordingQuickPanelEndClipStartTime_ = date;
    }
    /// When the quick panel stopped showing at the end of a system recording.
    [[nodiscard]] const std::optional<platform::Date>& systemRecordingQuickPanelEndClipEndTime() const
    {
        return systemRecordingQuickPanelEndClipEndTime_;
    }
    /// Records when the quick panel stopped showing at the end.
    void setSystemRecordingQuickPanelEndClipEndTime(std::optional<platform::Date> date)
    {
        systemRecordingQuickPanelEndClipEndTime_ = date;
    }

    /// The window that shows a system recording is running.
    [[nodiscard]] const std::shared_ptr<LMSystemRecordingIndicatorWindow>& systemRecordingIndicatorWindow() const
    {
        return systemRecordingIndicatorWindow_;
    }
    /// Replaces the recording indicator window.
    void setSystemRecordingIndicatorWindow(std::shared_ptr<LMSystemRecordingIndicatorWindow> window)
    {
        systemRecordingIndicatorWindow_ = std::move(window);
    }
    /// The controller of the broadcast using the recorder, held strongly while
    /// it runs. The service's reports read it on the connection's thread.
    [[nodiscard]] std::shared_ptr<LMBroadcastController> activeBroadcastController() const
    {
        return activeBroadcastController_.load();
    }
    /// Replaces the controller of the broadcast in progress.
    void setActiveBroadcastController(std::shared_ptr<LMBroadcastController> controller)
    {
        activeBroadcastController_.store(std::move(controller));
    }

    // KeyValueObservable: "microphoneEnabled" and "cameraEnabled" (booleans).
    [[nodiscard]] platform::Value valueForKey(const std::string& key) const override;

    [[nodiscard]] std::string className() const override { return "LMScreenRecorder"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMScreenRecorder" || platform::Object::isKindOfClassNamed(name);
    }

private:
    static std::once_flag& sharedOnce();
    static std::shared_ptr<LMScreenRecorder>& sharedInstance();
    /// Keeps the new shared recorder, registers it for availability changes
    /// and computes its availability.
    static void installSharedRecorder(const std::shared_ptr<LMScreenRecorder>& recorder);

    /// The one place that asks the service to start.
    void _startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        bool microphoneEnabled, bool cameraEnabled, bool streamingEnabled, ErrorHandler handler);
    void startReply(
        const platform::ErrorRef& error, bool microphoneGranted, bool cameraGranted, const ErrorHandler& handler);
    /// The reply to the stop with a preview.
    void stopReply(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error,
        const std::optional<platform::URL>& attachmentURL, const std::optional<std::string>& overrideShareMessage,
        const std::shared_ptr<platform::Color>& overrideTintColor, const PreviewHandler& handler);
    /// The reply to the stop and save.
    void stopAndSaveReply(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error,
        const SaveCompletion& completion);
    /// Registers for the application's activity notifications, once per process.
    void registerForActivityNotifications();
    [[nodiscard]] bool _isScreenRecordingAllowed() const;
    [[nodiscard]] bool _isScreenRecordingSupportedOnDevice() const;

    bool available_ = false;
    bool recording_ = false;
    bool microphoneEnabled_ = false;
    bool cameraEnabled_ = false;
    bool systemRecording_ = false;
    bool hasUserConsentForCamera_ = false;
    bool hasUserConsentForMicrophone_ = false;
    bool paused_ = false;
    std::weak_ptr<LMScreenRecorderDelegate> delegate_;
    std::shared_ptr<platform::View> cameraPreviewView_;
    std::uint64_t previousAudioSessionOptions_ = 0;
    std::optional<std::string> previousAudioCategory_;
    std::shared_ptr<platform::Window> windowToRecord_;
    std::shared_ptr<LMPipViewController> pipViewController_;
    SaveCompletion saveVideoToCameraRollCompletionBlock_;
    std::optional<platform::Date> systemRecordingQuickPanelStartClipStartTime_;
    std::optional<platform::Date> systemRecordingQuickPanelStartClipEndTime_;
    std::optional<platform::Date> systemRecordingQuickPanelEndClipStartTime_;
    std::optional<platform::Date> systemRecordingQuickPanelEndClipEndTime_;
    std::shared_ptr<LMSystemRecordingIndicatorWindow> systemRecordingIndicatorWindow_;
    // Set and cleared on the MainQueue, read by the service's reports on the
    // connection's thread.
    platform::Synchronized<std::shared_ptr<LMBroadcastController>> activeBroadcastController_;
};

} // namespace lumora
