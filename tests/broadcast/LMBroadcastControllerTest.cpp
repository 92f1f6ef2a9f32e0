#include "broadcast/LMBroadcastController.h"

#include "recording/LMScreenRecorder.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;

constexpr const char* kPause = "pauseRecording";
constexpr const char* kResume = "resumeRecordingWithWindowLayerContextID:";
constexpr const char* kStop = "stopRecordingWithHandler:";

class BroadcastControllerTest : public RecorderTest {
protected:
    static std::shared_ptr<LMScreenRecorder> recorder() { return LMScreenRecorder::sharedRecorder(); }

    static std::shared_ptr<LMBroadcastController> startedController()
    {
        auto controller = LMBroadcastController::initWithExtensionBundleID_broadcastURL(
            "com.example.streamer.upload", platform::URL::URLWithString("rtmp://live.example.com/abc"));
        CallbackRecorder<ErrorRef> started;
        controller->startBroadcastWithHandler(started.callback());
        EXPECT_TRUE(started.wait());
        EXPECT_EQ(std::get<0>(started.call()), nullptr);
        return controller;
    }
};

TEST_F(BroadcastControllerTest, KeepsWhatItWasMadeWithAndAbsentValuesWhenMadeWithNone)
{
    const auto url = platform::URL::URLWithString("rtmp://live.example.com/abc");
    const auto made = LMBroadcastController::initWithExtensionBundleID_broadcastURL("com.example.upload", url);
    EXPECT_EQ(made->broadcastExtensionBundleID(), "com.example.upload");
    EXPECT_EQ(made->broadcastURL(), url);

    const auto empty = LMBroadcastController::init();
    EXPECT_EQ(empty->broadcastExtensionBundleID(), std::nullopt);
    EXPECT_EQ(empty->broadcastURL(), std::nullopt);
    EXPECT_EQ(empty->serviceInfo(), nullptr);
    EXPECT_FALSE(empty->isBroadcasting());
}

TEST_F(BroadcastControllerTest, StartRecordsWithStreamingAndTheRunningBroadcastKeepsItsController)
{
    std::weak_ptr<LMBroadcastController> weak;
    {
        const auto controller = startedController();
        weak = controller;
        EXPECT_TRUE(controller->isBroadcasting());
        EXPECT_FALSE(controller->isPaused());
    }
    // The application let go; the recorder holds the running broadcast's controller.
    ASSERT_FALSE(weak.expired());
    EXPECT_EQ(recorder()->activeBroadcastController(), weak.lock());
    const auto arguments = startArguments();
    EXPECT_TRUE(arguments.at(5).boolValue()) << "broadcast flag";
    EXPECT_EQ(requestCount(kStop), 0U);
}

TEST_F(BroadcastControllerTest, AFailedStartPassesTheRecordersErrorOnAndStaysActive)
{
    const auto serviceError = platform::Error::errorWithDomain("com.example.service", 42);
    service().setStartError(serviceError);
    const auto controller = LMBroadcastController::init();
    CallbackRecorder<ErrorRef> started;
    controller->startBroadcastWithHandler(started.callback());
    ASSERT_TRUE(started.wait());
    EXPECT_EQ(std::get<0>(started.call()), serviceError);
    EXPECT_EQ(recorder()->activeBroadcastController(), controller);
    EXPECT_FALSE(controller->isBroadcasting());
}

TEST_F(BroadcastControllerTest, StateIsTheRecordersWhicheverControllerStartedIt)
{
    const auto bystander = LMBroadcastController::init();
    CallbackRecorder<ErrorRef> started;
    recorder()->startRecordingWithHandler(started.callback());
    ASSERT_TRUE(started.wait());
    EXPECT_TRUE(bystander->isBroadcasting());
    recorder()->pauseRecording();
    EXPECT_TRUE(bystander->isPaused());
}

TEST_F(BroadcastControllerTest, APausedBroadcastResumesByItselfWhenTheAppBecomesActive)
{
    const auto controller = startedController();
    controller->pauseBroadcast();
    EXPECT_EQ(recorder()->activeBroadcastController(), nullptr);
    EXPECT_TRUE(controller->isPaused());
    EXPECT_EQ(requestCount(kPause), 1U);

    device().application().resignActive();
    device().application().becomeActive();
    // No active controller: the recorder's own rule resumes the recording.
    EXPECT_EQ(requestCount(kResume), 1U);
    EXPECT_FALSE(controller->isPaused());
    EXPECT_TRUE(controller->isBroadcasting());
}

TEST_F(BroadcastControllerTest, ARunningBroadcastIsNotResumedOnBecomingActiveButByItsController)
{
    const auto controller = startedController();
    device().application().resignActive();
    device().application().becomeActive();
    EXPECT_EQ(requestCount(kResume), 0U);
    EXPECT_TRUE(controller->isPaused());

    controller->pauseBroadcast();
    controller->resumeBroadcast();
    EXPECT_EQ(recorder()->activeBroadcastController(), controller);
    EXPECT_EQ(requestCount(kResume), 1U);
    EXPECT_FALSE(controller->isPaused());
}

TEST_F(BroadcastControllerTest, FinishReplacesServiceInfoWithWhatTheRecorderReportedAndLetsGo)
{
    std::weak_ptr<LMBroadcastController> weak;
    CallbackRecorder<ErrorRef> finished;
    {
        const auto controller = startedController();
        weak = controller;
        controller->setServiceInfo(
            std::make_shared<platform::Dictionary>(platform::Dictionary { { "viewers", platform::Value(3) } }));
        // The service ends the broadcast with neither a movie nor an error.
        service().setStopAnswer(std::nullopt, nullptr);
        controller->finishBroadcastWithHandler(finished.callback());
        ASSERT_TRUE(finished.wait());
        EXPECT_EQ(std::get<0>(finished.call()), nullptr);
        EXPECT_EQ(controller->serviceInfo(), nullptr);
        EXPECT_EQ(recorder()->activeBroadcastController(), nullptr);
        EXPECT_FALSE(controller->isBroadcasting());
    }
    drainMainQueue();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(finished.callCount(), 1U);
    EXPECT_EQ(requestCount(kStop), 1U);
}

TEST_F(BroadcastControllerTest, FinishAfterAStopWithAMovieStillAnswersAndDropsTheMovie)
{
    const auto controller = startedController();
    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler(finished.callback());
    ASSERT_TRUE(finished.wait());
    EXPECT_EQ(std::get<0>(finished.call()), nullptr);
    EXPECT_EQ(recorder()->activeBroadcastController(), nullptr);
    EXPECT_FALSE(controller->isBroadcasting());
}

TEST_F(BroadcastControllerTest, ReleasingAControllerAsksTheRecorderToStopWithNoHandler)
{
    CallbackRecorder<ErrorRef> started;
    recorder()->startRecordingWithHandler(started.callback());
    ASSERT_TRUE(started.wait());
    LMBroadcastController::init().reset();
    drainMainQueue();
    EXPECT_EQ(requestCount(kStop), 1U);
    EXPECT_FALSE(recorder()->isRecording());

    // Released with nothing recording, it asks again and the recorder ignores it.
    LMBroadcastController::init().reset();
    drainMainQueue();
    EXPECT_EQ(requestCount(kStop), 1U);
}

} // namespace
} // namespace lumora::test
