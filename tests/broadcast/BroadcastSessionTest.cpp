#include "platform/host/lab/BroadcastSession.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/lab/BroadcastService.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <gtest/gtest.h>

#include <atomic>

namespace lumora {
namespace {

using platform::Value;

platform::DictionaryRef dictionary(std::initializer_list<std::pair<const std::string, Value>> entries)
{
    return std::make_shared<const platform::Dictionary>(entries);
}
using platform::host::BroadcastService;
using platform::host::BroadcastSession;
using platform::host::SimulatedDevice;
using platform::host::SimulatedRecordingService;

struct Heard {
    std::atomic<int> started { 0 };
    std::atomic<int> paused { 0 };
    std::atomic<int> resumed { 0 };
    std::atomic<int> finished { 0 };
    std::atomic<int> samples { 0 };
};

class CountingHandler final : public LMBroadcastSampleHandler {
public:
    explicit CountingHandler(std::shared_ptr<Heard> heard) : heard_(std::move(heard)) { }
    void broadcastStartedWithSetupInfo(const platform::DictionaryRef& /*setupInfo*/) override { ++heard_->started; }
    void broadcastPaused() override { ++heard_->paused; }
    void broadcastResumed() override
    {
        updateServiceInfo(dictionary({ { "viewers", Value(std::int64_t { 3 }) } }));
        ++heard_->resumed;
    }
    void broadcastFinished() override { ++heard_->finished; }
    void processSampleBuffer_withType(
        const std::shared_ptr<platform::SampleBuffer>& /*sample*/, std::int64_t /*type*/) override
    {
        ++heard_->samples;
    }

private:
    std::shared_ptr<Heard> heard_;
};

class BroadcastSessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto& device = SimulatedDevice::shared();
        device.screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 2);
        BroadcastService {
            "com.example.session.setup",
            [](const platform::host::ExtensionRequestSide& side) {
                LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(side.context,
                    platform::URL::URLWithString("rtmp://live.example/session"),
                    std::make_shared<LMBroadcastConfiguration>(), dictionary({ { "room", Value("a") } }));
                return std::make_shared<platform::ViewController>();
            },
            std::nullopt,
            "com.example.session.upload",
            SimulatedRecordingService::UploadKind::SampleBuffer,
            [heard = heard_] { return std::make_shared<CountingHandler>(heard); },
        }
            .install();
    }
    void TearDown() override
    {
        LMScreenRecorder::sharedRecorder()->setDelegate(nullptr);
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        EXPECT_TRUE(test::runPendingDeliveries());
        test::prepareDevice();
    }

    std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
};

TEST_F(BroadcastSessionTest, GoesLiveThroughThePickerRunsOnDeviceTimeAndFinishes)
{
    const auto session = BroadcastSession::make();
    ASSERT_EQ(session->goLive("com.example.session.setup", true), nullptr);
    ASSERT_NE(session->controller(), nullptr);
    EXPECT_TRUE(session->controller()->isBroadcasting());
    session->run(1.0);
    session->pause();
    session->run(1.0); // paused: nothing is sent
    session->resume();
    session->run(0.5);
    EXPECT_EQ(session->finish(), nullptr);
    ASSERT_TRUE(session->waitForDeliveries());

    EXPECT_EQ(heard_->started, 1);
    EXPECT_EQ(heard_->paused, 1);
    EXPECT_EQ(heard_->resumed, 1);
    EXPECT_EQ(heard_->finished, 1);
    // Application and microphone audio every payload interval of live time.
    const auto live = static_cast<int>(1.5 / SimulatedRecordingService::PayloadInterval + 0.5);
    EXPECT_EQ(heard_->samples, 2 * live);
    ASSERT_EQ(session->serviceInfo().size(), 1U);
    EXPECT_EQ(session->serviceInfo().front()->valueForKey("viewers"), Value(std::int64_t { 3 }));
    EXPECT_FALSE(session->stoppedBySystem());
}

TEST_F(BroadcastSessionTest, SaysWhyItCouldNotGoLive)
{
    const auto session = BroadcastSession::make();
    const auto error = session->goLive("com.example.not-installed");
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain(), BroadcastSession::ErrorDomain);
    EXPECT_EQ(error->code(), BroadcastSession::NoPickerErrorCode);
    EXPECT_EQ(session->controller(), nullptr);
    EXPECT_NE(session->finish(), nullptr);
}

} // namespace
} // namespace lumora
