#include "platform/host/programs/RecordingServiceProgram.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/URL.h"
#include "recording/LumoraErrors.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>

#include <fmt/format.h>
#include <unistd.h>

namespace lumora::platform::host {

using transport::Message;

namespace {

constexpr std::int64_t kInsufficientStorage = -5805;

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
    link_.serve(options_.socket, "Recording service", [this](const Message& message) { handle(message); });
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
    if (message.selector.starts_with("startRecording")) {
        recording_ = true;
        reply(message, { Value(), message.arguments[3].boolValue(), message.arguments[4].boolValue() });
    } else if (message.selector.starts_with("setupBroadcast")) {
        reply(message, { Value() });
    } else if (message.selector.starts_with("stopRecording")) {
        recording_ = false;
        const auto [movie, error] = finishMovie();
        reply(message,
            { movie ? Value(URL::fileURLWithPath(*movie)) : Value(), Value(std::const_pointer_cast<Error>(error)) });
    } else if (message.selector.starts_with("discardRecording")) {
        if (!lastMovie_.empty()) {
            std::error_code ignored;
            std::filesystem::remove(lastMovie_, ignored);
            lastMovie_.clear();
        }
        reply(message, {});
    }
}

void RecordingServiceProgram::reply(const Message& request, std::vector<Value> values)
{
    if (!options_.stallBeforeReply.empty() && request.selector == options_.stallBeforeReply) {
        // Stops here, as if hung, until the device kills the process.
        const char notice = 1;
        [[maybe_unused]] const auto written = ::write(options_.stallDescriptor, &notice, 1);
        while (true) {
            ::pause();
        }
    }
    link_.connection()->send({ Message::Kind::Reply, request.number, request.selector, std::move(values) });
}

void RecordingServiceProgram::refuse(const Message& message, const char* why)
{
    Log::error("Recording service: refused %s: %s", message.selector, why);
    link_.connection()->close(why);
}

std::pair<std::optional<std::string>, ErrorRef> RecordingServiceProgram::finishMovie()
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
    lastMovie_ = path.string();
    return { options_.moviesDeviceFolder + name, nullptr };
}

} // namespace lumora::platform::host
