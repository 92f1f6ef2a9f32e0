#include "recording/LMDaemonProxy.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Invocation.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/system/ServiceConnection.h"
#include "recording/LMExtensions.h"
#include "tests/harness/Harness.h"

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <random>

namespace lumora {
namespace {

using platform::DispatchQueue;
using platform::Invocation;
using platform::Log;
using platform::ServiceConnection;
using platform::URL;

std::string cannedMoviePath()
{
    return test::frameworkBundleDirectory() + "/srecorder.mp4";
}

TEST(LMDaemonProxy, SharedProxyIsOneObject)
{
    EXPECT_EQ(LMDaemonProxy::daemonProxy(), LMDaemonProxy::daemonProxy());
    EXPECT_EQ(LMDaemonProxy::daemonProxy()->connection(), nullptr);
}

TEST(LMDaemonProxy, StartAnswersBeforeReturningWithWhatWasAsked)
{
    const auto proxy = LMDaemonProxy::daemonProxy();
    for (const auto& [microphone, camera] : { std::pair { true, false }, std::pair { false, true } }) {
        int calls = 0;
        proxy
            ->startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
                { 7U }, { 640, 1136 }, microphone, camera, true, false,
                [&, microphone = microphone, camera = camera](
                    const platform::ErrorRef& error, bool micGranted, bool camGranted) {
                    ++calls;
                    EXPECT_EQ(error, nullptr);
                    EXPECT_EQ(micGranted, microphone);
                    EXPECT_EQ(camGranted, camera);
                });
        EXPECT_EQ(calls, 1);
    }
}

TEST(LMDaemonProxy, BothStopsAnswerEveryTimeWithTheCannedMovie)
{
    const auto proxy = LMDaemonProxy::daemonProxy();
    std::vector<std::optional<URL>> urls;
    const auto record = [&](const std::optional<URL>& url, const platform::ErrorRef& error) {
        EXPECT_EQ(error, nullptr);
        urls.push_back(url);
    };
    proxy->stopRecordingWithHandler(record);
    proxy->stopRecordingWithHandler(record);
    proxy->stopRecordingWithStartClipDuration_endClipDuration_handler(1.5, 2.5, record);
    ASSERT_EQ(urls.size(), 3U);
    for (const auto& url : urls) {
        ASSERT_TRUE(url.has_value());
        EXPECT_TRUE(url->isFileURL());
        EXPECT_EQ(url->path(), cannedMoviePath());
    }
}

TEST(LMDaemonProxy, CannedMovieIsAnMP4WithVideoAndAudio)
{
    std::ifstream file(cannedMoviePath(), std::ios::binary);
    ASSERT_TRUE(file);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    ASSERT_GT(bytes.size(), 1024U);
    EXPECT_EQ(bytes.substr(4, 4), "ftyp");
    EXPECT_NE(bytes.find("moov"), std::string::npos);
    EXPECT_NE(bytes.find("vide"), std::string::npos);
    EXPECT_NE(bytes.find("soun"), std::string::npos);
}

TEST(LMDaemonProxy, DiscardNeverAnswersAndOtherRequestsDoNothing)
{
    const auto proxy = LMDaemonProxy::daemonProxy();
    bool discarded = false;
    bool setUp = false;
    proxy->discardRecordingWithHandler([&] { discarded = true; });
    proxy->setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        "host", "extension", {}, nullptr, [&](const platform::ErrorRef& error) { setUp = error == nullptr; });
    proxy->pauseRecording();
    proxy->resumeRecordingWithWindowLayerContextID(3);
    proxy->setMicrophoneEnabled(true);
    proxy->clientDidBecomeActiveWithBundleID("com.example");
    proxy->clientDidResignActiveWithBundleID("com.example");
    test::drainMainQueue();
    EXPECT_FALSE(discarded);
    EXPECT_TRUE(setUp);
}

TEST(LMDaemonProxy, StopsAnswerWithNoURLAndNoErrorWhenTheMovieIsMissing)
{
    // A copy of the framework bundle without the movie, in a folder of this
    // test's own, mounted where the framework looks for its bundle.
    const auto copy
        = std::filesystem::temp_directory_path() / ("lumora-no-movie-" + std::to_string(std::random_device()()));
    std::filesystem::copy(test::frameworkBundleDirectory(), copy, std::filesystem::copy_options::recursive);
    std::filesystem::remove(copy / "srecorder.mp4");
    platform::host::SimulatedDevice::shared().mountDirectory(std::string(LMExtensions::FrameworkBundlePath), copy);
    const auto framework = LMExtensions::_lmFrameworkBundle();
    const bool ownCopy = framework && framework->bundlePath() == copy.string();

    int calls = 0;
    if (ownCopy) {
        LMDaemonProxy::daemonProxy()->stopRecordingWithHandler(
            [&](const std::optional<URL>& url, const platform::ErrorRef& error) {
                ++calls;
                EXPECT_EQ(url, std::nullopt);
                EXPECT_EQ(error, nullptr);
            });
    }
    std::filesystem::remove_all(copy);
    if (!ownCopy) {
        GTEST_SKIP() << "the framework bundle was looked up earlier in this process";
    }
    EXPECT_EQ(calls, 1);
}

// An invocation as a real connection decodes it: its body records the thread
// it ran on and the target it ran against.
struct RecordedRun {
    std::mutex mutex;
    std::condition_variable changed;
    bool ran = false;
    bool onMainQueue = false;
    const DispatchQueue* queue = nullptr;
};

std::shared_ptr<Invocation> makeInvocation(const std::shared_ptr<RecordedRun>& run)
{
    auto target = std::make_shared<platform::Object>();
    return std::make_shared<Invocation>(target, "reply:", std::vector<platform::Value> {},
        [run](const platform::ObjectRef& /*target*/, const std::vector<platform::Value>&) {
            std::lock_guard lock(run->mutex);
            run->ran = true;
            run->onMainQueue = platform::MainQueue::isCurrent();
            run->queue = DispatchQueue::current();
            run->changed.notify_all();
        });
}

// A service connection whose delegate is the shared proxy, and one decoded
// invocation to hand it.
class LMDaemonProxyConnection : public ::testing::Test {
protected:
    test::LogCapture log;
    std::shared_ptr<ServiceConnection> connection = std::make_shared<ServiceConnection>("com.lumora.recording-service");
    std::shared_ptr<RecordedRun> run = std::make_shared<RecordedRun>();
    std::shared_ptr<Invocation> invocation = makeInvocation(run);

    void SetUp() override { connection->setDelegate(LMDaemonProxy::daemonProxy()); }
};

TEST_F(LMDaemonProxyConnection, RepliesArePerformedLaterOnTheMainQueue)
{

    connection->receiveInvocation(invocation, true);
    ASSERT_TRUE(test::runUntil([&] { return invocation->target() == Invocation::nullPlaceholder(); }));
    EXPECT_TRUE(run->ran);
    EXPECT_TRUE(run->onMainQueue);
    EXPECT_TRUE(invocation->argumentsRetained());
    EXPECT_EQ(log.texts(),
        (std::vector<std::string> {
            "LMDaemonProxy: connection: handleInvocation:",
            "LMDaemonProxy: connection: handleInvocation: recieved reply for invocation",
        }));
}

TEST_F(LMDaemonProxyConnection, IncomingCallsArePerformedAtOnceOnTheConnectionsThread)
{

    connection->receiveInvocation(invocation, false);
    // Nothing drains the MainQueue here: the call must not wait for it.
    {
        std::unique_lock lock(run->mutex);
        ASSERT_TRUE(run->changed.wait_for(lock, std::chrono::seconds(5), [&] { return run->ran; }));
        EXPECT_FALSE(run->onMainQueue);
        EXPECT_EQ(run->queue, &connection->queue());
    }
    EXPECT_TRUE(test::runUntil([&] { return invocation->target() == Invocation::nullPlaceholder(); }));
    EXPECT_TRUE(log.contains("LMDaemonProxy: connection: handleInvocation: did not recieve reply for invocation"));
    EXPECT_FALSE(invocation->argumentsRetained());
}

TEST(Invocation, RetainingKeepsObjectArgumentsAlive)
{
    auto kept = std::make_shared<platform::Object>();
    auto dropped = std::make_shared<platform::Object>();
    Invocation retained(nullptr, "a:", { platform::Value(kept) }, {});
    Invocation unretained(nullptr, "a:", { platform::Value(dropped) }, {});
    retained.retainArguments();
    const auto* keptAddress = kept.get();
    kept.reset();
    dropped.reset();
    EXPECT_EQ(retained.arguments().at(0).object().get(), keptAddress);
    EXPECT_TRUE(unretained.arguments().at(0).isNull());
}

} // namespace
} // namespace lumora
