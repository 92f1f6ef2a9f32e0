#pragma once

#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/ExtensionRequestHandling.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/services/ExtensionHostProcess.h"
#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/system/LocalRecordingService.h"
#include "platform/system/ServiceConnection.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// The recording service as the simulated device plays it behind the local
/// proxy: it keeps every request the proxy answered, in order, and decides
/// how a start and a stop are answered.
///
/// Initially the user consents to both microphone and camera and starts
/// succeed, so a start is granted exactly what it asked for.
///
/// A start with the broadcast flag goes live through the broadcast service
/// chosen in the system picker: the service runs that service's upload
/// extension (installed here with `installUploadExtension`), one extension
/// request at a time and in order, on a queue of its own. A sample-buffer
/// extension hears the start with the setup information, then one
/// application and (when granted) one microphone audio payload every
/// `PayloadInterval` seconds of the device clock, the pause and resume of
/// the recording, and the finish when it stops. The payloads carry the
/// device's sound (`deviceAudio`) at the device times they stand for: what
/// the application played, and what the microphone heard (silence while the
/// application has it muted with `setMicrophoneEnabled:`).
///
/// Each upload request waits at most `UploadRequestTimeout` of the device
/// clock for the extension to complete or cancel it: a held clock holds the
/// deadline back until it is advanced past it, and a running clock makes it
/// the same span of real time. A request left unanswered that long is logged
/// ("the upload extension did not complete its request"), its reply is never
/// read, and the next request goes on.
///
/// A movie-clip extension gets the broadcast cut into clips of the chosen
/// configuration's clip duration (`DefaultClipDuration` when it gives none
/// that can be used; durations are clamped to `MinimumClipDuration` and
/// `MaximumClipDuration`), counted in seconds of the device clock while the
/// recording is live: paused time does not count. Each clip is a file in the
/// service's folder `ClipDirectory` and one request carrying the clip's URL,
/// the setup information, whether it is the last clip (the one cut at stop)
/// and a sandbox token to read the file (`readTokenForFile`). A configuration
/// the extension returns with a clip sets the clip duration from the clip
/// being recorded on; a malformed one is logged and ignored. An extension
/// that gives a clip up with an error ends the broadcast, as a device does:
/// the application hears the recording stop with recording error -5804,
/// the extension's error under `Error::UnderlyingErrorKey`. The
/// clips of a broadcast stay in the folder until the next broadcast starts.
///
/// Service information that an extension returns reaches the application
/// through its connection.
///
/// Stops answer with the canned movie unless the service records the screen
/// (`setRecordsScreen`): then a start that succeeds captures the main screen
/// as it is composited, on the device clock, with the device's sound (the
/// application's, and the microphone's when it was granted and is not
/// muted: `ScreenCapture`, `deviceAudio`), a pause and a resume
/// pause and resume that capture, and a stop completes the movie in the
/// service's own folder (`MoviesDirectory`) and answers with its URL.
/// Requests arrive on the MainQueue, where the screen may be composited.
class SimulatedRecordingService {
public:
    /// How an upload extension takes the broadcast.
    enum class UploadKind : std::uint8_t { SampleBuffer, MovieClip };
    /// The upload extension's code: a new handler for each request.
    using UploadHandlerFactory = std::function<std::shared_ptr<ExtensionRequestHandling>()>;
    /// Seconds of audio in one payload, and between two of them.
    static constexpr double PayloadInterval = 0.1;
    static constexpr std::int64_t AudioSampleRate = 44100;
    /// How long an upload request waits for the extension's answer, on the device clock.
    static constexpr std::chrono::seconds UploadRequestTimeout { 5 };
    /// Seconds of one movie clip when the configuration gives no usable duration
    /// (none, zero, negative or not a number), and the bounds a usable one is
    /// held within (a configuration the extension returns too).
    static constexpr double DefaultClipDuration = 5.0;
    static constexpr double MinimumClipDuration = 0.5;
    static constexpr double MaximumClipDuration = 600.0;
    /// The service's folder of movie clips, a device path. When no mount
    /// covers it, the service mounts a temporary folder of its own there.
    static constexpr std::string_view ClipDirectory = "/private/var/mobile/Library/RecordingService/Clips";
    /// The sandbox token that grants read access to the file at `devicePath`.
    [[nodiscard]] static std::string readTokenForFile(const std::string& devicePath);

    struct Request {
        std::string message;
        std::vector<Value> arguments;
    };

    void reset();

    void recordRequest(std::string message, std::vector<Value> arguments);
    [[nodiscard]] std::vector<Request> requests() const;
    /// The requests with this message name, in order.
    [[nodiscard]] std::vector<Request> requestsNamed(const std::string& message) const;
    void clearRequests();

    /// Makes every start fail with `error` (null: starts succeed again).
    void setStartError(ErrorRef error);
    /// The user's answer when the service asks for the microphone (or the camera).
    void setMicrophoneConsent(bool consent);
    void setCameraConsent(bool consent);
    [[nodiscard]] LocalRecordingService::StartAnswer answerStart(bool microphoneEnabled, bool cameraEnabled) const;
    /// Makes every stop answer with `movieURL` (may be absent) and `error`
    /// instead of the canned movie and no error, until the next reset.
    void setStopAnswer(std::optional<URL> movieURL, ErrorRef error);
    [[nodiscard]] LocalRecordingService::StopAnswer answerStop(const std::optional<URL>& cannedMovieURL) const;

    // ---- Recording the screen ---------------------------------------------------------
    /// The device folder that recorded movies are written to, a folder of the
    /// service's own (mounted onto a folder in the host's temporary directory,
    /// removed when the process ends).
    static constexpr std::string_view MoviesDirectory = "/private/var/mobile/Library/RecordingService/Movies/";
    /// Makes started recordings capture the screen into movies of their own
    /// (initially, and after a reset, they do not).
    void setRecordsScreen(bool recordsScreen);
    [[nodiscard]] bool recordsScreen() const;
    /// The capture of the recording going on, or null: to watch its pictures
    /// or to write more movies from it.
    [[nodiscard]] std::shared_ptr<ScreenCapture> screenCapture() const;
    /// The sound of the last recording started (null before the first): what
    /// its movie and its live payloads carry, with the stretches the
    /// application had the microphone muted.
    [[nodiscard]] std::shared_ptr<const DeviceAudio> deviceAudio() const;

    // ---- Calls of the service into the application ------------------------------------
    /// The application's end of its connection to the service, made on first
    /// use (a reset makes the next use make a new one). Whoever stands for the
    /// application's client gives it a delegate and an exported interface.
    std::shared_ptr<ServiceConnection> clientConnection();
    /// The service stops the recording on its own and says so.
    void announceStop(const ErrorRef& error, const std::optional<URL>& movieURL);
    /// The broadcast service reports new information about the broadcast.
    void announceBroadcastServiceInfo(const DictionaryRef& serviceInfo);
    /// Sends any message, as a misbehaving service might; it arrives on the
    /// connection's thread like every call of the service.
    void sendMessage(const std::string& selector, std::vector<Value> arguments);

    // ---- The service as a process of its own -------------------------------------------
    /// Makes the device run the service as a process of its own
    /// (`RecordingServiceProcess`), to which the platform then offers the
    /// application a connection; initially, and after a reset, it does not.
    /// Decided before the application first reaches the service.
    void setRunsInOwnProcess(bool runsInOwnProcess);
    [[nodiscard]] bool runsInOwnProcess() const;
    /// The service's process: started on demand, stopped at a chosen moment, killed.
    RecordingServiceProcess& process() { return process_; }

    // ---- Live broadcast ---------------------------------------------------------------
    /// Installs the upload extension `identifier` (replacing one of the same
    /// identifier), the one a setup extension names as its service's.
    void installUploadExtension(std::string identifier, UploadKind kind, UploadHandlerFactory factory);
    /// Installs the upload extension `identifier` to run in a process of its
    /// own from its bundle at `bundlePath` (a host path), under the memory
    /// ceiling and request deadline of its kind, and returns that process.
    /// Should it crash, hang, cross its ceiling, answer with something
    /// malformed or be killed during a live broadcast, the service ends the
    /// broadcast and tells the application it failed during recording.
    std::shared_ptr<ExtensionHostProcess> installUploadExtensionOutOfProcess(
        std::string identifier, UploadKind kind, std::string bundlePath);
    /// The sound of the live audio payloads: fills `samples` (16-bit mono at
    /// `AudioSampleRate`) for the payload of sample type `sampleType` whose
    /// first frame is `firstFrame`, counted from the broadcast's start.
    using PayloadAudio
        = std::function<void(std::int64_t sampleType, std::int64_t firstFrame, std::span<std::int16_t> samples)>;
    /// Sets the sound of the live audio payloads (null, initially and after a
    /// reset: the device's own). Called on the MainQueue, before going live.
    void setPayloadAudio(PayloadAudio audio);
    /// Whether a broadcast is live (started and not yet finished).
    [[nodiscard]] bool isBroadcasting() const;
    /// Waits, at most `timeout`, until every upload request queued so far has
    /// ended and its reply has been read. False on timeout.
    [[nodiscard]] bool waitForUploadRequests(std::chrono::milliseconds timeout) const;

private:
    struct UploadExtension {
        UploadKind kind = UploadKind::SampleBuffer;
        UploadHandlerFactory factory;
        /// Set when the extension runs in a process of its own.
        std::shared_ptr<ExtensionHostProcess> process;
    };
    struct Broadcast {
        /// Tells one broadcast from the next, for replies that come late.
        std::uint64_t number = 0;
        UploadExtension extension;
        DictionaryRef setupInfo;
        bool microphone = false;
        bool paused = false;
        std::int64_t nextFrame = 0;
        /// The device's sample that payload frame 0 would stand for: payload
        /// frames run on across a pause, the device's sound does not.
        std::int64_t deviceSampleOffset = 0;
        std::shared_ptr<void> timer;
        // Movie clips: the duration of clips to come, the length of the clip
        // being recorded, the live seconds it holds up to `liveSince` (the
        // uptime the recording last went live), and the clips cut so far.
        double clipDuration = DefaultClipDuration;
        double clipLength = DefaultClipDuration;
        double clipRecorded = 0.0;
        double liveSince = 0.0;
        std::int64_t clipsCut = 0;
        /// Counts the clip timers set, so that one already queued when it was
        /// replaced cuts nothing.
        std::uint64_t clipTimersSet = 0;
        /// While the service records the screen, clips are cut from that
        /// capture: the movie of the clip being recorded.
        std::shared_ptr<ScreenCapture> capture;
        std::shared_ptr<ScreenCapture::Movie> clipMovie;
    };

    void startScreenRecording(bool microphone, std::shared_ptr<const DeviceAudio> audio);
    /// The application muted the microphone (or let it be heard again) now.
    void setMicrophoneEnabled(bool enabled);
    void finishScreenRecording();
    void startBroadcast(bool microphone);
    void pauseBroadcast();
    void resumeBroadcast();
    void finishBroadcast();
    void scheduleNextPayloadsLocked();
    void sendPayloads();
    void deliverAction(std::int64_t action, bool withSetupInfo);
    /// Queues one request of the upload extension with `items`; when it has
    /// ended, `readReply` (if any) reads the reply and answers whether the
    /// service information it carries goes on to the application.
    void deliver(const UploadExtension& extension, ExtensionItems items,
        std::function<bool(const ExtensionRequest::Outcome&)> readReply = nullptr,
        std::vector<ExtensionHostProcess::HandedFile> files = {});

    void scheduleClipCutLocked();
    void cutClipOnTimer(std::uint64_t broadcastNumber, std::uint64_t timerNumber);
    void cutAndStartNextClipLocked();
    /// Cuts the clip being recorded and queues its request.
    void cutClipLocked(bool last);
    /// Starts the movie of clip `clip` when the service records the screen.
    void openClipMovieLocked(std::int64_t clip);
    /// Completes the movie of clip `clip` of the live broadcast in the clip
    /// folder and returns its device path, or nullopt when it could not.
    std::optional<std::string> writeClipFileLocked(std::int64_t clip);
    /// Queues the request of one clip and reads the extension's reply.
    void deliverClip(const UploadExtension& extension, ExtensionItems items, std::uint64_t broadcastNumber,
        std::int64_t clip, std::vector<ExtensionHostProcess::HandedFile> files);
    /// The upload extension of broadcast `broadcastNumber` gave up with
    /// `error` (it cancelled a clip, or its process failed): the broadcast
    /// takes no more requests and ends on the MainQueue.
    void giveUpBroadcast(std::uint64_t broadcastNumber, const ErrorRef& error);
    /// Ends broadcast `broadcastNumber`, if it is still live, because its
    /// upload extension gave up a clip with `error`, and tells the application.
    void endBroadcastAfterUploadFailure(std::uint64_t broadcastNumber, const ErrorRef& error);
    /// A clip duration that the extension sent back with a clip of broadcast `broadcastNumber`.
    void applyClipDuration(std::uint64_t broadcastNumber, double duration);

    std::map<std::string, UploadExtension> uploadExtensions_;
    PayloadAudio payloadAudio_;
    std::optional<Broadcast> broadcast_;
    std::uint64_t broadcastsStarted_ = 0;
    /// The last broadcast ended by its extension's failure: its requests still queued are dropped.
    std::uint64_t failedBroadcast_ = 0;
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    ErrorRef startError_;
    std::optional<LocalRecordingService::StopAnswer> stopAnswer_;
    bool microphoneConsent_ = true;
    bool cameraConsent_ = true;
    std::shared_ptr<ServiceConnection> connection_;
    bool runsInOwnProcess_ = false;
    RecordingServiceProcess process_;
    bool recordsScreen_ = false;
    std::shared_ptr<ScreenCapture> capture_;
    std::shared_ptr<DeviceAudio> audio_;
    std::shared_ptr<ScreenCapture::Movie> movie_;
    std::string movieDevicePath_;
    // How stops answer since the last screen recording ended.
    std::optional<LocalRecordingService::StopAnswer> recordedAnswer_;
};

} // namespace lumora::platform::host
