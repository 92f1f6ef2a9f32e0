#include "broadcast/LMBroadcastController.h"
#include "platform/foundation/Protocol.h"
#include "recording/LMDaemonProxy.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::DictionaryRef;
using platform::ErrorRef;

/// Hears service information, on whatever thread it arrives.
class ServiceInfoDelegate final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo {
public:
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& controller, const DictionaryRef& serviceInfo) override
    {
        const auto* queue = platform::DispatchQueue::current();
        heard(controller, serviceInfo, queue != nullptr ? queue->label() : std::string());
    }
    CallbackRecorder<std::shared_ptr<LMBroadcastController>, DictionaryRef, std::string> recorder;
    std::function<void(std::shared_ptr<LMBroadcastController>, DictionaryRef, std::string)> heard = recorder.callback();
};

/// A delegate that does not answer the optional operation.
class SilentDelegate final : public LMBroadcastControllerDelegate { };

/// The service's calls reach the application over the proxy's connection,
/// as they would from another process.
class ClientCallsTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        connection = service().clientConnection();
        LMDaemonProxy::daemonProxy()->setConnection(connection);
    }

    static std::shared_ptr<LMBroadcastController> startedController()
    {
        auto controller = LMBroadcastController::init();
        CallbackRecorder<ErrorRef> started;
        controller->startBroadcastWithHandler(started.callback());
        EXPECT_TRUE(started.wait());
        return controller;
    }

    static DictionaryRef info(std::int64_t viewers)
    {
        return std::make_shared<platform::Dictionary>(platform::Dictionary { { "viewers", viewers } });
    }

    // Every call of the service has been performed once its connection's
    // queue has run everything queued before this marker.
    void settle() const
    {
        std::atomic<bool> reached { false };
        connection->queue().async([&reached] { reached = true; });
        ASSERT_TRUE(runUntil([&reached] { return reached.load(); }));
    }

    std::shared_ptr<platform::ServiceConnection> connection;
};

TEST_F(ClientCallsTest, ServiceInfoReachesTheActiveControllersDelegateOnTheConnectionsThread)
{
    const auto bystander = LMBroadcastController::init();
    const auto controller = startedController();
    const auto delegate = std::make_shared<ServiceInfoDelegate>();
    controller->setDelegate(delegate);
    LogCapture log;

    const auto reported = info(12);
    service().announceBroadcastServiceInfo(reported);
    ASSERT_TRUE(delegate->recorder.wait());

    const auto [heardController, heardInfo, queueLabel] = delegate->recorder.call();
    EXPECT_EQ(heardController, controller);
    EXPECT_EQ(heardInfo, reported);
    EXPECT_EQ(queueLabel, connection->queue().label());
    EXPECT_FALSE(delegate->recorder.calledOnMainQueue());
    EXPECT_EQ(controller->serviceInfo(), reported);
    EXPECT_EQ(bystander->serviceInfo(), nullptr);
    EXPECT_TRUE(log.contains("LMDaemonProxy: updateBroadcastServiceInfo:"));

    // A later report replaces the earlier one.
    const auto later = info(40);
    service().announceBroadcastServiceInfo(later);
    ASSERT_TRUE(delegate->recorder.wait(2));
    EXPECT_EQ(controller->serviceInfo(), later);
}

TEST_F(ClientCallsTest, ServiceInfoIsStoredWithoutADelegateCallWhenTheDelegateDoesNotAnswer)
{
    const auto controller = startedController();
    const auto silent = std::make_shared<SilentDelegate>();
    controller->setDelegate(silent);
    const auto reported = info(1);
    service().announceBroadcastServiceInfo(reported);
    settle();
    EXPECT_EQ(controller->serviceInfo(), reported);
}

TEST_F(ClientCallsTest, ServiceInfoWithNoActiveControllerOnlyLogs)
{
    const auto controller = startedController();
    const auto delegate = std::make_shared<ServiceInfoDelegate>();
    controller->setDelegate(delegate);
    controller->pauseBroadcast();
    LogCapture log;
    service().announceBroadcastServiceInfo(info(5));
    settle();
    EXPECT_TRUE(log.contains("LMDaemonProxy: updateBroadcastServiceInfo:"));
    EXPECT_EQ(controller->serviceInfo(), nullptr);
    EXPECT_EQ(delegate->recorder.callCount(), 0U);
}

TEST_F(ClientCallsTest, AnAnnouncedStopReachesTheRecorderOnlyWhileRecording)
{
    const auto delegate = std::make_shared<RecordingDelegate>();
    LMScreenRecorder::sharedRecorder()->setDelegate(delegate);
    const auto serviceError = platform::Error::errorWithDomain("com.example.service", 7);
    LogCapture log;

    service().announceStop(serviceError, std::nullopt);
    settle();
    drainMainQueue();
    EXPECT_TRUE(log.contains("LMDaemonProxy: stopRecordingWithError:movieURL:"));
    EXPECT_TRUE(delegate->stops.empty());

    CallbackRecorder<ErrorRef> started;
    LMScreenRecorder::sharedRecorder()->startRecordingWithHandler(started.callback());
    ASSERT_TRUE(started.wait());
    service().announceStop(serviceError, std::nullopt);
    settle();
    drainMainQueue();
    ASSERT_EQ(delegate->stops.size(), 1U);
    EXPECT_EQ(delegate->stops.front().first, serviceError);
    EXPECT_FALSE(LMScreenRecorder::sharedRecorder()->isRecording());
}

TEST_F(ClientCallsTest, MalformedCallsFromTheServiceAreRefusedAndLogged)
{
    const auto controller = startedController();
    const auto delegate = std::make_shared<ServiceInfoDelegate>();
    controller->setDelegate(delegate);
    LogCapture log;
    service().sendMessage("updateBroadcastServiceInfo:", { platform::Value("not a dictionary") });
    service().sendMessage("updateBroadcastServiceInfo:", {});
    service().sendMessage("stopRecordingWithError:movieURL:", { platform::Value(3), platform::Value() });
    service().sendMessage("eraseEverything", {});
    settle();
    drainMainQueue();
    EXPECT_EQ(log.count("ServiceConnection: refused updateBroadcastServiceInfo: from com.lumora.recordingservice"), 2U);
    EXPECT_TRUE(log.contains("ServiceConnection: refused eraseEverything from com.lumora.recordingservice"));
    EXPECT_FALSE(log.contains("LMDaemonProxy: updateBroadcastServiceInfo:"));
    EXPECT_EQ(delegate->recorder.callCount(), 0U);
    EXPECT_TRUE(LMScreenRecorder::sharedRecorder()->isRecording());

    // Nothing delivered before is lost, and the connection still works.
    service().announceBroadcastServiceInfo(info(2));
    EXPECT_TRUE(delegate->recorder.wait());
}

} // namespace
} // namespace lumora::test
