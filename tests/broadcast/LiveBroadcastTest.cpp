#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/Extension.h"
#include "platform/host/SimulatedBroadcastPicker.h"
#include "recording/LMDaemonProxy.h"
#include "tests/recording/RecorderFixture.h"
#include "tests/upload/UploadTestSupport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedRecordingService;
using ::testing::ElementsAre;

constexpr const char* kSetupExtension = "com.example.caster.setup";
constexpr const char* kUploadExtension = "com.example.caster.upload";

/// What the application heard, in order, from any thread.
class Heard {
public:
    void add(std::string what)
    {
        std::lock_guard lock(mutex_);
        heard_.push_back(std::move(what));
    }
    std::vector<std::string> all() const
    {
        std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> heard_;
};

class PickerDelegate final : public LMBroadcastActivityViewControllerDelegate::
                                 BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    explicit PickerDelegate(std::shared_ptr<Heard> heard) : heard_(std::move(heard)) { }
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& controller, const ErrorRef& error) override
    {
        heard_->add("picker finished");
        recorder.callback()(controller, error);
    }
    CallbackRecorder<std::shared_ptr<LMBroadcastController>, ErrorRef> recorder;

private:
    std::shared_ptr<Heard> heard_;
};

class ControllerDelegate final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo {
public:
    explicit ControllerDelegate(std::shared_ptr<Heard> heard) : heard_(std::move(heard)) { }
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& /*controller*/, const DictionaryRef& serviceInfo) override
    {
        heard_->add(fmt::format("service info: {} viewers", serviceInfo->valueForKey("viewers").int64Value()));
        recorder.callback()(serviceInfo);
    }
    CallbackRecorder<DictionaryRef> recorder;

private:
    std::shared_ptr<Heard> heard_;
};

/// The service's upload extension: every request gets a handler of its own,
/// all telling one log; on resuming it reports its audience.
class CasterHandler final : public LMBroadcastSampleHandler {
public:
    explicit CasterHandler(std::shared_ptr<HookLog> log) : log_(std::move(log)) { }
    void broadcastStartedWithSetupInfo(const DictionaryRef& setupInfo) override { log_->record("started", setupInfo); }
    void broadcastPaused() override { log_->record("paused"); }
    void broadcastResumed() override
    {
        updateServiceInfo(dictionary({ { "viewers", Value(std::int64_t { 12 }) } }));
        log_->record("resumed");
    }
    void broadcastFinished() override { log_->record("finished"); }
    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        log_->record("sample", nullptr, sample, type);
    }

private:
    std::shared_ptr<HookLog> log_;
};

class LiveBroadcastTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        LMDaemonProxy::daemonProxy()->setConnection(service().clientConnection());
        installSetupExtension();
        service().installUploadExtension(kUploadExtension, SimulatedRecordingService::UploadKind::SampleBuffer,
            [log = hooks] { return std::make_shared<CasterHandler>(log); });
    }
    void TearDown() override
    {
        RecorderTest::TearDown();
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        // Lets the device's connections go while the platform's threads still run.
        prepareDevice();
    }

    // Completes its request at once with a URL, a configuration and setup information.
    static void installSetupExtension()
    {
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
        device().extensions().installExtension(
            kSetupExtension, attributes, [](const platform::host::ExtensionRequestSide& request) {
                LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(request.context,
                    platform::URL::URLWithString("rtmp://live.example/main"),
                    std::make_shared<LMBroadcastConfiguration>(), dictionary({ { "channel", Value("main") } }));
                return std::make_shared<platform::ViewController>();
            });
    }

    // Lets `count` payload intervals pass on the device clock.
    static void letPayloadIntervalsPass(int count)
    {
        for (int tick = 0; tick < count; ++tick) {
            device().advanceClock(SimulatedRecordingService::PayloadInterval);
            drainMainQueue();
        }
    }

    std::shared_ptr<HookLog> hooks = std::make_shared<HookLog>();
    std::shared_ptr<Heard> heard = std::make_shared<Heard>();
};

std::vector<std::string> hookNames(const std::vector<HookCall>& calls)
{
    std::vector<std::string> names;
    for (const auto& call : calls) {
        names.push_back(
            call.hook == "sample" ? (call.type == LMBroadcastSampleTypeAudioApp ? "app" : "mic") : call.hook);
    }
    return names;
}

TEST_F(LiveBroadcastTest, TheChosenServicesUploadExtensionReceivesTheBroadcastFromPickerToFinish)
{
    CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, ErrorRef> loaded;
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
    ASSERT_TRUE(loaded.wait());
    const auto picker = std::get<0>(loaded.call());
    ASSERT_NE(picker, nullptr);
    // The picker keeps the load's handler, and the recorder behind that
    // handler keeps the picker: break that cycle, which only the test makes.
    picker->setDidFinishHandler(nullptr);
    const auto pickerDelegate = std::make_shared<PickerDelegate>(heard);
    picker->setDelegate(pickerDelegate);
    ASSERT_TRUE(device().broadcastPicker().chooseService(kSetupExtension));
    ASSERT_TRUE(pickerDelegate->recorder.wait());
    const auto controller = std::get<0>(pickerDelegate->recorder.call());
    ASSERT_NE(controller, nullptr);
    const auto controllerDelegate = std::make_shared<ControllerDelegate>(heard);
    controller->setDelegate(controllerDelegate);

    LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
    CallbackRecorder<ErrorRef> started;
    controller->startBroadcastWithHandler([this, done = started.callback()](const ErrorRef& error) {
        heard->add("started");
        done(error);
    });
    ASSERT_TRUE(started.wait());
    EXPECT_EQ(std::get<0>(started.call()), nullptr);

    // Nothing but the start until the device clock moves.
    ASSERT_EQ(hooks->waitFor(1).size(), 1U);
    letPayloadIntervalsPass(2);
    ASSERT_EQ(hooks->waitFor(5).size(), 5U);
    controller->pauseBroadcast();
    letPayloadIntervalsPass(3); // paused: nothing is sent
    ASSERT_EQ(hooks->waitFor(6).size(), 6U);
    controller->resumeBroadcast();
    ASSERT_TRUE(controllerDelegate->recorder.wait());
    EXPECT_EQ(controller->serviceInfo(), std::get<0>(controllerDelegate->recorder.call()));
    letPayloadIntervalsPass(1);
    ASSERT_EQ(hooks->waitFor(9).size(), 9U);

    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler([this, done = finished.callback()](const ErrorRef& error) {
        heard->add("finished");
        done(error);
    });
    ASSERT_TRUE(finished.wait());
    const auto calls = hooks->waitFor(10);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_FALSE(service().isBroadcasting());

    EXPECT_THAT(hookNames(hooks->calls()),
        ElementsAre("started", "app", "mic", "app", "mic", "paused", "resumed", "app", "mic", "finished"));
    ASSERT_NE(calls[0].setupInfo, nullptr);
    EXPECT_EQ(calls[0].setupInfo->stringForKey("channel"), "main");
    // Each kind of audio runs on in time across the pause, a payload interval apiece.
    std::vector<double> appTimes;
    for (const auto& call : calls) {
        if (call.hook == "sample" && call.type == LMBroadcastSampleTypeAudioApp) {
            ASSERT_NE(call.sample, nullptr);
            appTimes.push_back(call.sample->presentationTimeStamp().seconds());
        }
    }
    EXPECT_THAT(appTimes, ElementsAre(0.0, 0.1, 0.2));
    EXPECT_THAT(heard->all(), ElementsAre("picker finished", "started", "service info: 12 viewers", "finished"));
}

} // namespace
} // namespace lumora::test
