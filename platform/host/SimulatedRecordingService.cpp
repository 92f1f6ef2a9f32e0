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

bool argumentIsTrue(const std::vector<Value>& arguments, std::size_t index)
{
    return index < arguments.size() && arguments[index].boolValue();
}

} // namespace

void SimulatedRecordingService::reset()
{
    std::lock_guard lock(mutex_);
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
    {
        std::lock_guard lock(mutex_);
        if (message == kStartMessage && !startError_ && argumentIsTrue(arguments, kStartBroadcastArgument)) {
            step = Step::Start;
            microphone = argumentIsTrue(arguments, kStartMicrophoneArgument) && microphoneConsent_;
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
    switch (step) {
    case Step::Start:
        startBroadcast(microphone);
        break;
    case Step::Pause:
        pauseBroadcast();
        break;
    case Step::Resume:
        resumeBroadcast();
        break;
    case Step::Finish:
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
    return stopAnswer_ ? *stopAnswer_ : LocalRecordingService::StopAnswer { cannedMovieURL, nullptr };
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
