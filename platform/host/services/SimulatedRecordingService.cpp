#include "platform/host/services/SimulatedRecordingService.h"

#include "platform/extensions/Extension.h"
#include "platform/formats/Coding.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionBoundary.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/system/TemporaryFolder.h"
#include "platform/media/SampleBuffer.h"
#include "platform/system/Bundle.h"
#include "recording/LMExtensions.h"
#include "recording/LumoraErrors.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <span>
#include <system_error>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

constexpr std::string_view kStartMessage
    = "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
      "withHandler:";
constexpr std::size_t kStartMicrophoneArgument = 3;
constexpr std::size_t kStartBroadcastArgument = 5;
constexpr std::string_view kMicrophoneMessage = "setMicrophoneEnabled:";
// How often a request waiting for its extension looks at the device clock,
// which a test may hold and advance by hand.
constexpr auto kClockLookInterval = std::chrono::milliseconds(10);
constexpr std::string_view kPayloadLabel = "payload";
// The recording error a live broadcast ends with when its upload extension gives up.
constexpr std::int64_t kFailedDuringRecording = -5804;
constexpr auto kFramesPerPayload = static_cast<std::int64_t>(
    SimulatedRecordingService::PayloadInterval * SimulatedRecordingService::AudioSampleRate);

Value payload(Dictionary entries)
{
    return Value(std::make_shared<Dictionary>(std::move(entries)));
}

// One payload of `samples`, 16-bit mono, starting at frame `start`:
// application audio big-endian, microphone audio in the host's order, as
// the payload format declares them.
Value audioPayload(std::int64_t type, std::int64_t start, std::span<const std::int16_t> samples)
{
    std::vector<std::uint8_t> bytes(samples.size() * 2);
    const bool bigEndian = type == LMBroadcastSampleTypeAudioApp;
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const auto word = static_cast<std::uint16_t>(samples[index]);
        const auto high = static_cast<std::uint8_t>(word >> 8U);
        const auto low = static_cast<std::uint8_t>(word & 0xFFU);
        const bool highFirst = bigEndian || std::endian::native == std::endian::big;
        bytes[2 * index] = highFirst ? high : low;
        bytes[(2 * index) + 1] = highFirst ? low : high;
    }
    SampleTimingInfo timing;
    const auto timescale = static_cast<std::int32_t>(SimulatedRecordingService::AudioSampleRate);
    timing.duration = { kFramesPerPayload, timescale, MediaTime::Valid, 0 };
    timing.presentationTimeStamp = { start, timescale, MediaTime::Valid, 0 };
    timing.decodeTimeStamp = timing.presentationTimeStamp;
    return payload({
        { std::string(LMBroadcastProcessExtensionPayloadKeySampleType), Value(type) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyNumSamples), Value(kFramesPerPayload) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyAudioBufferList), Value(Data(std::move(bytes))) },
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

// The host folder that the service's movies folder is mounted onto.
const std::string& moviesFolder()
{
    return TemporaryFolder::named("lumora-recording-service");
}

// Waits for the extension to end `request` until the device clock stands at
// `deadline` (an uptime); nullopt when it did not end by then.
std::optional<ExtensionRequest::Outcome> waitForOutcomeUntil(const ExtensionRequest& request, double deadline)
{
    for (;;) {
        const double left = deadline - Clock::uptime();
        if (left <= 0) {
            return request.outcome();
        }
        const auto slice = std::clamp(std::chrono::milliseconds(std::llround(std::ceil(left * 1000))),
            std::chrono::milliseconds(1), kClockLookInterval);
        if (auto outcome = request.waitForOutcome(slice)) {
            return outcome;
        }
    }
}

bool argumentIsTrue(const std::vector<Value>& arguments, std::size_t index)
{
    return index < arguments.size() && arguments[index].boolValue();
}

// Live time below this is rounding, not recording.
constexpr double kClipTimeTolerance = 1e-9;

// The broadcast configuration as the service reads its archive: only the clip
// duration matters here. The class name and key are the archive's, which the
// service reads on its own side of the process boundary.
constexpr std::string_view kConfigurationClassName = "LMBroadcastConfiguration";
constexpr std::string_view kClipDurationKey = "clipDuration";

class ReceivedConfiguration final : public Object {
public:
    double clipDuration = 0.0;
    [[nodiscard]] std::string className() const override { return std::string(kConfigurationClassName); }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == kConfigurationClassName || Object::isKindOfClassNamed(name);
    }
};

const CodingClass& receivedConfigurationClass()
{
    // Never destroyed: replies are read on the upload queue, which may still run while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(std::string(kConfigurationClassName),
        { std::string(kConfigurationClassName), std::string(CodingClass::RootClassName) }, true,
        [](Coder& coder) -> ObjectRef {
            auto configuration = std::make_shared<ReceivedConfiguration>();
            configuration->clipDuration
                = coder.decodeObjectOfClass_forKey(CodingClass::number(), kClipDurationKey).doubleValue();
            return configuration;
        });
    return *instance;
}

// The clip duration an archived configuration asks for, within the bounds the
// service cuts at; nullopt when the archive is not a configuration or its
// duration is none, zero, negative or not a number.
std::optional<double> clipDurationOfArchive(const Data& archive)
{
    const auto configuration
        = KeyedUnarchiver::unarchivedObjectOfClass_fromData_error(receivedConfigurationClass(), archive, nullptr)
              .objectAs<ReceivedConfiguration>();
    if (!configuration || !std::isfinite(configuration->clipDuration) || configuration->clipDuration <= 0.0) {
        return std::nullopt;
    }
    return std::clamp(configuration->clipDuration, SimulatedRecordingService::MinimumClipDuration,
        SimulatedRecordingService::MaximumClipDuration);
}

bool hasItemTitled(const ExtensionItems& items, std::string_view label)
{
    return std::any_of(items.begin(), items.end(), [label](const ExtensionItemRef& item) {
        return item && item->attributedTitle() && item->attributedTitle()->string() == label;
    });
}

// The host folder behind the service's clip folder. When no mount covers it,
// a temporary folder of the service's own is mounted there.
std::optional<std::filesystem::path> clipFolder()
{
    auto& device = SimulatedDevice::shared();
    const std::string devicePath(SimulatedRecordingService::ClipDirectory);
    auto hostPath = device.resolvePath(devicePath);
    if (hostPath == devicePath) {
        std::error_code error;
        auto pattern = (std::filesystem::temp_directory_path(error) / "lumora-recording-service-XXXXXX").string();
        if (error || ::mkdtemp(pattern.data()) == nullptr) {
            return std::nullopt;
        }
        device.mountDirectory(devicePath, pattern);
        hostPath = pattern;
    }
    std::error_code error;
    std::filesystem::create_directories(hostPath, error);
    if (error) {
        return std::nullopt;
    }
    return std::filesystem::path(hostPath);
}

// Removes the clips an earlier broadcast left in the service's folder.
void removeOldClips()
{
    const auto folder = clipFolder();
    if (!folder) {
        return;
    }
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(*folder, error)) {
        if (entry.path().filename().string().starts_with("clip-")) {
            std::filesystem::remove(entry.path(), error);
        }
    }
}

} // namespace

std::string SimulatedRecordingService::readTokenForFile(const std::string& devicePath)
{
    return "com.lumora.sandbox.read:" + devicePath;
}

void SimulatedRecordingService::reset()
{
    process_.reset();
    // A capture still going is let go outside the lock: it waits for its encoding.
    std::shared_ptr<ScreenCapture> capture;
    std::lock_guard lock(mutex_);
    runsInOwnProcess_ = false;
    capture = std::move(capture_);
    audio_.reset();
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
    payloadAudio_ = nullptr;
    broadcast_.reset();
}

void SimulatedRecordingService::recordRequest(std::string message, std::vector<Value> arguments)
{
    // What the request does to a live broadcast.
    enum class Step : std::uint8_t { None, Start, Pause, Resume, Finish };
    auto step = Step::None;
    bool microphone = false;
    std::optional<bool> microphoneSwitch;
    std::shared_ptr<const DeviceAudio> audio;
    bool broadcast = false;
    bool screen = false;
    {
        std::lock_guard lock(mutex_);
        if (message == kStartMessage && !startError_) {
            step = Step::Start;
            microphone = argumentIsTrue(arguments, kStartMicrophoneArgument) && microphoneConsent_;
            broadcast = argumentIsTrue(arguments, kStartBroadcastArgument);
            screen = recordsScreen_;
            // Every recording has its sound of its own, with its own stretches of a muted microphone.
            audio_ = std::make_shared<DeviceAudio>();
            audio = audio_;
        } else if (message == kMicrophoneMessage && !arguments.empty()) {
            microphoneSwitch = arguments[0].boolValue();
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
            startScreenRecording(microphone, std::move(audio));
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
        if (microphoneSwitch) {
            setMicrophoneEnabled(*microphoneSwitch);
        }
        break;
    }
}

void SimulatedRecordingService::setMicrophoneEnabled(bool enabled)
{
    std::lock_guard lock(mutex_);
    // Heard from now on, in the movie and in the live payloads alike; a
    // recording without the microphone has nothing to mute.
    if (audio_) {
        audio_->setMicrophoneMuted(!enabled, DeviceAudio::sampleAt(Clock::uptime()));
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

std::shared_ptr<const DeviceAudio> SimulatedRecordingService::deviceAudio() const
{
    std::lock_guard lock(mutex_);
    return audio_;
}

void SimulatedRecordingService::startScreenRecording(bool microphone, std::shared_ptr<const DeviceAudio> audio)
{
    // A start the recorder sent twice begins a new movie.
    finishScreenRecording();
    // Every movie gets a name of its own for as long as the process runs.
    static std::atomic<std::uint64_t> recordings { 0 };
    const auto name = fmt::format("Recording-{}.mp4", ++recordings);
    const auto& folder = moviesFolder();
    SimulatedDevice::shared().mountDirectory(std::string(MoviesDirectory), folder);
    auto capture = ScreenCapture::make(microphone, std::move(audio));
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

void SimulatedRecordingService::setRunsInOwnProcess(bool runsInOwnProcess)
{
    std::lock_guard lock(mutex_);
    runsInOwnProcess_ = runsInOwnProcess;
}

bool SimulatedRecordingService::runsInOwnProcess() const
{
    std::lock_guard lock(mutex_);
    return runsInOwnProcess_;
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

void SimulatedRecordingService::sendMessage(const std::string& selector, std::vector<Value> arguments)
{
    clientConnection()->receiveMessage(selector, std::move(arguments));
}

void SimulatedRecordingService::installUploadExtension(
    std::string identifier, UploadKind kind, UploadHandlerFactory factory)
{
    std::lock_guard lock(mutex_);
    uploadExtensions_[std::move(identifier)] = UploadExtension { kind, std::move(factory), nullptr };
}

std::shared_ptr<ExtensionHostProcess> SimulatedRecordingService::installUploadExtensionOutOfProcess(
    std::string identifier, UploadKind kind, std::string bundlePath)
{
    ExtensionHostProcess::Settings settings;
    settings.bundlePath = std::move(bundlePath);
    auto process = std::make_shared<ExtensionHostProcess>(identifier, std::move(settings));
    std::lock_guard lock(mutex_);
    uploadExtensions_[std::move(identifier)] = UploadExtension { kind, nullptr, process };
    return process;
}

void SimulatedRecordingService::setPayloadAudio(PayloadAudio audio)
{
    std::lock_guard lock(mutex_);
    payloadAudio_ = std::move(audio);
}

bool SimulatedRecordingService::isBroadcasting() const
{
    std::lock_guard lock(mutex_);
    return broadcast_.has_value();
}

bool SimulatedRecordingService::waitForUploadRequests(std::chrono::milliseconds timeout) const
{
    struct Marker {
        std::mutex mutex;
        std::condition_variable reached;
        bool done = false;
    };
    auto marker = std::make_shared<Marker>();
    deliveryQueue().async([marker] {
        {
            std::lock_guard lock(marker->mutex);
            marker->done = true;
        }
        marker->reached.notify_all();
    });
    std::unique_lock lock(marker->mutex);
    return marker->reached.wait_for(lock, timeout, [&marker] { return marker->done; });
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
    std::optional<double> clipDuration;
    if (setup->configurationArchive) {
        clipDuration = clipDurationOfArchive(*setup->configurationArchive);
    }
    std::lock_guard lock(mutex_);
    const auto found = uploadIdentifier ? uploadExtensions_.find(*uploadIdentifier) : uploadExtensions_.end();
    if (found == uploadExtensions_.end()) {
        Log::error("Recording service: the broadcast service has no upload extension installed");
        return;
    }
    broadcast_ = Broadcast { .number = ++broadcastsStarted_,
        .extension = found->second,
        .setupInfo = setup->setupInfo,
        .microphone = microphone,
        .paused = false,
        .nextFrame = 0,
        .deviceSampleOffset = DeviceAudio::sampleAt(Clock::uptime()),
        .timer = nullptr,
        .clipDuration = clipDuration.value_or(DefaultClipDuration),
        .clipLength = clipDuration.value_or(DefaultClipDuration),
        .clipRecorded = 0.0,
        .liveSince = Clock::uptime(),
        .clipsCut = 0,
        .clipTimersSet = 0,
        .capture = nullptr,
        .clipMovie = nullptr };
    if (broadcast_->extension.kind == UploadKind::SampleBuffer) {
        deliverAction(LMBroadcastActionTypeStarted, true);
        scheduleNextPayloadsLocked();
    } else {
        removeOldClips();
        broadcast_->capture = capture_;
        openClipMovieLocked(1);
        scheduleClipCutLocked();
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
    } else {
        broadcast_->clipRecorded += Clock::uptime() - broadcast_->liveSince;
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
        // The next payload carries what is played from now on.
        broadcast_->deviceSampleOffset = DeviceAudio::sampleAt(Clock::uptime()) - broadcast_->nextFrame;
        deliverAction(LMBroadcastActionTypeResumed, false);
        scheduleNextPayloadsLocked();
    } else {
        broadcast_->liveSince = Clock::uptime();
        scheduleClipCutLocked();
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
    } else {
        // The last clip is cut at stop, whatever its length.
        cutClipLocked(true);
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
    // One item holding the list of payloads: the extension processes a list
    // in order, while separate items load in any order.
    // The device's sound at the device times the payload stands for, unless
    // the device was given other sounds for its payloads.
    const auto deviceSample = start + broadcast_->deviceSampleOffset;
    std::vector<std::int16_t> samples(static_cast<std::size_t>(kFramesPerPayload));
    if (payloadAudio_) {
        payloadAudio_(LMBroadcastSampleTypeAudioApp, start, samples);
    } else {
        DeviceAudio::application(deviceSample, samples);
    }
    Array payloads { audioPayload(LMBroadcastSampleTypeAudioApp, start, samples) };
    if (broadcast_->microphone) {
        if (payloadAudio_) {
            std::ranges::fill(samples, std::int16_t { 0 });
            payloadAudio_(LMBroadcastSampleTypeAudioMic, start, samples);
        } else if (audio_) {
            audio_->microphone(deviceSample, samples);
        } else {
            DeviceAudio::unmutedMicrophone(deviceSample, samples);
        }
        payloads.push_back(audioPayload(LMBroadcastSampleTypeAudioMic, start, samples));
    }
    deliver(broadcast_->extension,
        { ExtensionRequest::labelledItem(kPayloadLabel, Value(std::make_shared<const Array>(std::move(payloads)))) });
    scheduleNextPayloadsLocked();
}

void SimulatedRecordingService::deliverAction(std::int64_t action, bool withSetupInfo)
{
    Dictionary entries { { std::string(LMBroadcastProcessExtensionPayloadKeyActionType), Value(action) } };
    if (withSetupInfo && broadcast_->setupInfo) {
        entries.emplace(LMBroadcastExtensionKeyExtensionUserInfo, Value(broadcast_->setupInfo));
    }
    deliver(broadcast_->extension, { ExtensionRequest::labelledItem(kPayloadLabel, payload(std::move(entries))) });
}

void SimulatedRecordingService::deliver(const UploadExtension& extension, ExtensionItems items,
    std::function<bool(const ExtensionRequest::Outcome&)> readReply,
    std::vector<ExtensionHostProcess::HandedFile> files)
{
    // Called with the lock held, while the broadcast is live or just finishing.
    const auto broadcastNumber = broadcast_ ? broadcast_->number : 0;
    deliveryQueue().async([this, factory = extension.factory, process = extension.process, broadcastNumber,
                              items = std::move(items), readReply = std::move(readReply), files = std::move(files)] {
        {
            // A broadcast whose extension gave up takes no more requests.
            std::lock_guard lock(mutex_);
            if (broadcastNumber != 0 && broadcastNumber == failedBroadcast_) {
                return;
            }
        }
        std::optional<ExtensionRequest::Outcome> outcome;
        if (process) {
            std::string failure;
            outcome = process->perform(items, files, &failure);
            if (!outcome) {
                Log::error("Recording service: the upload extension failed: %s", failure);
                giveUpBroadcast(broadcastNumber,
                    Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::RequestFailedErrorCode,
                        std::make_shared<const Dictionary>(
                            Dictionary { { std::string(Error::LocalizedDescriptionKey), Value(failure) } })));
                return;
            }
        } else {
            std::shared_ptr<ExtensionRequestHandling> handler;
            if (factory) {
                ExtensionBoundary::run("making an upload handler", [&factory, &handler] { handler = factory(); });
            }
            if (!handler) {
                // The extension could not take the request: it fails, as a request
                // whose extension did not launch does on a device.
                Log::error("Recording service: the upload extension made no handler for its request");
                if (readReply) {
                    readReply(ExtensionRequest::Outcome { {},
                        Error::errorWithDomain(
                            std::string(Extension::ErrorDomain), Extension::LaunchFailedErrorCode) });
                }
                return;
            }
            const ExtensionRequest request(items);
            const double deadline = Clock::uptime() + std::chrono::duration<double>(UploadRequestTimeout).count();
            request.beginWithHandler(handler);
            outcome = waitForOutcomeUntil(request, deadline);
        }
        if (!outcome) {
            Log::error("Recording service: the upload extension did not complete its request");
            return;
        }
        if (readReply && !readReply(*outcome)) {
            return;
        }
        if (const auto info
            = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyExtensionServiceInfo);
            info && info->dictionary()) {
            if (!PropertyList::isWithinDepth(*info)) {
                Log::error("Recording service: the upload extension's service information nests deeper than %i "
                           "levels; it is dropped",
                    PropertyList::MaximumDepth);
            } else {
                announceBroadcastServiceInfo(info->dictionary());
            }
        }
    });
}

void SimulatedRecordingService::giveUpBroadcast(std::uint64_t broadcastNumber, const ErrorRef& error)
{
    {
        std::lock_guard lock(mutex_);
        failedBroadcast_ = broadcastNumber;
    }
    // As a device does when its upload extension gives up: the broadcast
    // ends, on the MainQueue where the capture lives.
    DispatchQueue::main().async(
        [this, broadcastNumber, error] { endBroadcastAfterUploadFailure(broadcastNumber, error); });
}

void SimulatedRecordingService::scheduleClipCutLocked()
{
    const auto recorded = broadcast_->clipRecorded + (Clock::uptime() - broadcast_->liveSince);
    const auto remaining = broadcast_->clipLength - recorded;
    // A clip that is already long enough (it filled up just as the recording
    // paused, or the extension asked for shorter clips) is cut at once.
    if (remaining <= kClipTimeTolerance) {
        cutAndStartNextClipLocked();
        return;
    }
    broadcast_->timer = Clock::scheduleAfter(remaining,
        [this, number = broadcast_->number, timer = ++broadcast_->clipTimersSet] { cutClipOnTimer(number, timer); });
}

void SimulatedRecordingService::cutClipOnTimer(std::uint64_t broadcastNumber, std::uint64_t timerNumber)
{
    std::lock_guard lock(mutex_);
    // A timer that was due when the broadcast paused or finished, or when
    // another timer took its place, may still run.
    if (!broadcast_ || broadcast_->number != broadcastNumber || broadcast_->clipTimersSet != timerNumber
        || broadcast_->paused) {
        return;
    }
    cutAndStartNextClipLocked();
}

void SimulatedRecordingService::cutAndStartNextClipLocked()
{
    cutClipLocked(false);
    broadcast_->clipLength = broadcast_->clipDuration;
    broadcast_->clipRecorded = 0.0;
    broadcast_->liveSince = Clock::uptime();
    // Clip durations are at least MinimumClipDuration, so this sets a timer.
    scheduleClipCutLocked();
}

void SimulatedRecordingService::cutClipLocked(bool last)
{
    const auto clip = ++broadcast_->clipsCut;
    const auto path = writeClipFileLocked(clip);
    if (!last) {
        openClipMovieLocked(clip + 1);
    }
    if (!path) {
        Log::error("Recording service: could not write movie clip %i", clip);
        // The last clip's request still goes, so that the extension hears the finish.
        if (!last) {
            return;
        }
    }
    const auto devicePath = path.value_or(fmt::format("{}/clip-{}-{}.mp4", ClipDirectory, broadcast_->number, clip));
    ExtensionItems items {
        ExtensionRequest::labelledItem(
            LMBroadcastExtensionKeyMovieClipURL, Value(URL::fileURLWithPath(devicePath).absoluteString())),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionUserInfo, Value(broadcast_->setupInfo)),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyRequestedFinish, Value(last)),
        ExtensionRequest::labelledItem(
            LMBroadcastExtensionKeyExtensionSandboxToken, Value(readTokenForFile(devicePath))),
    };
    std::vector<ExtensionHostProcess::HandedFile> files;
    if (path && broadcast_->extension.process) {
        files.push_back({ devicePath, SimulatedDevice::shared().resolvePath(devicePath) });
    }
    deliverClip(broadcast_->extension, std::move(items), broadcast_->number, clip, std::move(files));
}

void SimulatedRecordingService::openClipMovieLocked(std::int64_t clip)
{
    const auto folder = clipFolder();
    if (!broadcast_->capture || !folder) {
        return;
    }
    broadcast_->clipMovie
        = broadcast_->capture->openMovie((*folder / fmt::format("clip-{}-{}.mp4", broadcast_->number, clip)).string());
}

std::optional<std::string> SimulatedRecordingService::writeClipFileLocked(std::int64_t clip)
{
    const auto folder = clipFolder();
    if (!folder) {
        return std::nullopt;
    }
    const auto name = fmt::format("clip-{}-{}.mp4", broadcast_->number, clip);
    if (broadcast_->capture) {
        // The clip is what the capture recorded since it was opened.
        const auto movie = std::exchange(broadcast_->clipMovie, nullptr);
        if (!movie || !broadcast_->capture->closeMovie(movie)) {
            return std::nullopt;
        }
        return fmt::format("{}/{}", ClipDirectory, name);
    }
    // Without a capture every clip is a copy of the framework's canned
    // movie, found where the local proxy finds it.
    const auto framework = Bundle::bundleWithURL(URL::fileURLWithPath(std::string(LMExtensions::FrameworkBundlePath)));
    const auto movie = framework ? framework->URLForResource("srecorder", "mp4") : std::nullopt;
    if (!movie) {
        return std::nullopt;
    }
    std::error_code error;
    std::filesystem::copy_file(SimulatedDevice::shared().resolvePath(movie->path()), *folder / name,
        std::filesystem::copy_options::overwrite_existing, error);
    if (error) {
        return std::nullopt;
    }
    return fmt::format("{}/{}", ClipDirectory, name);
}

void SimulatedRecordingService::deliverClip(const UploadExtension& extension, ExtensionItems items,
    std::uint64_t broadcastNumber, std::int64_t clip, std::vector<ExtensionHostProcess::HandedFile> files)
{
    deliver(
        extension, std::move(items),
        [this, broadcastNumber, clip](const ExtensionRequest::Outcome& outcome) {
            if (outcome.error) {
                Log::error("Recording service: the upload extension cancelled movie clip %i: %@", clip, outcome.error);
                giveUpBroadcast(broadcastNumber, outcome.error);
                return false;
            }
            // The configuration first: once the application hears the service
            // information, the clip being recorded already has its new length.
            if (hasItemTitled(outcome.returnedItems, LMBroadcastExtensionKeyBroadcastConfiguration)) {
                const auto archive = ExtensionRequest::loadValueOfItem(
                    outcome.returnedItems, LMBroadcastExtensionKeyBroadcastConfiguration);
                const auto* bytes = archive ? archive->data() : nullptr;
                if (const auto duration = bytes != nullptr ? clipDurationOfArchive(*bytes) : std::nullopt) {
                    applyClipDuration(broadcastNumber, *duration);
                } else {
                    Log::error(
                        "Recording service: ignoring a malformed broadcast configuration returned with movie clip %i",
                        clip);
                }
            }
            return true;
        },
        std::move(files));
}

void SimulatedRecordingService::endBroadcastAfterUploadFailure(std::uint64_t broadcastNumber, const ErrorRef& error)
{
    std::shared_ptr<ScreenCapture> capture;
    std::shared_ptr<ScreenCapture::Movie> clipMovie;
    {
        std::lock_guard lock(mutex_);
        // A broadcast that has finished, or a later one, is not this failure's.
        if (!broadcast_ || broadcast_->number != broadcastNumber) {
            return;
        }
        capture = broadcast_->capture;
        clipMovie = std::move(broadcast_->clipMovie);
        broadcast_.reset();
    }
    if (capture && clipMovie) {
        capture->closeMovie(clipMovie);
    }
    finishScreenRecording();
    Log::error("Recording service: the broadcast ended: its upload extension gave up");
    // The service's own error, worded as the framework words that code.
    announceStop(Error::errorWithDomain(std::string(LMRecordingErrorDomain), kFailedDuringRecording,
                     std::make_shared<const Dictionary>(Dictionary {
                         { std::string(Error::LocalizedDescriptionKey),
                             Value(std::string(LumoraErrors::messageForCode(kFailedDuringRecording))) },
                         { std::string(Error::UnderlyingErrorKey), Value(std::const_pointer_cast<Error>(error)) } })),
        std::nullopt);
}

void SimulatedRecordingService::applyClipDuration(std::uint64_t broadcastNumber, double duration)
{
    std::lock_guard lock(mutex_);
    if (!broadcast_ || broadcast_->number != broadcastNumber) {
        return;
    }
    // The reply comes while a later clip is being recorded: that clip takes
    // the new duration too, counting what it already holds.
    broadcast_->clipDuration = duration;
    broadcast_->clipLength = duration;
    if (!broadcast_->paused) {
        scheduleClipCutLocked();
    }
}

} // namespace lumora::platform::host
