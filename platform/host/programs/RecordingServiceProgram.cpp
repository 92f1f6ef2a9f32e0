#include "platform/host/programs/RecordingServiceProgram.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/URL.h"
#include "platform/host/services/RecordingServiceCapture.h"
#include "platform/host/transport/FileHandle.h"
#include "recording/LumoraErrors.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>

#include <fmt/format.h>
#include <unistd.h>

namespace lumora::platform::host {

using transport::FileHandle;
using transport::Message;
using transport::SocketConnection;
using Capture = RecordingServiceCapture;

namespace {

constexpr std::int64_t kInsufficientStorage = -5805;
// How long the service waits for the device to answer a start or a stop.
constexpr auto kDeviceAnswerTimeout = std::chrono::seconds(30);
// Frame slots one picture may fill: an hour of a held clock let go at once.
constexpr std::int64_t kMostSlotsPerPicture = std::int64_t { 240 } * 3600;

bool isBool(const Value& value)
{
    return value.isBool();
}
bool isReal(const Value& value)
{
    return value.isReal() || value.isInteger();
}
bool isString(const Value& value)
{
    return value.isString();
}
bool isContextID(const Value& value)
{
    return value.isInteger() && value.int64Value() >= 0 && value.int64Value() <= 0xffffffffLL;
}
bool isContextIDs(const Value& value)
{
    const auto ids = value.array();
    return ids && std::ranges::all_of(*ids, isContextID);
}

using Check = std::function<bool(const Value&)>;

// The operations the application may send, with the types of their arguments,
// and whether they want an answer.
struct Operation {
    std::vector<Check> arguments;
    bool request = false;
};

const std::map<std::string, Operation, std::less<>>& operations()
{
    static const std::map<std::string, Operation, std::less<>> table {
        { "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
          "withHandler:",
            { { isContextIDs, isReal, isReal, isBool, isBool, isBool, isBool }, true } },
        { "setupBroadcastWithHostBundleID:broadcastExtensionBundleID:broadcastConfigurationData:userInfo:handler:",
            { { isString, isString, [](const Value& v) { return v.isData(); },
                  [](const Value& v) { return v.isNull() || v.isDictionary(); } },
                true } },
        { "stopRecordingWithHandler:", { {}, true } },
        { "stopRecordingWithStartClipDuration:endClipDuration:handler:", { { isReal, isReal }, true } },
        { "discardRecordingWithHandler:", { {}, true } },
        { "pauseRecording", { {}, false } },
        { "resumeRecordingWithWindowLayerContextID:", { { isContextID }, false } },
        { "setMicrophoneEnabled:", { { isBool }, false } },
        { "clientDidBecomeActiveWithBundleID:", { { isString }, false } },
        { "clientDidResignActiveWithBundleID:", { { isString }, false } },
    };
    return table;
}

} // namespace

std::optional<RecordingServiceProgram::Options> RecordingServiceProgram::parse(
    const std::vector<std::string>& arguments)
{
    Options options;
    for (std::size_t i = 1; i + 1 < arguments.size(); i += 2) {
        const auto& name = arguments[i];
        const auto& value = arguments[i + 1];
        try {
            if (name == "--socket") {
                options.socket = std::stoi(value);
            } else if (name == "--capture-socket") {
                options.captureSocket = std::stoi(value);
            } else if (name == "--hold-frame-slots") {
                options.holdFrameSlots = value == "1";
            } else if (name == "--movie") {
                options.movie = value;
            } else if (name == "--movies-folder") {
                options.moviesFolder = value;
            } else if (name == "--movies-device-folder") {
                options.moviesDeviceFolder = value;
            } else if (name == "--quota") {
                options.quota = std::stoull(value);
            } else if (name == "--stall-before-reply") {
                options.stallBeforeReply = value;
            } else if (name == "--stall-fd") {
                options.stallDescriptor = std::stoi(value);
            } else {
                return std::nullopt;
            }
        } catch (const std::exception&) {
            return std::nullopt;
        }
    }
    if (arguments.size() % 2 != 1 || options.socket < 0) {
        return std::nullopt;
    }
    return options;
}

int RecordingServiceProgram::run()
{
    if (options_.captureSocket >= 0) {
        openCaptureChannel();
    }
    link_.serve(options_.socket, "Recording service", [this](const Message& message) { handle(message); });
    // The capture channel's thread uses this object until its channel has
    // ended: end it, and wait, before the program returns.
    std::unique_lock lock(mutex_);
    if (capture_) {
        capture_->close("the application went away");
        if (!changed_.wait_for(lock, kDeviceAnswerTimeout, [this] { return captureEnded_; })) {
            Log::error("Recording service: the capture channel did not end in time");
            std::_Exit(1);
        }
    }
    return 0;
}

void RecordingServiceProgram::handle(const Message& message)
{
    const auto found = operations().find(message.selector);
    if (found == operations().end()) {
        refuse(message, "an unknown operation");
        return;
    }
    const auto& operation = found->second;
    if ((message.kind == Message::Kind::Request) != operation.request || message.kind == Message::Kind::Reply) {
        refuse(message, "a message of the wrong kind");
        return;
    }
    if (message.arguments.size() != operation.arguments.size()) {
        refuse(message, "the wrong number of arguments");
        return;
    }
    for (std::size_t i = 0; i < operation.arguments.size(); ++i) {
        if (!operation.arguments[i](message.arguments[i])) {
            refuse(message, "an argument of the wrong type");
            return;
        }
    }
    if (message.kind == Message::Kind::Request && !options_.stallBeforeReply.empty()
        && message.selector == options_.stallBeforeReply) {
        stall();
    }
    if (message.selector.starts_with("startRecording")) {
        recording_ = true;
        const bool microphone = message.arguments[3].boolValue();
        {
            const std::lock_guard lock(mutex_);
            outcome_.reset();
        }
        // The capture has begun (on the device's MainQueue) before the application hears that the start succeeded.
        waitForAnswer(askDevice(Capture::StartMessage, { microphone },
            [this](const std::vector<Value>* answer) { startRecordingLocked(answer); }));
        reply(message, { Value(), message.arguments[3].boolValue(), message.arguments[4].boolValue() });
    } else if (message.selector.starts_with("setupBroadcast")) {
        reply(message, { Value() });
    } else if (message.selector.starts_with("stopRecording")) {
        recording_ = false;
        const auto [movie, error] = finishMovie();
        reply(message,
            { movie ? Value(URL::fileURLWithPath(*movie)) : Value(), Value(std::const_pointer_cast<Error>(error)) });
    } else if (message.selector.starts_with("discardRecording")) {
        std::string last;
        {
            const std::lock_guard lock(mutex_);
            last = std::exchange(lastMovie_, {});
        }
        if (!last.empty()) {
            std::error_code ignored;
            std::filesystem::remove(last, ignored);
        }
        reply(message, {});
    } else if (message.selector == "pauseRecording") {
        tellDevice(Capture::PauseMessage, {});
    } else if (message.selector.starts_with("resumeRecording")) {
        tellDevice(Capture::ResumeMessage, {});
    } else if (message.selector == "setMicrophoneEnabled:") {
        tellDevice(Capture::MuteMessage, { !message.arguments[0].boolValue() });
    }
}

std::pair<std::optional<std::string>, ErrorRef> RecordingServiceProgram::finishMovie()
{
    bool capturing = false;
    {
        const std::lock_guard lock(mutex_);
        capturing = capturing_.has_value();
        if (!capturing && outcome_) {
            // The service already stopped on its own (its disk was full).
            auto outcome = std::exchange(outcome_, std::nullopt);
            return { outcome->movie, outcome->error };
        }
    }
    if (!capturing) {
        return copyCannedMovie();
    }
    const auto number = askDevice(Capture::StopMessage, {}, [this](const std::vector<Value>* /*answer*/) {
        if (capturing_) {
            outcome_ = finishRecordingLocked();
        }
    });
    waitForAnswer(number);
    const std::lock_guard lock(mutex_);
    if (capturing_) {
        // The device did not answer: the movie ends with what came.
        outcome_ = finishRecordingLocked();
    }
    auto outcome = std::exchange(outcome_, std::nullopt).value_or(Outcome {});
    return { outcome.movie, outcome.error };
}

void RecordingServiceProgram::stall() const
{
    // Stops here, as if hung, until the device kills the process.
    const char notice = 1;
    [[maybe_unused]] const auto written = ::write(options_.stallDescriptor, &notice, 1);
    while (true) {
        ::pause();
    }
}

void RecordingServiceProgram::reply(const Message& request, std::vector<Value> values)
{
    link_.connection()->send({ Message::Kind::Reply, request.number, request.selector, std::move(values) });
}

void RecordingServiceProgram::refuse(const Message& message, const char* why)
{
    Log::error("Recording service: refused %s: %s", message.selector, why);
    link_.connection()->close(why);
}

std::pair<std::optional<std::string>, ErrorRef> RecordingServiceProgram::copyCannedMovie()
{
    const auto name = fmt::format("Recording-{}-{}.mp4", ::getpid(), ++moviesWritten_);
    const auto folder = std::filesystem::path(options_.moviesFolder);
    const auto path = folder / name;
    // Written under another name and renamed, so that the folder never holds half a movie.
    const auto partial = folder / (name + ".partial");
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (options_.quota) {
        std::uintmax_t used = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
            used += entry.is_regular_file(error) ? entry.file_size(error) : 0;
        }
        const auto size = std::filesystem::file_size(options_.movie, error);
        if (!error && used + size > *options_.quota) {
            Log::error("Recording service: no room for the movie (%s of %s bytes used)", std::to_string(used),
                std::to_string(*options_.quota));
            return { std::nullopt, LumoraErrors::_lmUserErrorForCode_userInfo(kInsufficientStorage, nullptr) };
        }
    }
    std::filesystem::copy_file(options_.movie, partial, std::filesystem::copy_options::overwrite_existing, error);
    if (!error) {
        std::filesystem::rename(partial, path, error);
    }
    if (error) {
        Log::error("Recording service: the movie could not be written (%s)", error.message());
        std::filesystem::remove(partial, error);
        return {};
    }
    const std::lock_guard lock(mutex_);
    lastMovie_ = path.string();
    return { options_.moviesDeviceFolder + name, nullptr };
}

void RecordingServiceProgram::sendStop(const ErrorRef& error, const std::optional<std::string>& movieDevicePath)
{
    if (const auto connection = link_.connection()) {
        connection->send({ Message::Kind::Call, 0, "stopRecordingWithError:movieURL:",
            { Value(std::const_pointer_cast<Error>(error)),
                movieDevicePath ? Value(URL::fileURLWithPath(*movieDevicePath)) : Value() } });
    }
}

void RecordingServiceProgram::sendBroadcastServiceInfo(const DictionaryRef& serviceInfo)
{
    if (const auto connection = link_.connection()) {
        connection->send({ Message::Kind::Call, 0, "updateBroadcastServiceInfo:", { Value(serviceInfo) } });
    }
}

// ---- The capture channel ------------------------------------------------------------------------

void RecordingServiceProgram::openCaptureChannel()
{
    auto channel = SocketConnection::open(options_.captureSocket, "Recording service capture",
        { [this](const Message& message) { received(message); },
            [this](const std::string& reason) {
                Log::ordinary("Recording service: the capture channel ended (%s)", reason);
                const std::lock_guard lock(mutex_);
                captureEnded_ = true;
                for (auto& [number, answered] : std::exchange(waiting_, {})) {
                    if (answered) {
                        answered(nullptr);
                    }
                    answered_.insert(number);
                }
                if (capturing_) {
                    outcome_ = finishRecordingLocked();
                }
                changed_.notify_all();
            } });
    const std::lock_guard lock(mutex_);
    capture_ = std::move(channel);
}

std::uint64_t RecordingServiceProgram::askDevice(
    std::string_view selector, std::vector<Value> arguments, std::function<void(const std::vector<Value>*)> answered)
{
    const std::lock_guard lock(mutex_);
    return askDeviceLocked(selector, std::move(arguments), std::move(answered));
}

std::uint64_t RecordingServiceProgram::askDeviceLocked(
    std::string_view selector, std::vector<Value> arguments, std::function<void(const std::vector<Value>*)> answered)
{
    if (!capture_ || captureEnded_) {
        return 0;
    }
    const auto number = ++requestsSent_;
    waiting_.emplace(number, std::move(answered));
    capture_->send({ Message::Kind::Request, number, std::string(selector), std::move(arguments) });
    return number;
}

void RecordingServiceProgram::tellDevice(std::string_view selector, std::vector<Value> arguments)
{
    std::shared_ptr<SocketConnection> channel;
    {
        const std::lock_guard lock(mutex_);
        channel = capture_;
    }
    if (channel) {
        channel->send({ Message::Kind::Call, 0, std::string(selector), std::move(arguments) });
    }
}

bool RecordingServiceProgram::waitForAnswer(std::uint64_t number)
{
    if (number == 0) {
        return false;
    }
    std::unique_lock lock(mutex_);
    const bool answered = changed_.wait_for(
        lock, kDeviceAnswerTimeout, [this, number] { return answered_.contains(number) || captureEnded_; });
    answered_.erase(number);
    if (!answered) {
        Log::error("Recording service: the device did not answer in time");
    }
    return answered;
}

void RecordingServiceProgram::received(const Message& message)
{
    const std::lock_guard lock(mutex_);
    const auto refuseLocked = [this, &message](const char* why) {
        Log::error("Recording service: refused %s from the device: %s", message.selector, why);
        capture_->close(why);
    };
    if (message.kind == Message::Kind::Reply) {
        const auto found = waiting_.find(message.number);
        if (found == waiting_.end()
            || (message.selector != Capture::StartMessage && message.selector != Capture::StopMessage)) {
            refuseLocked("an answer to a request never sent");
        } else {
            auto answered = std::move(found->second);
            waiting_.erase(found);
            if (answered) {
                answered(&message.arguments);
            }
            answered_.insert(message.number);
            changed_.notify_all();
        }
    } else if (message.kind == Message::Kind::Call && message.selector == Capture::FrameMessage) {
        addFrameLocked(message);
    } else if (message.kind == Message::Kind::Call && message.selector == Capture::SamplesMessage) {
        addSamplesLocked(message);
    } else if (message.kind == Message::Kind::Call && message.selector == Capture::ServiceInfoMessage
        && message.arguments.size() == 1 && message.arguments[0].isDictionary()) {
        sendBroadcastServiceInfo(message.arguments[0].dictionary());
    } else {
        refuseLocked("a message the channel does not take");
    }
    capture_->deliveryFinished();
}

void RecordingServiceProgram::startRecordingLocked(const std::vector<Value>* answer)
{
    capturing_.reset();
    if (answer == nullptr || answer->empty()) {
        // No screen to capture: the stop hands back the canned movie.
        return;
    }
    const auto& values = *answer;
    const auto handle = values.size() == 6 ? values[0].objectAs<FileHandle>() : nullptr;
    const auto integer = [&values](std::size_t index, std::int64_t most) {
        return values[index].isInteger() && values[index].int64Value() > 0 && values[index].int64Value() <= most
            ? static_cast<int>(values[index].int64Value())
            : 0;
    };
    const int width = handle ? integer(1, FrameRing::MaxSide) : 0;
    const int height = handle ? integer(2, FrameRing::MaxSide) : 0;
    const int slots = handle ? integer(3, FrameRing::MaxSlots) : 0;
    const int framesPerSecond = handle ? integer(4, 240) : 0;
    const int sampleRate = handle ? integer(5, 192000) : 0;
    if (!handle || handle->kind() != FileHandle::Kind::SharedMemory || width == 0 || height == 0 || slots == 0
        || framesPerSecond == 0 || sampleRate == 0) {
        Log::error("Recording service: refused the device's answer to a start");
        capture_->close("a start answered with what does not fit");
        return;
    }
    auto ring = FrameRing::map(handle->descriptor(), width, height, slots);
    if (!ring) {
        capture_->close("a start answered with memory that does not fit");
        return;
    }
    const auto name = fmt::format("Recording-{}-{}.mp4", ::getpid(), ++moviesWritten_);
    const auto path = std::filesystem::path(options_.moviesFolder) / name;
    std::error_code ignored;
    std::filesystem::create_directories(options_.moviesFolder, ignored);
    const auto room = roomForMovie();
    auto writer = MovieWriter::create(path.string(),
        { .width = width,
            .height = height,
            .framesPerSecond = framesPerSecond,
            .audioChannels = 1,
            .audioSampleRate = sampleRate,
            .fragmented = true,
            .maxFileBytes = room });
    if (!writer) {
        std::filesystem::remove(path, ignored);
        if (room > 0) {
            // Not even the movie's header fits: the recording stops at once.
            Log::error("Recording service: the disk is full; the recording stops");
            askDeviceLocked(Capture::StopMessage, {}, nullptr);
            sendStop(LumoraErrors::_lmUserErrorForCode_userInfo(kInsufficientStorage, nullptr), std::nullopt);
            outcome_
                = Outcome { std::nullopt, LumoraErrors::_lmUserErrorForCode_userInfo(kInsufficientStorage, nullptr) };
        }
        return;
    }
    Recording recording;
    recording.ring = std::move(ring);
    recording.movies = std::make_unique<CapturedMovies>(framesPerSecond, sampleRate);
    recording.movie = std::make_shared<CapturedMovies::Movie>(std::move(writer), 0.0);
    recording.movies->add(recording.movie);
    recording.name = name;
    capturing_ = std::move(recording);
}

void RecordingServiceProgram::addFrameLocked(const Message& message)
{
    const auto& values = message.arguments;
    if (values.size() != 3 || !values[0].isInteger() || !values[1].isInteger() || !values[2].isInteger()) {
        Log::error("Recording service: refused %s from the device: arguments of the wrong types", message.selector);
        capture_->close("a frame that does not fit");
        return;
    }
    const auto slot = values[0].int64Value();
    const auto first = values[1].int64Value();
    const auto last = values[2].int64Value();
    const int slots = capturing_ ? capturing_->ring->slots() : FrameRing::MaxSlots;
    if (slot < -1 || slot >= slots || first < 0 || last < first || last - first > kMostSlotsPerPicture) {
        Log::error("Recording service: refused %s from the device: a slot or frames out of range", message.selector);
        capture_->close("a frame that does not fit");
        return;
    }
    if (slot < 0) {
        return;
    }
    if (capturing_) {
        const auto& ring = *capturing_->ring;
        capturing_->movies->addFrames(ring.pixels(static_cast<int>(slot)), ring.width(), ring.height(),
            ring.bytesPerRow(), MovieWriter::PixelLayout::NativeARGB32, first, last);
    }
    // A picture that came after the recording ended gives its slot back too.
    if (!options_.holdFrameSlots) {
        capture_->send({ Message::Kind::Call, 0, std::string(Capture::ReleaseMessage), { slot } });
    }
    if (capturing_ && capturing_->movie->writer() != nullptr && capturing_->movie->writer()->isOutOfSpace()) {
        stopForSpaceLocked();
    }
}

void RecordingServiceProgram::addSamplesLocked(const Message& message)
{
    const auto& values = message.arguments;
    const Data* data = values.size() == 2 ? values[0].data() : nullptr;
    if (data == nullptr || !values[1].isInteger() || values[1].int64Value() < 0 || data->length() % 2 != 0
        || data->length() > Capture::MaxSamplesPerMessage * sizeof(std::int16_t)) {
        Log::error("Recording service: refused %s from the device: arguments that do not fit", message.selector);
        capture_->close("sound that does not fit");
        return;
    }
    if (!capturing_) {
        return;
    }
    std::vector<std::int16_t> samples(data->length() / sizeof(std::int16_t));
    if (!samples.empty()) {
        std::memcpy(samples.data(), data->bytes(), data->length());
    }
    capturing_->movies->addAudio(samples, values[1].int64Value());
    if (capturing_->movie->writer() != nullptr && capturing_->movie->writer()->isOutOfSpace()) {
        stopForSpaceLocked();
    }
}

RecordingServiceProgram::Outcome RecordingServiceProgram::finishRecordingLocked()
{
    auto recording = std::exchange(capturing_, std::nullopt);
    if (!recording) {
        return {};
    }
    const bool outOfSpace = recording->movie->writer() != nullptr && recording->movie->writer()->isOutOfSpace();
    const bool written = recording->movies->close(recording->movie);
    const auto path = std::filesystem::path(options_.moviesFolder) / recording->name;
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    Outcome outcome;
    if (outOfSpace) {
        outcome.error = LumoraErrors::_lmUserErrorForCode_userInfo(kInsufficientStorage, nullptr);
    }
    // A movie cut short by a full disk keeps the fragments it has.
    if ((written || outOfSpace) && !error && size > 0) {
        outcome.movie = options_.moviesDeviceFolder + recording->name;
        lastMovie_ = path.string();
    } else {
        Log::error("Recording service: the movie could not be written");
    }
    return outcome;
}

void RecordingServiceProgram::stopForSpaceLocked()
{
    Log::error("Recording service: the disk is full; the recording stops");
    auto outcome = finishRecordingLocked();
    // The device stops capturing; nobody waits for its answer.
    askDeviceLocked(Capture::StopMessage, {}, nullptr);
    sendStop(outcome.error, outcome.movie);
    outcome_ = std::move(outcome);
}

std::uint64_t RecordingServiceProgram::roomForMovie() const
{
    if (!options_.quota) {
        return 0;
    }
    std::uintmax_t used = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(options_.moviesFolder, error)) {
        used += entry.is_regular_file(error) ? entry.file_size(error) : 0;
    }
    // No room at all still limits the movie: to a byte, which no movie fits.
    return used >= *options_.quota ? 1 : *options_.quota - used;
}

} // namespace lumora::platform::host
