#include "recording/LMScreenRecorder.h"

#include "camera/LMPipViewController.h"
#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedRestrictions.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/media/AudioSession.h"
#include "platform/system/DeviceRestrictions.h"
#include "platform/system/NotificationCenter.h"
#include "tests/recording/RecorderFixture.h"

#include <functional>
#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;

class LMScreenRecorderStart : public RecorderTest { };

TEST_F(LMScreenRecorderStart, SendsTheWindowsContextAndPixelSizeLocksRotationAndBecomesRecording)
{
    appWindow->setFrame({ { 0, 0 }, { 320.4, 568 } });
    const auto recorder = LMScreenRecorder::sharedRecorder();
    CallbackRecorder<ErrorRef> done;

    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        true, false, true, done.callback());

    // The local service answers inside the call.
    ASSERT_EQ(done.callCount(), 1U);
    EXPECT_EQ(std::get<0>(done.call()), nullptr);
    const auto arguments = startArguments();
    ASSERT_EQ(arguments.size(), 7U);
    ASSERT_EQ(arguments[0].array()->size(), 1U);
    EXPECT_EQ(arguments[0].array()->at(0).int64Value(), contextIdOf(appWindow));
    EXPECT_EQ(arguments[1].doubleValue(), 642);
    EXPECT_EQ(arguments[2].doubleValue(), 1136);
    EXPECT_TRUE(arguments[3].boolValue()); // microphone
    EXPECT_FALSE(arguments[4].boolValue()); // camera
    EXPECT_TRUE(arguments[5].boolValue()); // broadcast
    EXPECT_FALSE(arguments[6].boolValue()); // system recording
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_FALSE(recorder->isPaused());
    EXPECT_TRUE(recorder->isMicrophoneEnabled());
    EXPECT_TRUE(recorder->hasUserConsentForMicrophone());
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 1);
    EXPECT_EQ(recorder->systemRecordingQuickPanelStartClipStartTime(), platform::Clock::now());
}

TEST_F(LMScreenRecorderStart, PixelSizeTakesTheSinglePrecisionCeilingBeforeScaling)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    // Ceiling after scaling would give 641; ceiling in double precision 202.
    appWindow->setFrame({ { 0, 0 }, { 320.4, 100.000000001 } });
    EXPECT_EQ(recorder->currentWindowSize(), (platform::Size { 642, 200 }));
    device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 3);
    EXPECT_EQ(recorder->currentWindowSize(), (platform::Size { 963, 300 }));
}

TEST_F(LMScreenRecorderStart, ASecondStartWhileRecordingIsIgnoredWithoutAnAnswer)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    CallbackRecorder<ErrorRef> first;
    CallbackRecorder<ErrorRef> second;
    recorder->startRecordingWithHandler(first.callback());
    recorder->startBroadcastWithHandler(second.callback());
    drainMainQueue();

    EXPECT_EQ(first.callCount(), 1U);
    EXPECT_EQ(second.callCount(), 0U);
    EXPECT_EQ(requestCount(kStartMessage), 1U);
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 1);
}

struct Unavailability {
    const char* name;
    platform::ExternalScreenType screen;
    std::int64_t restriction;
    std::int64_t expectedCode;

    friend std::ostream& operator<<(std::ostream& out, const Unavailability& condition)
    {
        return out << condition.name;
    }
};

class LMScreenRecorderUnavailable : public RecorderTest, public ::testing::WithParamInterface<Unavailability> { };

TEST_P(LMScreenRecorderUnavailable, FailsAtOnceWithTheCodeTheRestrictionCallsFor)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    device().screens().setExternalScreenType(GetParam().screen);
    device().restrictions().setEffectiveBoolValue(
        platform::DeviceRestrictions::AllowScreenRecordingSetting, GetParam().restriction);
    CallbackRecorder<ErrorRef> done;

    recorder->startRecordingWithMicrophoneEnabled_handler(true, done.callback());

    ASSERT_EQ(done.callCount(), 1U); // synchronously, before the start returned
    const auto error = std::get<0>(done.call());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain(), "com.lumora.Lumora.LMRecordingErrorDomain");
    EXPECT_EQ(error->code(), GetParam().expectedCode);
    EXPECT_EQ(service().requests().size(), 0U);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_FALSE(recorder->isMicrophoneEnabled());
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(Conditions, LMScreenRecorderUnavailable,
    ::testing::Values(Unavailability { "Restricted", platform::ExternalScreenType::None,
                          platform::DeviceRestrictions::BoolValueNo, -5802 },
        Unavailability { "Mirroring", platform::ExternalScreenType::WirelessMirroring,
            platform::DeviceRestrictions::BoolValueYes, -5803 },
        Unavailability { "TVOutUnset", platform::ExternalScreenType::WiredTVOut,
            platform::DeviceRestrictions::BoolValueUnset, -5803 },
        Unavailability { "MirroringAndRestricted", platform::ExternalScreenType::WirelessMirroring,
            platform::DeviceRestrictions::BoolValueNo, -5802 }),
    [](const auto& param) { return param.param.name; });

TEST_F(LMScreenRecorderStart, AServiceErrorReachesTheDelegateAndTheCallbackAndUndoesTheStart)
{
    const auto serviceError = platform::Error::errorWithDomain("RecordingServiceDomain", 7);
    service().setStartError(serviceError);
    const auto recorder = LMScreenRecorder::sharedRecorder();
    const auto delegate = std::make_shared<RecordingDelegate>();
    recorder->setDelegate(delegate);
    recorder->setPreviousAudioCategory(std::string(platform::AudioSession::CategoryPlayback));
    recorder->setPreviousAudioSessionOptions(platform::AudioSession::OptionDuckOthers);
    CallbackRecorder<ErrorRef> done;

    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        true, true, false, done.callback());

    ASSERT_EQ(delegate->stops.size(), 1U);
    EXPECT_EQ(delegate->stops[0].first, serviceError); // the very object, not a copy
    EXPECT_FALSE(delegate->stops[0].second);
    ASSERT_EQ(done.callCount(), 1U);
    EXPECT_EQ(std::get<0>(done.call()), serviceError);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(recorder->pipViewController(), nullptr);
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
    const auto session = platform::AudioSession::sharedInstance();
    EXPECT_EQ(session->category(), platform::AudioSession::CategoryPlayback);
    EXPECT_EQ(session->categoryOptions(), platform::AudioSession::OptionDuckOthers);
}

TEST_F(LMScreenRecorderStart, AGrantedCameraGetsAPreviewControllerWhoseViewIsExposed)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(false, true, false, nullptr);

    ASSERT_TRUE(recorder->isCameraEnabled());
    ASSERT_NE(recorder->pipViewController(), nullptr);
    EXPECT_EQ(recorder->cameraPreviewView(), recorder->pipViewController()->viewIfLoaded());
    EXPECT_TRUE(recorder->pipViewController()->pipSession()->isRunning());
    // No completion callback: the start-clip date stays unset.
    EXPECT_FALSE(recorder->systemRecordingQuickPanelStartClipStartTime().has_value());
}

TEST_F(LMScreenRecorderStart, RefusedMicrophoneAndCameraEndDisabledWithoutAPreview)
{
    service().setCameraConsent(false);
    service().setMicrophoneConsent(false);
    const auto recorder = LMScreenRecorder::sharedRecorder();
    CallbackRecorder<ErrorRef> done;
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        true, true, false, done.callback());

    ASSERT_EQ(done.callCount(), 1U);
    EXPECT_EQ(std::get<0>(done.call()), nullptr);
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_FALSE(recorder->isCameraEnabled());
    EXPECT_FALSE(recorder->isMicrophoneEnabled());
    EXPECT_FALSE(recorder->hasUserConsentForCamera());
    EXPECT_EQ(recorder->pipViewController(), nullptr);
    EXPECT_EQ(recorder->cameraPreviewView(), nullptr);
    EXPECT_EQ(device().media().runningSessionCount(), 0);
}

TEST_F(LMScreenRecorderStart, ASystemRecordingSendsTheWholeScreenWithoutMicrophoneOrRotationLock)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(true, nullptr, true, nullptr);

    const auto arguments = startArguments();
    EXPECT_EQ(arguments[0].array()->at(0).int64Value(), 4294967295);
    EXPECT_EQ(arguments[1].doubleValue(), 640);
    EXPECT_EQ(arguments[2].doubleValue(), 1136);
    EXPECT_FALSE(arguments[3].boolValue());
    EXPECT_TRUE(arguments[6].boolValue());
    EXPECT_TRUE(recorder->systemRecording());
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
    EXPECT_EQ(platform::NotificationCenter::defaultCenter().observerCount(
                  std::string(platform::Application::WillResignActiveNotification)),
        0U);
}

TEST_F(LMScreenRecorderStart, AChosenWindowStartRecordsTheLastShellRootWindowAndSkipsTheChecks)
{
    device().restrictions().setEffectiveBoolValue(
        platform::DeviceRestrictions::AllowScreenRecordingSetting, platform::DeviceRestrictions::BoolValueNo);
    device().application().setShellRootWindowClassPresent(true);
    device().application().addShellRootWindow();
    const auto lastShellWindow = device().application().addShellRootWindow();
    device().application().addWindow(std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 10, 10 } }));
    const auto recorder = LMScreenRecorder::sharedRecorder();

    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(true, nullptr, false, nullptr);

    EXPECT_EQ(recorder->windowToRecord(), lastShellWindow);
    EXPECT_EQ(startArguments()[0].array()->at(0).int64Value(), contextIdOf(lastShellWindow));
    EXPECT_TRUE(startArguments()[3].boolValue());
    EXPECT_TRUE(recorder->isRecording());
    // The chosen window is the one whose rotation is locked.
    EXPECT_EQ(lastShellWindow->interfaceAutorotationDisabledCount(), 1);
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
}

TEST_F(LMScreenRecorderStart, WithoutTheShellClassNoWindowMatchesAndTheApplicationWindowIsRecorded)
{
    device().application().setShellRootWindowClassPresent(true);
    device().application().addShellRootWindow();
    device().application().setShellRootWindowClassPresent(false);
    const auto recorder = LMScreenRecorder::sharedRecorder();

    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(
        false, nullptr, false, nullptr);

    EXPECT_EQ(recorder->windowToRecord(), nullptr);
    EXPECT_EQ(startArguments()[0].array()->at(0).int64Value(), contextIdOf(appWindow));
}

TEST_F(LMScreenRecorderStart, WithoutADelegateWindowTheFirstWindowIsRecordedAndTheFallbackIsLoggedEachTime)
{
    appDelegate->window_ = nullptr;
    const auto second = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 100, 100 } });
    device().application().addWindow(second);
    const auto recorder = LMScreenRecorder::sharedRecorder();
    LogCapture log;

    EXPECT_EQ(recorder->applicationWindow(), appWindow);
    EXPECT_EQ(recorder->applicationWindow(), appWindow);
    EXPECT_EQ(log.count("LMScreenRecorder: appWindow: app doesn't have the window property set on HostAppDelegate. "
                        "Using first window."),
        2U);
    device().application().setDelegate(nullptr);
    device().application().removeWindow(appWindow.get());
    EXPECT_EQ(recorder->applicationWindow(), second);
    device().application().removeWindow(second.get());
    EXPECT_EQ(recorder->applicationWindow(), nullptr);
    EXPECT_EQ(recorder->currentWindowSize(), (platform::Size { 0, 0 }));
    EXPECT_EQ(recorder->currentWindowLayerContextID(), 0U);
}

// Each short start forwards its own microphone, camera and streaming choice.
TEST_F(LMScreenRecorderStart, TheShortStartsPassTheirOwnSettingsToTheService)
{
    struct Case {
        const char* name;
        bool microphoneSetting;
        bool cameraSetting;
        std::function<void(LMScreenRecorder&)> start;
        bool microphone;
        bool camera;
        bool broadcast;
    };
    const Case cases[] = {
        { "recording", true, false, [](auto& r) { r.startRecordingWithHandler(nullptr); }, true, false, false },
        { "broadcast", false, true, [](auto& r) { r.startBroadcastWithHandler(nullptr); }, false, true, true },
        { "microphone", false, true, [](auto& r) { r.startRecordingWithMicrophoneEnabled_handler(true, nullptr); },
            true, false, false },
    };
    for (const auto& each : cases) {
        // A recorder of its own per case: the shared one stays recording after its first start.
        const auto recorder = std::make_shared<LMScreenRecorder>();
        recorder->setMicrophoneEnabled(each.microphoneSetting);
        recorder->setCameraEnabled(each.cameraSetting);
        service().clearRequests();
        each.start(*recorder);
        ASSERT_EQ(service().requests().size(), 1U) << each.name;
        const auto arguments = service().requests()[0].arguments;
        EXPECT_EQ(arguments[3].boolValue(), each.microphone) << each.name;
        EXPECT_EQ(arguments[4].boolValue(), each.camera) << each.name;
        EXPECT_EQ(arguments[5].boolValue(), each.broadcast) << each.name;
    }
}

TEST_F(LMScreenRecorderStart, ASystemRecordingOfAChosenWindowSendsThatWindowButTheScreensSize)
{
    const auto chosen = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 100, 50 } });
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(false, chosen, true, nullptr);

    EXPECT_EQ(startArguments()[0].array()->at(0).int64Value(), contextIdOf(chosen));
    EXPECT_EQ(startArguments()[1].doubleValue(), 640);
    EXPECT_EQ(chosen->interfaceAutorotationDisabledCount(), 0);
    EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
}

TEST(LMScreenRecorderShared, ASubclassAskingFirstGetsAnInstanceOfItself)
{
    class CustomRecorder final : public LMScreenRecorder { };
    const auto shared = LMScreenRecorder::sharedRecorder<CustomRecorder>();
    EXPECT_NE(std::dynamic_pointer_cast<CustomRecorder>(shared), nullptr);
    EXPECT_EQ(LMScreenRecorder::sharedRecorder(), shared);
}

} // namespace
} // namespace lumora::test
