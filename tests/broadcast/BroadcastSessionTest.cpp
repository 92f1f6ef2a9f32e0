#include "platform/host/lab/BroadcastSession.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/formats/PropertyList.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/lab/BroadcastService.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

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

/// Nests a value `depth` dictionaries deep.
Value nested(int depth)
{
    Value value(std::int64_t { 1 });
    for (int level = 0; level < depth; ++level) {
        value = Value(dictionary({ { "inner", value } }));
    }
    return value;
}

class CountingHandler final : public LMBroadcastSampleHandler {
public:
    explicit CountingHandler(std::shared_ptr<Heard> heard, int infoDepth = 1)
        : heard_(std::move(heard)), infoDepth_(infoDepth)
    { }
    void broadcastStartedWithSetupInfo(const platform::DictionaryRef& /*setupInfo*/) override { ++heard_->started; }
    void broadcastPaused() override { ++heard_->paused; }
    void broadcastResumed() override
    {
        updateServiceInfo(
            dictionary({ { "viewers", Value(std::int64_t { 3 }) }, { "detail", nested(infoDepth_ - 1) } }));
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
    int infoDepth_;
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

    // Replaces the service's upload extension with `factory`.
    static void installUpload(SimulatedRecordingService::UploadHandlerFactory factory)
    {
        SimulatedDevice::shared().recordingService().installUploadExtension(
            "com.example.session.upload", SimulatedRecordingService::UploadKind::SampleBuffer, std::move(factory));
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

// An upload extension whose code fails, or whose answers are too deep to
// decode, costs it its requests and its service information, never the app.
TEST_F(BroadcastSessionTest, AnExtensionThatCannotMakeAHandlerOrNestsItsInformationTooDeepIsContained)
{
    const test::LogCapture log;
    auto calls = std::make_shared<std::atomic<int>>(0);
    installUpload([heard = heard_, calls]() -> std::shared_ptr<platform::ExtensionRequestHandling> {
        // Every other request: throws, then makes nothing.
        const int call = (*calls)++;
        if (call % 3 == 1) {
            throw std::runtime_error("no handler today");
        }
        if (call % 3 == 2) {
            return nullptr;
        }
        return std::make_shared<CountingHandler>(heard, platform::PropertyList::MaximumDepth + 1);
    });
    const auto session = BroadcastSession::make();
    ASSERT_EQ(session->goLive("com.example.session.setup"), nullptr);
    session->run(0.6);
    session->pause();
    session->resume();
    EXPECT_EQ(session->finish(), nullptr);

    EXPECT_GT(heard_->samples, 0);
    EXPECT_TRUE(session->serviceInfo().empty());
    EXPECT_FALSE(session->stoppedBySystem());
    EXPECT_GE(log.count("Recording service: the upload extension made no handler for its request"), 2U);
    EXPECT_TRUE(log.contains("Extension: making an upload handler threw (no handler today); the request fails as if "
                             "the extension had crashed"));

    // The same information a level shallower arrives.
    installUpload(
        [heard = heard_] { return std::make_shared<CountingHandler>(heard, platform::PropertyList::MaximumDepth); });
    ASSERT_EQ(session->goLive("com.example.session.setup"), nullptr);
    session->pause();
    session->resume();
    EXPECT_EQ(session->finish(), nullptr);
    EXPECT_EQ(session->serviceInfo().size(), 1U);
}

} // namespace
} // namespace lumora
