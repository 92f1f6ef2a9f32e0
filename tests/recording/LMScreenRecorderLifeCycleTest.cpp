#include "recording/LMScreenRecorder.h"

#include "camera/LMPipViewController.h"
#include "platform/foundation/KeyValueObserving.h"
#include "platform/host/device/SimulatedRestrictions.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/system/DeviceRestrictions.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::DeviceRestrictions;
using platform::ExternalScreenType;

constexpr const char* kResign = "clientDidResignActiveWithBundleID:";
constexpr const char* kBecome = "clientDidBecomeActiveWithBundleID:";
constexpr const char* kPause = "pauseRecording";
constexpr const char* kResume = "resumeRecordingWithWindowLayerContextID:";
constexpr const char* kMicrophone = "setMicrophoneEnabled:";

class LMScreenRecorderAvailability : public RecorderTest {
protected:
    static void restrict(std::int64_t value)
    {
        device().restrictions().setEffectiveBoolValue(DeviceRestrictions::AllowScreenRecordingSetting, value);
    }
};

TEST_F(LMScreenRecorderAvailability, FollowsEveryExternalScreenAndRestrictionChange)
{
    device().screens().setExternalScreenType(ExternalScreenType::WiredTVOut);
    const auto recorder = LMScreenRecorder::sharedRecorder();
    EXPECT_FALSE(recorder->isAvailable()); // computed on creation

    const auto delegate = std::make_shared<RecordingDelegate>();
    recorder->setDelegate(delegate);
    device().screens().setExternalScreenType(ExternalScreenType::None);
    restrict(DeviceRestrictions::BoolValueNo);
    restrict(DeviceRestrictions::BoolValueUnset);
    device().screens().setExternalScreenType(ExternalScreenType::WirelessMirroring);
    device().screens().setExternalScreenType(ExternalScreenType::WirelessMirroring);
    device().screens().setExternalScreenType(ExternalScreenType::None);
    restrict(DeviceRestrictions::BoolValueYes);

    // The delegate hears at once on being set, then after every change,
    // whether or not the answer changed.
    EXPECT_EQ(delegate->availabilitySeen, (std::vector<bool> { false, true, false, true, false, false, true, true }));
    EXPECT_TRUE(recorder->isAvailable());
}

TEST_F(LMScreenRecorderAvailability, ADelegateHearsAtOnceEachTimeItIsSetAndIsHeldWeakly)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    auto delegate = std::make_shared<RecordingDelegate>();
    recorder->setDelegate(delegate);
    recorder->setDelegate(delegate);
    EXPECT_EQ(delegate->availabilitySeen.size(), 2U);

    delegate.reset();
    EXPECT_EQ(recorder->delegate(), nullptr);
    LogCapture log;
    restrict(DeviceRestrictions::BoolValueNo);
    EXPECT_FALSE(log.contains("LMScreenRecorder: notifyDelegateOfRecorderAvailability"));
    EXPECT_TRUE(log.contains("recording unavailable"));
}

TEST_F(LMScreenRecorderAvailability, ADelegateThatDoesNotAnswerIsNotToldAndNothingIsLogged)
{
    class Silent final : public LMScreenRecorderDelegate { };
    const auto recorder = LMScreenRecorder::sharedRecorder();
    const auto delegate = std::make_shared<Silent>();
    LogCapture log;
    recorder->setDelegate(delegate);
    EXPECT_EQ(recorder->delegate(), delegate);
    EXPECT_FALSE(log.contains("LMScreenRecorder: notifyDelegateOfRecorderAvailability"));
}

class LMScreenRecorderLifeCycle : public RecorderTest { };

TEST_F(LMScreenRecorderLifeCycle, ResigningPausesTheRecordingAndReturningResumesTheWindowCurrentThen)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithHandler(nullptr);
    // The application swaps its main window while it is away.
    const auto newWindow = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 320, 568 } });

    device().application().resignActive();
    EXPECT_TRUE(recorder->isPaused());
    appDelegate->window_ = newWindow;
    device().application().becomeActive();

    EXPECT_FALSE(recorder->isPaused());
    const auto requests = service().requests();
    ASSERT_EQ(requests.size(), 5U);
    EXPECT_EQ(requests[1].message, kPause);
    EXPECT_EQ(requests[2].message, kResign);
    EXPECT_EQ(*requests[2].arguments.at(0).string(), "com.example.recordinghost");
    EXPECT_EQ(requests[3].message, kBecome);
    EXPECT_EQ(*requests[3].arguments.at(0).string(), "com.example.recordinghost");
    EXPECT_EQ(requests[4].message, kResume);
    EXPECT_EQ(requests[4].arguments.at(0).int64Value(), contextIdOf(newWindow));
}

TEST_F(LMScreenRecorderLifeCycle, NotRecordingStillReportsActivityButASystemRecordingReportsNothing)
{
    // A start the service refused registers for activity but leaves the recorder idle.
    service().setStartError(platform::Error::errorWithDomain("RecordingServiceDomain", 1));
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithHandler(nullptr);
    service().clearRequests();

    device().application().resignActive();
    device().application().becomeActive();
    EXPECT_EQ(requestCount(kResign), 1U);
    EXPECT_EQ(requestCount(kBecome), 1U);
    EXPECT_EQ(requestCount(kPause), 0U);
    EXPECT_EQ(requestCount(kResume), 0U);

    service().setStartError(nullptr);
    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(false, nullptr, true, nullptr);
    service().clearRequests();
    device().application().resignActive();
    device().application().becomeActive();
    EXPECT_TRUE(service().requests().empty());
    EXPECT_FALSE(recorder->isPaused());
}

TEST_F(LMScreenRecorderLifeCycle, ActivityIsRegisteredOnceForTheWholeProcess)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithHandler(nullptr);
    // The chosen-window start makes no running-recording test, so it registers again if anything does.
    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(
        false, appWindow, false, nullptr);
    // So would a second recorder's first start, were the guard per recorder.
    const auto other = std::make_shared<LMScreenRecorder>();
    other->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(false, appWindow, false, nullptr);
    service().clearRequests();

    device().application().resignActive();

    EXPECT_EQ(requestCount(kResign), 1U);
    EXPECT_EQ(requestCount(kPause), 1U);
    EXPECT_FALSE(other->isPaused());
}

class LMScreenRecorderSetters : public RecorderTest { };

TEST_F(LMScreenRecorderSetters, MicrophoneWithoutConsentIsLoggedNotSentButStillStoredAndAnnounced)
{
    service().setMicrophoneConsent(false);
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithMicrophoneEnabled_handler(true, nullptr);
    std::vector<std::string> heard;
    auto token = recorder->addObserverForKey("microphoneEnabled",
        platform::KeyValueObservable::OptionPrior | platform::KeyValueObservable::OptionNew,
        [&](const std::string& /*key*/, const platform::KeyValueChange& change) {
            heard.push_back(change.isPrior ? "will" : "did:" + std::to_string(change.newValue.boolValue()));
            // The value is stored between the two notices.
            EXPECT_EQ(recorder->isMicrophoneEnabled(), !change.isPrior);
        });
    LogCapture log;

    recorder->setMicrophoneEnabled(true);
    recorder->setMicrophoneEnabled(true);

    EXPECT_TRUE(recorder->isMicrophoneEnabled());
    EXPECT_EQ(heard, (std::vector<std::string> { "will", "did:1" }));
    EXPECT_EQ(requestCount(kMicrophone), 0U);
    EXPECT_TRUE(log.contains("Microphone recording must be enabled first prior to startRecording"));
    EXPECT_EQ(log.entries().at(0).channel, platform::Log::Channel::Console);

    // Turning it off again reaches the service.
    token.reset();
    recorder->setMicrophoneEnabled(false);
    ASSERT_EQ(requestCount(kMicrophone), 1U);
    EXPECT_FALSE(service().requestsNamed(kMicrophone)[0].arguments.at(0).boolValue());
}

TEST_F(LMScreenRecorderSetters, CameraSwitchesThePreviewDuringARecordingOnlyWithConsent)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(false, true, false, nullptr);
    const auto session = recorder->pipViewController()->pipSession();
    int announced = 0;
    const auto token = recorder->addObserverForKey(
        "cameraEnabled", platform::KeyValueObservable::OptionNew, [&](const auto&, const auto&) { ++announced; });

    recorder->setCameraEnabled(false);
    EXPECT_FALSE(session->isRunning());
    recorder->setCameraEnabled(true);
    EXPECT_TRUE(session->isRunning());
    EXPECT_EQ(announced, 2);

    recorder->setHasUserConsentForCamera(false);
    recorder->setCameraEnabled(false);
    LogCapture log;
    recorder->setCameraEnabled(true);
    EXPECT_FALSE(session->isRunning());
    EXPECT_TRUE(recorder->isCameraEnabled());
    EXPECT_TRUE(log.contains("Camera must be enabled first prior to startRecording"));
}

TEST_F(LMScreenRecorderSetters, RestoringWithNothingSavedLeavesTheAudioSessionAlone)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->restoreAudioSession();
    EXPECT_EQ(device().media().audioCategoryChangeCount(), 0);
}

} // namespace
} // namespace lumora::test
