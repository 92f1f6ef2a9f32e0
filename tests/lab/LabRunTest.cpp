// The lab run in process: a broadcast through each of the test extensions'
// bundles, and what its summary says of each.
#include "platform/host/lab/LabRun.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/lab/BroadcastService.h"
#include "platform/host/lab/BroadcastSession.h"
#include "platform/host/lab/LabSound.h"
#include "platform/media/SampleBuffer.h"
#include "platform/ui/ViewController.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <mutex>

namespace lumora::test {
namespace {

using platform::host::LabOptions;
using platform::host::LabReport;
using platform::host::LabRun;
using platform::host::LabSound;

std::string testBundle(const char* name)
{
    return std::string(LUMORA_TEST_EXTENSIONS_DIR) + "/" + name + ".appex";
}

bool hasFault(const LabReport& report, LabReport::FaultKind kind)
{
    return std::any_of(report.faults.begin(), report.faults.end(),
        [kind](const LabReport::Fault& fault) { return fault.kind == kind; });
}

class LabRunTest : public ::testing::Test {
protected:
    void SetUp() override { prepareDevice(); }
    void TearDown() override
    {
        LMScreenRecorder::sharedRecorder()->setDelegate(nullptr);
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        EXPECT_TRUE(runPendingDeliveries());
        prepareDevice();
    }

    static LabReport run(LabOptions options) { return LabRun(std::move(options)).run(); }
    static LabOptions optionsFor(const char* bundle, double duration)
    {
        LabOptions options;
        options.bundle = testBundle(bundle);
        options.duration = duration;
        return options;
    }
};

TEST_F(LabRunTest, AWellBehavedExtensionRunsThroughWithEveryPayloadCountedAcrossAPause)
{
    auto options = optionsFor("Steady", 2);
    options.pauses.push_back({ 1, 1.5 });
    double lastProgress = 0;
    bool progressFell = false;
    LabRun lab(options);
    lab.setProgressHandler([&](double done) {
        progressFell = progressFell || done < lastProgress;
        lastProgress = done;
    });
    const auto report = lab.run();

    EXPECT_EQ(report.exitStatus(), LabReport::RanThrough) << report.text();
    EXPECT_TRUE(report.faults.empty());
    EXPECT_FALSE(report.endedEarly);
    EXPECT_DOUBLE_EQ(report.liveSeconds, 2);
    // A payload of each kind every tenth of a second of live time; none while paused.
    EXPECT_EQ(report.applicationAudioPayloads, 20);
    EXPECT_EQ(report.microphoneAudioPayloads, 20);
    // Started, paused, resumed, finished.
    EXPECT_EQ(report.actions, 4);
    EXPECT_EQ(report.requests, 24);
    EXPECT_EQ(report.latencies.size(), 24U);
    EXPECT_LE(report.latencyPercentile(0.5), report.latencyPercentile(0.99));
    // The steady extension reports after every request, counting them; the
    // application hears what it returned in order (not while paused or
    // after the finish).
    ASSERT_GE(report.serviceInfo.size(), 20U);
    std::int64_t previous = 0;
    for (const auto& info : report.serviceInfo) {
        const auto requests = info->valueForKey("requests").int64Value();
        EXPECT_GT(requests, previous);
        EXPECT_LE(requests, report.requests);
        previous = requests;
    }
    EXPECT_EQ(report.launches, 1U);
    EXPECT_GT(report.peakMemory, 0U);
    EXPECT_LT(report.peakMemory, report.memoryCeiling);
    EXPECT_FALSE(progressFell);
    EXPECT_DOUBLE_EQ(lastProgress, 1.0);
}

TEST_F(LabRunTest, MovieClipsAreCutFromTheScreenAtTheClipDurationWithTheMicrophoneOff)
{
    auto options = optionsFor("ClipSize", 3);
    options.kind = platform::host::SimulatedRecordingService::UploadKind::MovieClip;
    options.clipDuration = 1;
    options.screen = LabOptions::Screen::Scenes;
    options.microphoneAudio.sound = LabOptions::Sound::Off;
    const auto report = run(options);

    EXPECT_EQ(report.exitStatus(), LabReport::RanThrough) << report.text();
    // Three full clips, and the last one cut at the finish.
    EXPECT_GE(report.clips, 3);
    EXPECT_LE(report.clips, 4);
    EXPECT_EQ(report.applicationAudioPayloads + report.microphoneAudioPayloads + report.actions, 0);
}

TEST_F(LabRunTest, EachWayAnExtensionFailsGivesItsFaultAndExitStatus)
{
    struct Case {
        const char* bundle;
        LabReport::FaultKind fault;
        int status;
    };
    // Each test extension fails on its third request, so the broadcast ends early.
    for (const auto& [bundle, fault, status] : {
             Case { "Leaking", LabReport::FaultKind::CrossedCeiling, LabReport::CrossedCeiling },
             Case { "Crashing", LabReport::FaultKind::Crashed, LabReport::Crashed },
             Case { "Hanging", LabReport::FaultKind::Hung, LabReport::Hung },
             Case { "Malformed", LabReport::FaultKind::Malformed, LabReport::EndedEarly },
         }) {
        SCOPED_TRACE(bundle);
        auto options = optionsFor(bundle, 5);
        // The hang is found by the watchdog; the others must not run into it.
        if (fault == LabReport::FaultKind::Hung) {
            options.requestDeadline = std::chrono::milliseconds(300);
        }
        const auto report = run(options);
        EXPECT_EQ(report.exitStatus(), status) << report.text();
        EXPECT_TRUE(hasFault(report, fault)) << report.text();
        EXPECT_TRUE(report.endedEarly);
        EXPECT_LT(report.liveSeconds, 5);
        EXPECT_NE(report.stopError.find("-5804"), std::string::npos) << report.stopError;
        EXPECT_NE(report.text().find(std::string(LabReport::faultName(fault))), std::string::npos);
        if (fault == LabReport::FaultKind::CrossedCeiling) {
            EXPECT_GE(report.peakMemory, report.memoryCeiling / 2);
        }
        TearDown();
        SetUp();
    }
}

TEST_F(LabRunTest, WhatCannotRunIsReportedWithoutGoingLive)
{
    auto options = optionsFor("Steady", 1);
    options.bundle = fixturesDirectory(); // a folder without an Info.plist
    auto report = run(options);
    EXPECT_EQ(report.exitStatus(), LabReport::CouldNotRun);
    EXPECT_NE(report.couldNotRun.find("Info.plist"), std::string::npos);

    options = optionsFor("Steady", 1);
    options.applicationAudio = { LabOptions::Sound::Wav, 0, fixturesDirectory() + "/no-such.wav" };
    report = run(options);
    EXPECT_EQ(report.exitStatus(), LabReport::CouldNotRun);

    options = optionsFor("Steady", 1);
    options.screen = LabOptions::Screen::Movie;
    options.moviePath = fixturesDirectory() + "/bundles/RecordingHost.app/Info.plist";
    report = run(options);
    EXPECT_EQ(report.exitStatus(), LabReport::CouldNotRun);
    EXPECT_EQ(report.requests, 0);
}

// What the lab plays reaches an upload extension's payloads: the application's
// sound in the application payloads, the microphone's in the microphone ones,
// each at its own frames and in the byte order its format declares.
struct Received {
    std::mutex mutex;
    std::map<std::int64_t, std::vector<std::int16_t>> samples;
};

class SampleCollector final : public LMBroadcastSampleHandler {
public:
    explicit SampleCollector(std::shared_ptr<Received> received) : received_(std::move(received)) { }
    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        const auto bytes = sample->dataBuffer().span();
        const bool bigEndian = type == LMBroadcastSampleTypeAudioApp;
        std::lock_guard lock(received_->mutex);
        auto& into = received_->samples[type];
        for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
            const auto high = bytes[at + (bigEndian ? 0 : 1)];
            const auto low = bytes[at + (bigEndian ? 1 : 0)];
            into.push_back(static_cast<std::int16_t>((high << 8U) | low));
        }
    }

private:
    std::shared_ptr<Received> received_;
};

TEST_F(LabRunTest, ThePayloadsCarryTheSoundsChosenForThem)
{
    auto received = std::make_shared<Received>();
    platform::host::BroadcastService {
        "com.example.lab.setup",
        [](const platform::host::ExtensionRequestSide& side) {
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(side.context,
                platform::URL::URLWithString("rtmp://live.example/lab"), std::make_shared<LMBroadcastConfiguration>(),
                nullptr);
            return std::make_shared<platform::ViewController>();
        },
        std::nullopt,
        "com.example.lab.upload",
        platform::host::SimulatedRecordingService::UploadKind::SampleBuffer,
        [received] { return std::make_shared<SampleCollector>(received); },
    }
        .install();
    const auto application = LabSound::tone(220);
    const auto microphone = LabSound::tone(440);
    platform::host::SimulatedDevice::shared().recordingService().setPayloadAudio(
        [&](std::int64_t type, std::int64_t first, std::span<std::int16_t> samples) {
            (type == LMBroadcastSampleTypeAudioMic ? microphone : application).fill(first, samples);
        });
    const auto session = platform::host::BroadcastSession::make();
    ASSERT_EQ(session->goLive("com.example.lab.setup", true), nullptr);
    session->run(0.3);
    ASSERT_EQ(session->finish(), nullptr);

    std::lock_guard lock(received->mutex);
    for (const auto& [type, sound] : { std::pair { LMBroadcastSampleTypeAudioApp, &application },
             std::pair { LMBroadcastSampleTypeAudioMic, &microphone } }) {
        const auto& heard = received->samples[type];
        ASSERT_EQ(heard.size(), 3U * 4410U);
        std::vector<std::int16_t> expected(heard.size());
        sound->fill(0, expected);
        EXPECT_EQ(heard, expected) << "sample type " << type;
    }
}

} // namespace
} // namespace lumora::test
