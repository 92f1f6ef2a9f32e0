#include "recording/LMScreenRecorder.h"

#include "camera/LMPipViewController.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Protocol.h"
#include "platform/foundation/Runtime.h"
#include "platform/media/AudioSession.h"
#include "platform/media/PhotoLibrary.h"
#include "platform/system/Application.h"
#include "platform/system/Bundle.h"
#include "platform/system/Device.h"
#include "platform/system/DeviceRestrictions.h"
#include "platform/system/ExternalScreen.h"
#include "platform/system/NotificationCenter.h"
#include "platform/ui/RootWindow.h"
#include "platform/ui/Screen.h"
#include "platform/ui/ViewController.h"
#include "preview/LMPreviewViewController.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LumoraErrors.h"

#include <cmath>
#include <utility>

namespace lumora {

using platform::Log;
using platform::NotificationCenter;

namespace {

constexpr std::string_view kMicrophoneEnabledKey = "microphoneEnabled";
constexpr std::string_view kCameraEnabledKey = "cameraEnabled";

constexpr std::int64_t kErrorRecordingFailedToStart = -5803;
constexpr std::int64_t kErrorRecordingRestricted = -5802;

// The activity notifications are registered by the first recorder to start a
// recording of its own window, once for the whole process.
std::once_flag activityRegistrationOnce; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

std::string mainBundleIdentifier()
{
    const auto bundle = platform::Bundle::mainBundle();
    return bundle ? bundle->bundleIdentifier().value_or("") : "";
}

// Registers `handler` of `recorder` for `name`; the centre holds the recorder
// weakly and keeps it alive while it delivers.
void observe(
    const std::shared_ptr<LMScreenRecorder>& recorder, std::string_view name, void (LMScreenRecorder::*handler)())
{
    NotificationCenter::defaultCenter().addObserver(recorder, std::string(name),
        [weak = std::weak_ptr<LMScreenRecorder>(recorder), handler](const platform::Notification& /*notification*/) {
            if (const auto strong = weak.lock()) {
                ((*strong).*handler)();
            }
        });
}

} // namespace

// ---- Shared instance ----------------------------------------------------------------------

std::once_flag& LMScreenRecorder::sharedOnce()
{
    static std::once_flag once;
    return once;
}

std::shared_ptr<LMScreenRecorder>& LMScreenRecorder::sharedInstance()
{
    // Never destroyed: the recorder must outlive every notification and
    // reply that may still reach it while the process winds down.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* shared = new std::shared_ptr<LMScreenRecorder>();
    return *shared;
}

void LMScreenRecorder::installSharedRecorder(const std::shared_ptr<LMScreenRecorder>& recorder)
{
    sharedInstance() = recorder;
    observe(recorder, platform::ExternalScreen::CurrentTypeDidChangeNotification,
        &LMScreenRecorder::updateRecordingAvailability);
    observe(recorder, platform::DeviceRestrictions::EffectiveSettingsChangedNotification,
        &LMScreenRecorder::updateRecordingAvailability);
    recorder->updateRecordingAvailability();
}

LMScreenRecorder::~LMScreenRecorder()
{
    NotificationCenter::defaultCenter().removeObserver(this);
}

// ---- Window, size, context id, rotation ----------------------------------------------------------

std::shared_ptr<platform::Window> LMScreenRecorder::applicationWindow()
{
    if (windowToRecord_) {
        return windowToRecord_;
    }
    const auto application = platform::Application::sharedApplication();
    if (const auto withWindow = platform::answering<platform::ApplicationDelegate::Window>(application->delegate())) {
        if (auto window = withWindow->window()) {
            return window;
        }
    }
    Log::ordinary("LMScreenRecorder: appWindow: app doesn't have the window property set on HostAppDelegate. Using "
                  "first window.");
    const auto windows = application->windows();
    return windows.empty() ? nullptr : windows.front();
}

platform::Size LMScreenRecorder::currentWindowSize()
{
    const auto screen = platform::Screen::mainScreen();
    platform::Size points;
    if (systemRecording_) {
        if (screen) {
            points = screen->bounds().size;
        }
    } else if (const auto window = applicationWindow()) {
        points = window->frame().size;
    }
    const double scale = screen ? screen->scale() : 0.0;
    // The service expects the ceiling taken in single precision, before scaling.
    const auto pixels
        = [scale](double length) { return static_cast<double>(std::ceil(static_cast<float>(length))) * scale; };
    return { pixels(points.width), pixels(points.height) };
}

std::uint32_t LMScreenRecorder::currentWindowLayerContextID()
{
    const auto contextIdOf = [](const std::shared_ptr<platform::Window>& window) -> std::uint32_t {
        if (!window || !window->layer()->context()) {
            return 0;
        }
        return window->layer()->context()->contextId();
    };
    if (windowToRecord_) {
        return contextIdOf(windowToRecord_);
    }
    if (!systemRecording_) {
        return contextIdOf(applicationWindow());
    }
    return WholeScreenLayerContextID;
}

void LMScreenRecorder::setWindowRotationLocked(bool locked)
{
    Log::ordinary("LMScreenRecorder: setWindowRotationLocked: %i", locked);
    if (locked) {
        Log::ordinary("disabling autorotation");
        if (const auto window = applicationWindow()) {
            window->beginDisablingInterfaceAutorotation();
        }
    } else {
        Log::ordinary("enabling autorotation");
        if (const auto window = applicationWindow()) {
            window->endDisablingInterfaceAutorotation();
        }
    }
}

// ---- Starting ---------------------------------------------------------------------------------

void LMScreenRecorder::startRecordingWithHandler(ErrorHandler handler)
{
    startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        microphoneEnabled_, cameraEnabled_, false, std::move(handler));
}

void LMScreenRecorder::startRecordingWithMicrophoneEnabled_handler(bool microphoneEnabled, ErrorHandler handler)
{
    startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        microphoneEnabled, false, false, std::move(handler));
}

void LMScreenRecorder::startBroadcastWithHandler(ErrorHandler handler)
{
    startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        microphoneEnabled_, cameraEnabled_, true, std::move(handler));
}

void LMScreenRecorder::startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
    bool microphoneEnabled, bool cameraEnabled, bool streamingEnabled, ErrorHandler handler)
{
    Log::ordinary("startRecordingWithMicrophoneAndCameraEnabled: start recording");
    if (recording_) {
        // A second start while recording is ignored without an answer.
        return;
    }
    updateRecordingAvailability();
    if (!available_) {
        const auto code = _isScreenRecordingAllowed() ? kErrorRecordingFailedToStart : kErrorRecordingRestricted;
        const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(code, nullptr);
        Log::ordinary("failed to start recording with error code %i", code);
        if (handler) {
            handler(error);
        }
        return;
    }
    _startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        microphoneEnabled, cameraEnabled, streamingEnabled, std::move(handler));
}

void LMScreenRecorder::startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(
    bool microphoneEnabled, const std::shared_ptr<platform::Window>& windowToRecord, bool systemRecording,
    ErrorHandler handler)
{
    windowToRecord_ = windowToRecord;
    systemRecording_ = systemRecording;
    if (!windowToRecord) {
        // The shell's root-window class exists only where the shell's code is
        // loaded, so it is looked up by name; without it no window matches.
        if (const auto shellRootWindow
            = platform::Runtime::classNamed(platform::RootWindow::ShellRootWindowClassName)) {
            for (const auto& window : platform::Application::sharedApplication()->windows()) {
                if (shellRootWindow->isClassOf(*window)) {
                    windowToRecord_ = window;
                }
            }
        }
    }
    // A system recording never records the microphone.
    _startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        microphoneEnabled && !systemRecording, false, false, std::move(handler));
}

void LMScreenRecorder::_startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
    bool microphoneEnabled, bool cameraEnabled, bool streamingEnabled, ErrorHandler handler)
{
    Log::ordinary("startRecordingWithMicrophoneAndCameraEnabled: start recording");
    if (!systemRecording_) {
        setWindowRotationLocked(true);
        registerForActivityNotifications();
    }
    setMicrophoneEnabled(microphoneEnabled);
    configureAudioSession();
    setCameraEnabled(cameraEnabled);

    const std::vector<std::uint32_t> windowLayerContextIDs { currentWindowLayerContextID() };
    const auto windowSize = currentWindowSize();
    LMDaemonProxy::daemonProxy()
        ->startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
            windowLayerContextIDs, windowSize, microphoneEnabled, cameraEnabled, streamingEnabled, systemRecording_,
            [weak = weakFrom(this), handler = std::move(handler)](
                const platform::ErrorRef& error, bool microphoneGranted, bool cameraGranted) {
                if (const auto self = weak.lock()) {
                    self->startReply(error, microphoneGranted, cameraGranted, handler);
                }
            });
}

void LMScreenRecorder::startReply(
    const platform::ErrorRef& error, bool microphoneGranted, bool cameraGranted, const ErrorHandler& handler)
{
    hasUserConsentForCamera_ = cameraGranted;
    hasUserConsentForMicrophone_ = microphoneGranted;
    if (error) {
        Log::ordinary("startRecordingWithMicrophoneEnabled...: error: %i", error->code());
        recording_ = false;
        restoreAudioSession();
        if (!systemRecording_) {
            setWindowRotationLocked(false);
        }
        using DidStop = LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController;
        if (const auto delegate = platform::answering<DidStop>(delegate_)) {
            delegate->screenRecorder_didStopRecordingWithError_previewViewController(sharedFrom(this), error, nullptr);
        }
    } else {
        // Set while `recording` is still false, so that neither setter talks
        // to the service or the camera preview.
        setMicrophoneEnabled(microphoneGranted);
        setCameraEnabled(cameraGranted);
        if (cameraEnabled_) {
            pipViewController_ = std::make_shared<LMPipViewController>();
            cameraPreviewView_ = pipViewController_->view();
        }
        recording_ = true;
        paused_ = false;
    }
    if (handler) {
        systemRecordingQuickPanelStartClipStartTime_ = platform::Date::now();
        Log::ordinary("startRecordingWithMicrophoneEnabled: finished start recording, calling handler");
        handler(error);
    }
}

void LMScreenRecorder::registerForActivityNotifications()
{
    std::call_once(activityRegistrationOnce, [this] {
        const auto self = sharedFrom(this);
        if (!self) {
            return;
        }
        observe(self, platform::Application::WillResignActiveNotification, &LMScreenRecorder::clientWillResignActive);
        observe(self, platform::Application::DidBecomeActiveNotification, &LMScreenRecorder::clientDidBecomeActive);
    });
}

// ---- Stopping, saving, discarding -----------------------------------------------------------------

void LMScreenRecorder::stopRecordingWithHandler(PreviewHandler handler)
{
    stopRecordingWithAdditionalShareFileAttachment_overrideShareMessage_previewViewControllerOverrideTintColor_handler(
        std::nullopt, std::nullopt, nullptr, std::move(handler));
}

void LMScreenRecorder::
    stopRecordingWithAdditionalShareFileAttachment_overrideShareMessage_previewViewControllerOverrideTintColor_handler(
        const std::optional<platform::URL>& attachmentURL, const std::optional<std::string>& overrideShareMessage,
        const std::shared_ptr<platform::Color>& overrideTintColor, PreviewHandler handler)
{
    if (!recording_) {
        return;
    }
    if (!systemRecording_) {
        setWindowRotationLocked(false);
    }
    LMDaemonProxy::daemonProxy()->stopRecordingWithHandler(
        [weak = weakFrom(this), attachmentURL, overrideShareMessage, overrideTintColor, handler = std::move(handler)](
            const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error) {
            if (const auto self = weak.lock()) {
                self->stopReply(movieURL, error, attachmentURL, overrideShareMessage, overrideTintColor, handler);
            }
        });
}

void LMScreenRecorder::stopReply(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error,
    const std::optional<platform::URL>& attachmentURL, const std::optional<std::string>& overrideShareMessage,
    const std::shared_ptr<platform::Color>& overrideTintColor, const PreviewHandler& handler)
{
    recording_ = false;
    systemRecording_ = false;
    restoreAudioSession();
    if (!handler) {
        return;
    }
    if (error) {
        Log::ordinary("LMScreenRecorder: stop recording error: %i", error->code());
        handler(nullptr, error);
        return;
    }
    if (movieURL) {
        Log::ordinary("LMScreenRecorder: stop recording successful");
        LMPreviewViewController::
            loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
                *movieURL, attachmentURL, overrideShareMessage, overrideTintColor,
                [handler](const std::shared_ptr<LMPreviewViewController>& previewViewController) {
                    // On a tablet the preview is shown as a popover.
                    if (previewViewController
                        && platform::Device::currentDevice()->userInterfaceIdiom()
                            == platform::UserInterfaceIdiom::Tablet) {
                        previewViewController->setModalPresentationStyle(
                            platform::ViewController::ModalPresentationPopover);
                    }
                    handler(previewViewController, nullptr);
                });
        return;
    }
    // Neither a movie nor an error: the end of a broadcast that produced no
    // movie. Only then is the broadcast's controller let go.
    if (activeBroadcastController_.load()) {
        // The controller goes once the handler has run.
        const auto controller = activeBroadcastController_.exchange(nullptr);
        handler(nullptr, nullptr);
    }
}

void LMScreenRecorder::stopRecordingWithVideoURLHandler(MovieURLHandler handler)
{
    if (!recording_) {
        return;
    }
    // Unlike every other stop, this one unlocks for a system recording too.
    setWindowRotationLocked(false);
    LMDaemonProxy::daemonProxy()->stopRecordingWithHandler(
        [weak = weakFrom(this), handler = std::move(handler)](
            const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error) {
            const auto self = weak.lock();
            if (!self) {
                return;
            }
            // `systemRecording` is deliberately left as it was.
            self->recording_ = false;
            self->restoreAudioSession();
            if (error) {
                Log::ordinary("LMScreenRecorder: stop recording error: %i", error->code());
                if (handler) {
                    handler(std::nullopt, error);
                }
                self->restoreAudioSession();
                return;
            }
            if (movieURL) {
                Log::ordinary("LMScreenRecorder: stop recording successful");
                if (handler) {
                    handler(movieURL, nullptr);
                }
            }
        });
}

void LMScreenRecorder::stopRecordingAndSaveToCameraRoll(SaveCompletion completion)
{
    if (!recording_) {
        return;
    }
    recording_ = false;
    systemRecordingQuickPanelEndClipEndTime_ = platform::Date::now();
    // How much of each end of a system recording shows the quick panel. A
    // pair without both dates measures nothing: the hooks that would set the
    // inner dates do nothing yet.
    const auto duration = [](const std::optional<platform::Date>& start, const std::optional<platform::Date>& end) {
        return start && end ? end->timeIntervalSinceDate(*start) : 0.0;
    };
    double startClipDuration = 0;
    double endClipDuration = 0;
    if (!systemRecording_) {
        setWindowRotationLocked(false);
    } else {
        startClipDuration
            = duration(systemRecordingQuickPanelStartClipStartTime_, systemRecordingQuickPanelStartClipEndTime_);
        endClipDuration
            = duration(systemRecordingQuickPanelEndClipStartTime_, systemRecordingQuickPanelEndClipEndTime_);
    }
    LMDaemonProxy::daemonProxy()->stopRecordingWithStartClipDuration_endClipDuration_handler(startClipDuration,
        endClipDuration,
        [weak = weakFrom(this), completion = std::move(completion)](
            const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error) {
            if (const auto self = weak.lock()) {
                self->stopAndSaveReply(movieURL, error, completion);
            }
        });
}

void LMScreenRecorder::stopAndSaveReply(
    const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error, const SaveCompletion& completion)
{
    recording_ = false;
    systemRecording_ = false;
    restoreAudioSession();
    if (error && completion) {
        completion(std::nullopt, error);
        return;
    }
    // With no one to tell of the error, the save is still attempted.
    saveVideoToCameraRollCompletionBlock_ = error ? nullptr : completion;
    platform::PhotoLibrary::saveVideoAtPathToSavedPhotosAlbum(movieURL ? movieURL->path() : std::string(),
        { sharedFrom(this), &LMScreenRecorder::video_didFinishSavingToCameraRollWithError_contextInfo }, nullptr);
}

void LMScreenRecorder::video_didFinishSavingToCameraRollWithError_contextInfo(
    const std::string& videoPath, const platform::ErrorRef& /*error*/, void* /*contextInfo*/)
{
    // Deliberately reports success whatever the save's own outcome.
    if (auto completion = std::exchange(saveVideoToCameraRollCompletionBlock_, nullptr)) {
        completion(videoPath, nullptr);
    }
    discardRecordingWithHandler([] {});
}

void LMScreenRecorder::stopBroadcastWithHandler(BroadcastStopHandler handler)
{
    stopRecordingWithHandler(
        [handler = std::move(handler)](const std::shared_ptr<LMPreviewViewController>& /*previewViewController*/,
            const platform::ErrorRef& /*error*/) {
            // Releasing a broadcast controller stops with no handler at all.
            if (handler) {
                handler(nullptr, nullptr);
            }
        });
}

// NOLINTNEXTLINE(readability-make-member-function-const): it ends the recorder's last movie.
void LMScreenRecorder::discardRecordingWithHandler(DiscardHandler handler)
{
    // A running recording cannot be thrown away.
    if (recording_) {
        return;
    }
    LMDaemonProxy::daemonProxy()->discardRecordingWithHandler(std::move(handler));
}

void LMScreenRecorder::stopRecordingWithError_movieURL(
    const platform::ErrorRef& error, const std::optional<platform::URL>& movieURL)
{
    if (!recording_) {
        return;
    }
    // `systemRecording` is deliberately left as it was.
    recording_ = false;
    restoreAudioSession();
    if (!systemRecording_) {
        setWindowRotationLocked(false);
    }
    using DidStop = LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController;
    const auto delegate = platform::answering<DidStop>(delegate_);
    if (!delegate) {
        return;
    }
    if (!movieURL) {
        delegate->screenRecorder_didStopRecordingWithError_previewViewController(sharedFrom(this), error, nullptr);
        return;
    }
    LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(*movieURL,
        [weak = weakFrom(this), error](const std::shared_ptr<LMPreviewViewController>& previewViewController) {
            const auto self = weak.lock();
            if (!self) {
                return;
            }
            if (previewViewController) {
                previewViewController->setPreviewControllerDelegate(self);
            }
            if (const auto current = platform::answering<DidStop>(self->delegate_)) {
                current->screenRecorder_didStopRecordingWithError_previewViewController(
                    self, error, previewViewController);
            }
        });
}

void LMScreenRecorder::quickPanelWillPresent() { }

void LMScreenRecorder::quickPanelDidDismiss() { }

// ---- Availability -------------------------------------------------------------------------------

void LMScreenRecorder::updateRecordingAvailability()
{
    Log::ordinary("LMScreenRecorder: updateRecordingAvailability");
    const bool allowed = _isScreenRecordingAllowed();
    const auto externalScreen = platform::ExternalScreen::currentExternalScreenType();
    const bool available = externalScreen != platform::ExternalScreenType::WirelessMirroring
        && externalScreen != platform::ExternalScreenType::WiredTVOut && allowed
        && _isScreenRecordingSupportedOnDevice();
    if (available) {
        Log::ordinary("recording available");
    } else {
        Log::ordinary("recording unavailable");
    }
    available_ = available;
    notifyDelegateOfRecorderAvailability();
}

void LMScreenRecorder::notifyDelegateOfRecorderAvailability()
{
    using DidChange = LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability;
    if (const auto delegate = platform::answering<DidChange>(delegate_)) {
        Log::ordinary("LMScreenRecorder: notifyDelegateOfRecorderAvailability");
        delegate->screenRecorderDidChangeAvailability(sharedFrom(this));
    }
}

bool LMScreenRecorder::_isScreenRecordingAllowed() const
{
    // Unset counts as allowed; only an explicit no forbids.
    return platform::DeviceRestrictions::effectiveBoolValueForSetting(
               platform::DeviceRestrictions::AllowScreenRecordingSetting)
        != platform::DeviceRestrictions::BoolValueNo;
}

bool LMScreenRecorder::_isScreenRecordingSupportedOnDevice() const
{
    return true;
}

void LMScreenRecorder::setDelegate(const std::shared_ptr<LMScreenRecorderDelegate>& delegate)
{
    if (delegate_.lock() != delegate) {
        delegate_ = delegate;
    }
    notifyDelegateOfRecorderAvailability();
}

// ---- Application life cycle, pause and resume ----------------------------------------------------

void LMScreenRecorder::clientWillResignActive()
{
    if (systemRecording_) {
        return;
    }
    if (recording_) {
        pauseRecording();
    }
    LMDaemonProxy::daemonProxy()->clientDidResignActiveWithBundleID(mainBundleIdentifier());
}

void LMScreenRecorder::clientDidBecomeActive()
{
    if (systemRecording_) {
        return;
    }
    LMDaemonProxy::daemonProxy()->clientDidBecomeActiveWithBundleID(mainBundleIdentifier());
    // A broadcast is resumed by its controller, not here.
    if (recording_ && !activeBroadcastController_.load()) {
        resumeRecording();
    }
}

void LMScreenRecorder::pauseRecording()
{
    paused_ = true;
    LMDaemonProxy::daemonProxy()->pauseRecording();
}

void LMScreenRecorder::resumeRecording()
{
    paused_ = false;
    // The window current now may differ from the one current at the start.
    LMDaemonProxy::daemonProxy()->resumeRecordingWithWindowLayerContextID(currentWindowLayerContextID());
}

// ---- Audio session ------------------------------------------------------------------------------

void LMScreenRecorder::configureAudioSession() { }

void LMScreenRecorder::restoreAudioSession()
{
    // Nothing saves the previous category in this build, so it may be absent;
    // the session then refuses the change and keeps its state.
    (void)platform::AudioSession::sharedInstance()->setCategory_withOptions(
        previousAudioCategory_, previousAudioSessionOptions_);
}

// ---- Microphone and camera --------------------------------------------------------------------------

void LMScreenRecorder::setMicrophoneEnabled(bool enabled)
{
    if (enabled == microphoneEnabled_) {
        return;
    }
    if (recording_) {
        if (enabled && !hasUserConsentForMicrophone_) {
            Log::console("Microphone recording must be enabled first prior to startRecording");
        } else {
            LMDaemonProxy::daemonProxy()->setMicrophoneEnabled(enabled);
        }
    }
    const std::string key(kMicrophoneEnabledKey);
    willChangeValueForKey(key);
    microphoneEnabled_ = enabled;
    didChangeValueForKey(key);
}

void LMScreenRecorder::setCameraEnabled(bool enabled)
{
    if (enabled == cameraEnabled_) {
        return;
    }
    if (recording_) {
        if (!enabled) {
            if (pipViewController_) {
                pipViewController_->stopPipSession();
            }
        } else if (hasUserConsentForCamera_) {
            if (pipViewController_) {
                pipViewController_->startPipSession();
            }
        } else {
            Log::console("Camera must be enabled first prior to startRecording");
        }
    }
    const std::string key(kCameraEnabledKey);
    willChangeValueForKey(key);
    cameraEnabled_ = enabled;
    didChangeValueForKey(key);
}

platform::Value LMScreenRecorder::valueForKey(const std::string& key) const
{
    if (key == kMicrophoneEnabledKey) {
        return microphoneEnabled_;
    }
    if (key == kCameraEnabledKey) {
        return cameraEnabled_;
    }
    return {};
}

} // namespace lumora
