#include "platform/host/SimulatedRecordingService.h"

#include "platform/Clock.h"
#include "platform/DispatchQueue.h"
#include "platform/Log.h"
#include "platform/SampleBuffer.h"
#include "platform/host/ExtensionRequest.h"
#include "platform/host/SimulatedBroadcastPicker.h"
#include "platform/host/SimulatedDevice.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

constexpr std::string_view kStartMessage
    = "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
      "withHandler:";
constexpr std::size_t kStartMicrophoneArgument = 3;
constexpr std::size_t kStartBroadcastArgument = 5;
constexpr std::string_view kPayloadLabel = "payload";
constexpr auto kFramesPerPayload = static_cast<std::int64_t>(
    SimulatedRecordingService::PayloadInterval * SimulatedRecordingService::AudioSampleRate);

Value payload(Dictionary entries)
{
    return Value(std::make_shared<Dictionary>(std::move(entries)));
}

// One payload of silence, 16-bit mono, starting at frame `start`.
Value audioPayload(std::int64_t type, std::int64_t start)
{
    SampleTimingInfo timing;
    const auto timescale = static_cast<std::int32_t>(SimulatedRecordingService::AudioSampleRate);
    timing.duration = { kFramesPerPayload, timescale, MediaTime::Valid, 0 };
    timing.presentationTimeStamp = { start, timescale, MediaTime::Valid, 0 };
    timing.decodeTimeStamp = timing.presentationTimeStamp;
    return payload({
        { std::string(LMBroadcastProcessExtensionPayloadKeySampleType), Value(type) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyNumSamples), Value(kFramesPerPayload) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyAudioBufferList),
            Value(Data(std::vector<std::uint8_t>(static_cast<std::size_t>(kFramesPerPayload) * 2, 0))) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyTimingInfo), Value(Data(&timing, sizeof timing)) },
    });
}

// The queue the upload extension's requests are made on, one at a time. Made
// once and never destroyed: the platform's threads are gone before static
// objects are.
DispatchQueue& deliveryQueue()
{
    static const auto* const queue = new std::shared_ptr<DispatchQueue>( // NOLINT(cppcoreguidelines-owning-memory)
        DispatchQueue::makeSerial("com.lumora.recordingservice.upload"));
    return **queue;
}

// The host folder that the service's movies folder is mounted onto: one of
// its own in the temporary directory, removed with the movies when the
// process ends.
class MoviesFolder {
public:
    MoviesFolder()
        : path_(
            (std::filesystem::temp_directory_path() / fmt::format("lumora-recording-service-{}", ::getpid())).string())
    { }
    ~MoviesFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    MoviesFolder(const MoviesFolder&) = delete;
    MoviesFolder& operator=(const MoviesFolder&) = delete;
    MoviesFolder(MoviesFolder&&) = delete;
    MoviesFolder& operator=(MoviesFolder&&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

const std::string& moviesFolder()
{
    static const MoviesFolder folder;
    std::error_code ignored;
    std::filesystem::create_directories(folder.path(), ignored);
    return folder.path();
}

bool argumentIsTrue(const std::vector<Value>& arguments, std::size_t index)
{
    return index < arguments.size() && arguments[index].boolValue();
}

} // namespace

void SimulatedRecordingService::reset()
{
    // A capture still going is let go outside the lock: it waits for its encoding.
    std::shared_ptr<ScreenCapture> capture;
    std::lock_guard lock(mutex_);
    capture = std::move(capture_);
    movie_.reset();
    movieDevicePath_.clear();
    recordedAnswer_.reset();
    recordsScreen_ = false;
    requests_.clear();
    startError_.reset();
    stopAnswer_.reset();
    microphoneConsent_ = true;
    cameraConsent_ = true;
    connection_.reset();
    uploadExtensions_.clear();
    broadcast_.reset();
}

void SimulatedRecordingService::recordRequest(std::string message, std::vector<Value> arguments)
{
    // What the request does to a live broadcast.
    enum class Step : std::uint8_t { None, Start, Pause, Resume, Finish };
    auto step = Step::None;
    bool microphone = false;
    bool broadcast = false;
    bool screen = false;
    {
        std::lock_guard lock(mutex_);
        if (message == kStartMessage && !startError_) {
            step = Step::Start;
            microphone = argumentIsTrue(arguments, kStartMicrophoneArgument) && microphoneConsent_;
            broadcast = argumentIsTrue(arguments, kStartBroadcastArgument);
            screen = recordsScreen_;
        } else if (message == "pauseRecording") {
            step = Step::Pause;
        } else if (message == "resumeRecordingWithWindowLayerContextID:") {
            step = Step::Resume;
        } else if (message == "stopRecordingWithHandler:"
            || message == "stopRecordingWithStartClipDuration:endClipDuration:handler:") {
            step = Step::Finish;
        }
        requests_.push_back(Request { std::move(message), std::move(arguments) });
    }
    const auto capture = screenCapture();
    switch (step) {
    case Step::Start:
        if (screen) {
            startScreenRecording(microphone);
        }
        if (broadcast) {
            startBroadcast(microphone);
        }
        break;
    case Step::Pause:
        if (capture) {
            capture->pause();
        }
        pauseBroadcast();
        break;
    case Step::Resume:
        if (capture) {
            capture->resume();
        }
        resumeBroadcast();
        break;
    case Step::Finish:
        finishScreenRecording();
        finishBroadcast();
        break;
    case Step::None:
        break;
    }
}

std::vector<SimulatedRecordingService::Request> SimulatedRecordingService::requests() const
{
    std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<SimulatedRecordingService::Request> SimulatedRecordingService::requestsNamed(
    const std::string& message) const
{
    std::vector<Request> found;
    std::lock_guard lock(mutex_);
    std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(found),
        [&message](const Request& request) { return request.message == message; });
    return found;
}

void SimulatedRecordingService::clearRequests()
{
    std::lock_guard lock(mutex_);
    requests_.clear();
}

void SimulatedRecordingService::setStartError(ErrorRef error)
{
    std::lock_guard lock(mutex_);
    startError_ = std::move(error);
}

void SimulatedRecordingService::setMicrophoneConsent(bool consent)
{
    std::lock_guard lock(mutex_);
    microphoneConsent_ = consent;
}

void SimulatedRecordingService::setCameraConsent(bool consent)
{
    std::lock_guard lock(mutex_);
    cameraConsent_ = consent;
}

LocalRecordingService::StartAnswer SimulatedRecordingService::answerStart(
    bool microphoneEnabled, bool cameraEnabled) const
{
    std::lock_guard lock(mutex_);
    if (startError_) {
        return { startError_, false, false };
    }
    return { nullptr, microphoneEnabled && microphoneConsent_, cameraEnabled && cameraConsent_ };
}

void SimulatedRecordingService::setStopAnswer(std::optional<URL> movieURL, ErrorRef error)
{
    std::lock_guard lock(mutex_);
    stopAnswer_ = LocalRecordingService::StopAnswer { std::move(movieURL), std::move(error) };
}

LocalRecordingService::StopAnswer SimulatedRecordingService::answerStop(const std::optional<URL>& cannedMovieURL) const
{
    std::lock_guard lock(mutex_);
    if (stopAnswer_) {
        return *stopAnswer_;
    }
    return recordedAnswer_ ? *recordedAnswer_ : LocalRecordingService::StopAnswer { cannedMovieURL, nullptr };
}

void SimulatedRecordingService::setRecordsScreen(bool recordsScreen)
{
    std::lock_guard lock(mutex_);
    recordsScreen_ = recordsScreen;
}

bool SimulatedRecordingService::recordsScreen() const
{
    std::lock_guard lock(mutex_);
    return recordsScreen_;
}

std::shared_ptr<ScreenCapture> SimulatedRecordingService::screenCapture() const
{
    std::lock_guard lock(mutex_);
    return capture_;
}

void SimulatedRecordingService::startScreenRecording(bool microphone)
{
    // A start the recorder sent twice begins a new movie.
    finishScreenRecording();
    // Every movie gets a name of its own for as long as the process runs.
    static std::atomic<std::uint64_t> recordings { 0 };
    const auto name = fmt::format("Recording-{}.mp4", ++recordings);
    const auto& folder = moviesFolder();
    SimulatedDevice::shared().mountDirectory(std::string(MoviesDirectory), folder);
    auto capture = ScreenCapture::make(microphone);
    auto movie = capture->openMovie((std::filesystem::path(folder) / name).string());
    capture->start();
    std::lock_guard lock(mutex_);
    capture_ = std::move(capture);
    movie_ = std::move(movie);
    movieDevicePath_ = std::string(MoviesDirectory) + name;
    recordedAnswer_.reset();
}

void SimulatedRecordingService::finishScreenRecording()
{
    std::shared_ptr<ScreenCapture> capture;
    std::shared_ptr<ScreenCapture::Movie> movie;
    std::string path;
    {
        std::lock_guard lock(mutex_);
        capture = std::move(capture_);
        movie = std::move(movie_);
        path = std::move(movieDevicePath_);
    }
    if (!capture) {
        return;
    }
    capture->stop();
    const bool written = movie && capture->closeMovie(movie);
    if (!written) {
        Log::error("Recording service: the screen recording could not be written");
    }
    std::lock_guard lock(mutex_);
    recordedAnswer_
        = LocalRecordingService::StopAnswer { written ? std::optional(URL::fileURLWithPath(path)) : std::nullopt,
              nullptr };
}

std::shared_ptr<ServiceConnection> SimulatedRecordingService::clientConnection()
{
    std::lock_guard lock(mutex_);
    if (!connection_) {
        connection_ = std::make_shared<ServiceConnection>("com.lumora.recordingservice");
    }
    return connection_;
}

void SimulatedRecordingService::announceStop(const ErrorRef& error, const std::optional<URL>& movieURL)
{
    sendMessage("stopRecordingWithError:movieURL:",
        { Value(std::const_pointer_cast<Error>(error)), movieURL ? Value(*movieURL) : Value() });
}

void SimulatedRecordingService::announceBroadcastServiceInfo(const DictionaryRef& serviceInfo)
{
    sendMessage("updateBroadcastServiceInfo:", { Value(serviceInfo) });
}

void SimulatedRecordingService::sendMessage(std::string selector, std::vector<Value> arguments)
{
    clientConnection()->receiveMessage(selector, std::move(arguments));
}

void SimulatedRecordingService::installUploadExtension(
    std::string identifier, UploadKind kind, UploadHandlerFactory factory)
{
    std::lock_guard lock(mutex_);
    uploadExtensions_[std::move(identifier)] = UploadExtension { kind, std::move(factory) };
}

bool SimulatedRecordingService::isBroadcasting() const
{
    std::lock_guard lock(mutex_);
    return broadcast_.has_value();
}

void SimulatedRecordingService::startBroadcast(bool microphone)
{
    const auto setup = SimulatedDevice::shared().broadcastPicker().chosenSetup();
    if (!setup || setup->error) {
        Log::error("Recording service: no broadcast service was set up");
        return;
    }
    std::optional<std::string> uploadIdentifier;
    if (const auto setupExtension
        = SimulatedDevice::shared().extensions().lookUpExtension(setup->setupExtensionIdentifier, nullptr)) {
        uploadIdentifier
            = setupExtension->attributes()->stringForKey(SimulatedBroadcastPicker::UploadExtensionAttribute);
    }
    std::lock_guard lock(mutex_);
    const auto found = uploadIdentifier ? uploadExtensions_.find(*uploadIdentifier) : uploadExtensions_.end();
    if (found == uploadExtensions_.end()) {
        Log::error("Recording service: the broadcast service has no upload extension installed");
        return;
    }
    broadcast_ = Broadcast { .extension = found->second,
        .setupInfo = setup->setupInfo,
        .microphone = microphone,
        .paused = false,
        .nextFrame = 0,
        .timer = nullptr };
    if (broadcast_->extension.kind == UploadKind::SampleBuffer) {
        deliverAction(LMBroadcastActionTypeStarted, true);
        scheduleNextPayloadsLocked();
    }
}

void SimulatedRecordingService::pauseBroadcast()
{
    std::lock_guard lock(mutex_);
    if (!broadcast_ || broadcast_->paused) {
        return;
    }
    broadcast_->paused = true;
    broadcast_->timer.reset();
    if (broadcast_->extension.kind == UploadKind::SampleBuffer) {
        deliverAction(LMBroadcastActionTypePaused, false);
    }
}

void SimulatedRecordingService::resumeBroadcast()
{
    std::lock_guard lock(mutex_);
    if (!broadcast_ || !broadcast_->paused) {
        return;
    }
    broadcast_->paused = false;
    if (broadcast_->extension.kind == UploadKind::SampleBuffer) {
        deliverAction(LMBroadcastActionTypeResumed, false);
        scheduleNextPayloadsLocked();
    }
}

void SimulatedRecordingService::finishBroadcast()
{
    std::lock_guard lock(mutex_);
    if (!broadcast_) {
        return;
    }
    broadcast_->timer.reset();
    if (broadcast_->extension.kind == UploadKind::SampleBuffer) {
        deliverAction(LMBroadcastActionTypeFinished, false);
    }
    broadcast_.reset();
}

void SimulatedRecordingService::scheduleNextPayloadsLocked()
{
    broadcast_->timer = Clock::scheduleAfter(PayloadInterval, [this] { sendPayloads(); });
}

void SimulatedRecordingService::sendPayloads()
{
    std::lock_guard lock(mutex_);
    // A timer that was due when the broadcast paused or finished may still run.
    if (!broadcast_ || broadcast_->paused) {
        return;
    }
    const auto start = broadcast_->nextFrame;
    broadcast_->nextFrame += kFramesPerPayload;
    ExtensionItems items { ExtensionRequest::labelledItem(
        kPayloadLabel, audioPayload(LMBroadcastSampleTypeAudioApp, start)) };
    if (broadcast_->microphone) {
        items.push_back(
            ExtensionRequest::labelledItem(kPayloadLabel, audioPayload(LMBroadcastSampleTypeAudioMic, start)));
    }
    deliver(broadcast_->extension.factory, std::move(items));
    scheduleNextPayloadsLocked();
}

void SimulatedRecordingService::deliverAction(std::int64_t action, bool withSetupInfo)
{
    Dictionary entries { { std::string(LMBroadcastProcessExtensionPayloadKeyActionType), Value(action) } };
    if (withSetupInfo && broadcast_->setupInfo) {
        entries.emplace(LMBroadcastExtensionKeyExtensionUserInfo, Value(broadcast_->setupInfo));
    }
    deliver(
        broadcast_->extension.factory, { ExtensionRequest::labelledItem(kPayloadLabel, payload(std::move(entries))) });
}

void SimulatedRecordingService::deliver(const UploadHandlerFactory& factory, ExtensionItems items)
{
    deliveryQueue().async([this, factory, items = std::move(items)] {
        auto handler = factory ? factory() : nullptr;
        if (!handler) {
            return;
        }
        const ExtensionRequest request(items);
        request.beginWithHandler(handler);
        const auto outcome = request.waitForOutcome();
        if (!outcome) {
            Log::error("Recording service: the upload extension did not complete its request");
            return;
        }
        if (const auto info
            = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyExtensionServiceInfo);
            info && info->dictionary()) {
            announceBroadcastServiceInfo(info->dictionary());
        }
    });
}

} // namespace lumora::platform::host
