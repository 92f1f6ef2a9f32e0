#include "platform/host/lab/BroadcastSession.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/lab/BroadcastService.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/media/AudioFormat.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"
#include "tests/harness/MovieProbe.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <map>
#include <mutex>

namespace lumora {
namespace {

using platform::host::BroadcastService;
using platform::host::BroadcastSession;
using platform::host::DeviceAudio;
using platform::host::SimulatedDevice;
using platform::host::SimulatedRecordingService;

constexpr auto kFramesPerPayload = static_cast<std::int64_t>(
    SimulatedRecordingService::PayloadInterval * SimulatedRecordingService::AudioSampleRate);

/// What an upload extension received: each kind of audio by presentation time, as samples.
struct Received {
    std::mutex mutex;
    std::map<std::int64_t, std::map<std::int64_t, std::vector<std::int16_t>>> audio;
};

class RecordingHandler final : public LMBroadcastSampleHandler {
public:
    explicit RecordingHandler(std::shared_ptr<Received> received) : received_(std::move(received)) { }

    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        // Samples in the byte order their format declares.
        const bool bigEndian = (sample->formatDescription()->streamBasicDescription().formatFlags
                                   & platform::AudioFormatFlags::IsBigEndian)
            != 0;
        const auto bytes = sample->dataBuffer().span();
        std::vector<std::int16_t> samples(bytes.size() / 2);
        for (std::size_t index = 0; index < samples.size(); ++index) {
            const auto first = static_cast<std::uint16_t>(bytes[2 * index]);
            const auto second = static_cast<std::uint16_t>(bytes[(2 * index) + 1]);
            samples[index] = static_cast<std::int16_t>(bigEndian ? (first << 8U) | second : (second << 8U) | first);
        }
        const std::lock_guard lock(received_->mutex);
        received_->audio[type][sample->presentationTimeStamp().value] = std::move(samples);
    }

private:
    std::shared_ptr<Received> received_;
};

class LiveAudioTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto& device = SimulatedDevice::shared();
        device.screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 1);
        device.recordingService().setRecordsScreen(true);
        install([received = received_] { return std::make_shared<RecordingHandler>(received); });
    }
    void TearDown() override
    {
        LMScreenRecorder::sharedRecorder()->setDelegate(nullptr);
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        EXPECT_TRUE(test::runPendingDeliveries());
        test::prepareDevice();
    }

    // Installs the broadcast service, its upload extension made by `upload`.
    static void install(SimulatedRecordingService::UploadHandlerFactory upload)
    {
        BroadcastService {
            "com.example.audio.setup",
            [](const platform::host::ExtensionRequestSide& side) {
                LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(side.context,
                    platform::URL::URLWithString("rtmp://live.example/audio"),
                    std::make_shared<LMBroadcastConfiguration>(), nullptr);
                return std::make_shared<platform::ViewController>();
            },
            std::nullopt,
            "com.example.audio.upload",
            SimulatedRecordingService::UploadKind::SampleBuffer,
            std::move(upload),
        }
            .install();
    }

    std::shared_ptr<Received> received_ = std::make_shared<Received>();
};

// How alike two stretches of sound are: 1 for the same shape, about 0 for unrelated ones.
double likeness(const std::vector<float>& expected, const std::vector<float>& actual, std::size_t from)
{
    double product = 0;
    double expectedEnergy = 0;
    double actualEnergy = 0;
    for (std::size_t index = 0; index < expected.size() && from + index < actual.size(); ++index) {
        product += expected[index] * actual[from + index];
        expectedEnergy += expected[index] * expected[index];
        actualEnergy += actual[from + index] * actual[from + index];
    }
    return expectedEnergy > 0 && actualEnergy > 0 ? product / std::sqrt(expectedEnergy * actualEnergy) : 0;
}

TEST_F(LiveAudioTest, TheExtensionHearsWhatTheMovieHoldsAndNoMicrophoneWhileItIsMuted)
{
    const auto session = BroadcastSession::make();
    ASSERT_EQ(session->goLive("com.example.audio.setup", true), nullptr);
    const auto origin = DeviceAudio::sampleAt(platform::Clock::uptime());
    session->run(1.0);
    LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(false);
    session->run(1.0);
    LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
    session->run(1.0);
    // After a pause the payloads run on in time, the sound from the moment of the resume.
    session->pause();
    session->run(0.5);
    const auto resumed = DeviceAudio::sampleAt(platform::Clock::uptime());
    session->resume();
    session->run(0.2);
    ASSERT_EQ(session->finish(), nullptr);
    ASSERT_TRUE(session->waitForDeliveries());
    ASSERT_TRUE(test::runPendingDeliveries());

    const std::lock_guard lock(received_->mutex);
    const auto& application = received_->audio[LMBroadcastSampleTypeAudioApp];
    const auto& microphone = received_->audio[LMBroadcastSampleTypeAudioMic];
    ASSERT_EQ(application.size(), 32U);
    ASSERT_EQ(microphone.size(), 32U);

    // Each payload holds exactly what the device played at the moment it stands for.
    std::vector<std::int16_t> expected(static_cast<std::size_t>(kFramesPerPayload));
    for (std::int64_t payload = 0; payload < 32; ++payload) {
        SCOPED_TRACE(payload);
        const auto time = payload * kFramesPerPayload;
        ASSERT_EQ(application.count(time), 1U);
        ASSERT_EQ(microphone.count(time), 1U);
        const auto played = payload < 30 ? origin + time : resumed + time - (30 * kFramesPerPayload);
        DeviceAudio::application(played, expected);
        EXPECT_EQ(application.at(time), expected);
        const bool muted = payload >= 10 && payload < 20;
        DeviceAudio::unmutedMicrophone(played, expected);
        if (muted) {
            std::fill(expected.begin(), expected.end(), std::int16_t { 0 });
        }
        EXPECT_EQ(microphone.at(time), expected);
    }

    // The movie recorded meanwhile holds the same sound, both kinds mixed, at the same times.
    const auto answer = SimulatedDevice::shared().recordingService().answerStop(std::nullopt);
    ASSERT_TRUE(answer.movieURL);
    const auto movie = test::decodeMovie(SimulatedDevice::shared().resolvePath(answer.movieURL->path()));
    ASSERT_TRUE(movie);
    ASSERT_EQ(movie->audioSampleRate, SimulatedRecordingService::AudioSampleRate);
    ASSERT_GE(movie->audioSamples.size(), static_cast<std::size_t>(29 * kFramesPerPayload));
    for (std::int64_t payload = 1; payload < 29; ++payload) {
        SCOPED_TRACE(payload);
        const auto time = payload * kFramesPerPayload;
        std::vector<float> mixed(static_cast<std::size_t>(kFramesPerPayload));
        for (std::size_t index = 0; index < mixed.size(); ++index) {
            mixed[index] = static_cast<float>(application.at(time)[index] + microphone.at(time)[index]) / 32768.0F;
        }
        const auto from = static_cast<std::size_t>(time);
        EXPECT_GT(likeness(mixed, movie->audioSamples, from), 0.95);
        // A fraction of the microphone's period later, the likeness is gone.
        EXPECT_LT(likeness(mixed, movie->audioSamples, from + 25), 0.8);
    }
}

} // namespace
} // namespace lumora

namespace lumora {
namespace {

/// An upload extension that leaves one request unanswered when told to, and
/// answers every other one.
struct Stall {
    std::atomic<bool> armed { false };
    std::atomic<bool> stalled { false };
};

class StallingHandler final : public LMBroadcastSampleHandler {
public:
    explicit StallingHandler(std::shared_ptr<Stall> stall) : stall_(std::move(stall)) { }

    void beginRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context) override
    {
        if (stall_->armed.exchange(false)) {
            stall_->stalled = true;
            return;
        }
        LMBroadcastSampleHandler::beginRequestWithExtensionContext(context);
    }

private:
    std::shared_ptr<Stall> stall_;
};

TEST_F(LiveAudioTest, AnUnansweredRequestEndsWhenTheDeviceClockPassesItsDeadline)
{
    SimulatedDevice::shared().recordingService().setRecordsScreen(false);
    const auto stall = std::make_shared<Stall>();
    install([stall] { return std::make_shared<StallingHandler>(stall); });
    const auto session = BroadcastSession::make();
    ASSERT_EQ(session->goLive("com.example.audio.setup"), nullptr);
    test::LogCapture log;
    const auto unanswered = [&log] {
        const auto texts = log.texts(platform::Log::Level::Error);
        return std::count(
            texts.begin(), texts.end(), "Recording service: the upload extension did not complete its request");
    };

    // The first payload's request goes unanswered; the ones after it wait their turn.
    stall->armed = true;
    auto& device = SimulatedDevice::shared();
    device.advanceClock(SimulatedRecordingService::PayloadInterval);
    ASSERT_TRUE(test::runUntil([&stall] { return stall->stalled.load(); }));
    const auto timeout = std::chrono::duration<double>(SimulatedRecordingService::UploadRequestTimeout).count();
    device.advanceClock(timeout - 0.05);
    test::drainMainQueue();
    // However long it waits in real time, a held clock holds the deadline back.
    EXPECT_FALSE(device.recordingService().waitForUploadRequests(std::chrono::milliseconds(300)));
    EXPECT_EQ(unanswered(), 0);

    device.advanceClock(0.1);
    test::drainMainQueue();
    EXPECT_TRUE(device.recordingService().waitForUploadRequests(std::chrono::seconds(2)));
    EXPECT_EQ(unanswered(), 1);
    // The broadcast goes on; the requests queued behind it were answered.
    EXPECT_EQ(session->finish(), nullptr);
    ASSERT_TRUE(session->waitForDeliveries());
    EXPECT_EQ(unanswered(), 1);
}

} // namespace
} // namespace lumora
