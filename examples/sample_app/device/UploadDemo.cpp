#include "broadcast/LMBroadcastConfiguration.h"
#include "extensions/upload/ClipReportingHandler.h"
#include "extensions/upload/WavSampleHandler.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/SampleBuffer.h"
#include "sample_app/Demos.h"
#include "sample_app/app/Narration.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <future>
#include <numbers>

namespace lumora::sample {

namespace {

using platform::Data;
using platform::Dictionary;
using platform::Value;
using platform::host::ExtensionRequest;

constexpr double kSampleRate = 44100.0;
constexpr std::int64_t kFramesPerPayload = 4096;

std::shared_ptr<Dictionary> payload(std::initializer_list<std::pair<const std::string, Value>> entries)
{
    return std::make_shared<Dictionary>(entries);
}

Value actionPayload(LMBroadcastActionType action, platform::DictionaryRef setupInfo = nullptr)
{
    auto result = payload({ { std::string(LMBroadcastProcessExtensionPayloadKeyActionType), Value(action) } });
    if (setupInfo) {
        result->emplace(LMBroadcastExtensionKeyExtensionUserInfo, Value(std::move(setupInfo)));
    }
    return Value(result);
}

/// One payload of a sine tone, 16-bit mono, starting at frame `start`, in the
/// byte order the recording service sends that kind of audio in.
Value tonePayload(LMBroadcastSampleType type, double frequency, std::int64_t start)
{
    const bool bigEndian = type == LMBroadcastSampleTypeAudioApp;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(kFramesPerPayload * 2);
    for (std::int64_t frame = start; frame < start + kFramesPerPayload; ++frame) {
        const double phase = 2.0 * std::numbers::pi * frequency * static_cast<double>(frame) / kSampleRate;
        const auto sample
            = static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(8000.0 * std::sin(phase))));
        const auto high = static_cast<std::uint8_t>(sample >> 8U);
        const auto low = static_cast<std::uint8_t>(sample & 0xFFU);
        bytes.push_back(bigEndian ? high : low);
        bytes.push_back(bigEndian ? low : high);
    }
    platform::SampleTimingInfo timing;
    timing.duration = { kFramesPerPayload, static_cast<std::int32_t>(kSampleRate), platform::MediaTime::Valid, 0 };
    timing.presentationTimeStamp = { start, static_cast<std::int32_t>(kSampleRate), platform::MediaTime::Valid, 0 };
    timing.decodeTimeStamp = timing.presentationTimeStamp;
    return Value(payload({
        { std::string(LMBroadcastProcessExtensionPayloadKeySampleType), Value(static_cast<std::int64_t>(type)) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyNumSamples), Value(kFramesPerPayload) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyAudioBufferList), Value(Data(std::move(bytes))) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyTimingInfo), Value(Data(&timing, sizeof timing)) },
    }));
}

/// Plays the recording service: one request per batch of payloads, each to a
/// new handler of the extension (the platform makes one per request).
class SimulatedRecordingService {
public:
    explicit SimulatedRecordingService(std::shared_ptr<WavRecording> recording) : recording_(std::move(recording)) { }

    void send(std::vector<Value> payloads)
    {
        platform::ExtensionItems items;
        for (auto& value : payloads) {
            items.push_back(ExtensionRequest::labelledItem("payload", std::move(value)));
        }
        const ExtensionRequest request(std::move(items));
        request.beginWithHandler(std::make_shared<WavSampleHandler>(recording_));
        if (!request.waitForOutcome()) {
            fmt::print("[recording service] the extension did not complete its request\n");
        }
    }

    /// Audio from `seconds` of application and microphone tones, two payloads a request.
    void sendAudio(double seconds)
    {
        const auto end = frame_ + static_cast<std::int64_t>(seconds * kSampleRate);
        for (; frame_ < end; frame_ += kFramesPerPayload) {
            send({ tonePayload(LMBroadcastSampleTypeAudioApp, 440.0, frame_),
                tonePayload(LMBroadcastSampleTypeAudioMic, 660.0, frame_) });
        }
    }

private:
    std::shared_ptr<WavRecording> recording_;
    std::int64_t frame_ = 0;
};

void runSampleUpload(const std::string& outputDirectory)
{
    fmt::print("\n== Upload extension: samples ==\n");
    auto recording = std::make_shared<WavRecording>(outputDirectory);
    std::promise<void> closed;
    recording->onClosed = [&closed] { closed.set_value(); };

    SimulatedRecordingService service(recording);
    service.send({ actionPayload(LMBroadcastActionTypeStarted,
        std::make_shared<Dictionary>(Dictionary { { "broadcastName", Value("Lumora demo") } })) });
    service.sendAudio(0.5);
    service.send({ actionPayload(LMBroadcastActionTypePaused) });
    service.send({ actionPayload(LMBroadcastActionTypeResumed) });
    service.sendAudio(0.5);
    service.send({ actionPayload(LMBroadcastActionTypeFinished) });

    if (closed.get_future().wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
        fmt::print("[recording service] the WAV files were not closed in time\n");
    }
}

void runClipUpload(const std::string& outputDirectory)
{
    fmt::print("\n== Upload extension: movie clips ==\n");
    auto uploaded = std::make_shared<std::atomic<int>>(0);
    const auto setupInfo = std::make_shared<Dictionary>(Dictionary { { "streamKey", Value("demo-key") } });
    for (int clip = 1; clip <= 3; ++clip) {
        // The clip file the recording service cut, and a token for reading it.
        const auto path = fmt::format("{}/clip-{}.mp4", outputDirectory, clip);
        std::ofstream(path, std::ios::binary) << std::string(static_cast<std::size_t>(clip) * 1000, '\0');
        const bool last = clip == 3;
        const ExtensionRequest request({
            ExtensionRequest::labelledItem(
                LMBroadcastExtensionKeyMovieClipURL, Value(platform::URL::fileURLWithPath(path).absoluteString())),
            ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionUserInfo, Value(setupInfo)),
            ExtensionRequest::labelledItem(LMBroadcastExtensionKeyRequestedFinish, Value(last)),
            ExtensionRequest::labelledItem(
                LMBroadcastExtensionKeyExtensionSandboxToken, Value(fmt::format("sandbox-token-{}", clip))),
        });
        request.beginWithHandler(std::make_shared<ClipReportingHandler>(uploaded));
        const auto outcome = request.waitForOutcome();
        if (!outcome) {
            fmt::print("[recording service] clip {}: no answer\n", clip);
            continue;
        }
        if (outcome->error) {
            fmt::print("[recording service] clip {}: cancelled with {}\n", clip, outcome->error->description());
            continue;
        }
        const auto archive
            = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyBroadcastConfiguration);
        platform::ErrorRef error;
        const auto configuration = archive && archive->isData()
            ? platform::KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(
                *archive->data(), &error)
            : nullptr;
        const auto serviceInfo
            = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyExtensionServiceInfo);
        fmt::print("[recording service] clip {}: configuration {}, service info {}\n", clip,
            configuration ? configuration->description() : "(none)",
            serviceInfo ? serviceInfo->description() : "(none)");
    }
    const auto tokens = platform::host::SimulatedDevice::shared().consumedSandboxTokens();
    fmt::print("[device] sandbox tokens consumed: {}\n", tokens.size());
}

} // namespace

void runUploadDemo()
{
    const auto outputDirectory = sampleOutputDirectory();
    std::error_code error;
    std::filesystem::create_directories(outputDirectory, error);
    runSampleUpload(outputDirectory);
    runClipUpload(outputDirectory);
}

} // namespace lumora::sample
