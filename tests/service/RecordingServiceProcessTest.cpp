#include "platform/host/services/RecordingServiceProcess.h"
#include "recording/LMDaemonProxy.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::URL;
using namespace std::chrono_literals;

constexpr const char* kStopMessage = "stopRecordingWithHandler:";

/// The device runs the recording service as a process of its own, and the
/// application reaches it over the connection the platform offers.
class ServiceProcessTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        service().setRunsInOwnProcess(true);
        recorder = LMScreenRecorder::sharedRecorder();
        delegate = std::make_shared<RecordingDelegate>();
        recorder->setDelegate(delegate);
    }

    void TearDown() override
    {
        RecorderTest::TearDown();
        // The proxy outlives the test: it has heard every service it reached go
        // (one interruption for each process started) before the next test starts.
        process().kill();
        EXPECT_TRUE(runUntil([this] {
            const auto texts = serviceLog.texts();
            return static_cast<std::size_t>(std::ranges::count_if(texts, [](const std::string& text) {
                return text.starts_with("ServiceConnection: com.lumora.recordingservice interrupted");
            })) == process().launches();
        }));
        process().reset();
    }

    static platform::host::RecordingServiceProcess& process() { return service().process(); }

    /// Starts with the microphone and waits for the answer.
    ErrorRef start()
    {
        CallbackRecorder<ErrorRef> started;
        recorder->startRecordingWithMicrophoneEnabled_handler(true, started.callback());
        EXPECT_TRUE(started.wait());
        EXPECT_TRUE(runPendingDeliveries());
        EXPECT_EQ(started.callCount(), 1U);
        return started.callCount() > 0 ? std::get<0>(started.call()) : nullptr;
    }

    /// Stops and waits for the movie (or the error).
    std::tuple<std::optional<URL>, ErrorRef> stop()
    {
        CallbackRecorder<std::optional<URL>, ErrorRef> stopped;
        recorder->stopRecordingWithVideoURLHandler(stopped.callback());
        EXPECT_TRUE(stopped.wait());
        EXPECT_TRUE(runPendingDeliveries());
        EXPECT_EQ(stopped.callCount(), 1U);
        return stopped.callCount() > 0 ? stopped.call() : std::tuple<std::optional<URL>, ErrorRef> {};
    }

    /// Waits until the proxy has handled an interruption.
    static bool interruptionHandled(const LogCapture& log)
    {
        return runUntil([&log] { return log.contains("LMDaemonProxy: stopRecordingWithError:movieURL:"); });
    }

    std::shared_ptr<LMScreenRecorder> recorder;
    std::shared_ptr<RecordingDelegate> delegate;
    LogCapture serviceLog;
};

TEST_F(ServiceProcessTest, RecordsThroughTheServiceProcessAndHandsBackItsMovie)
{
    EXPECT_EQ(start(), nullptr);
    EXPECT_TRUE(recorder->isRecording());
    EXPECT_TRUE(recorder->hasUserConsentForMicrophone());
    const auto connection = LMDaemonProxy::daemonProxy()->connection();
    ASSERT_NE(connection, nullptr);
    EXPECT_TRUE(connection->carriesRequests());
    // The service is a process of its own, and the local stand-in heard nothing.
    ASSERT_TRUE(process().pid().has_value());
    EXPECT_NE(*process().pid(), ::getpid());
    EXPECT_TRUE(service().requests().empty());

    const auto [movieURL, error] = stop();
    EXPECT_EQ(error, nullptr);
    ASSERT_TRUE(movieURL.has_value());
    EXPECT_TRUE(movieURL->path().starts_with(platform::host::RecordingServiceProcess::MoviesDirectory));
    const auto hostPath = device().resolvePath(movieURL->path());
    EXPECT_TRUE(std::filesystem::is_regular_file(hostPath));
    EXPECT_EQ(std::filesystem::file_size(hostPath),
        std::filesystem::file_size(frameworkBundleDirectory() + "/srecorder.mp4"));
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(process().launches(), 1U);
}

TEST_F(ServiceProcessTest, KilledMidRecordingTheAppHearsTheStopWithFailedDuringRecordingAndTheNextRecordingWorks)
{
    ASSERT_EQ(start(), nullptr);
    LogCapture log;
    ASSERT_TRUE(process().kill());

    ASSERT_TRUE(interruptionHandled(log));
    ASSERT_TRUE(runPendingDeliveries());
    ASSERT_EQ(delegate->stops.size(), 1U);
    const auto& [error, hasPreview] = delegate->stops.front();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5804);
    EXPECT_EQ(error->localizedDescription(), "Failed during recording");
    EXPECT_FALSE(hasPreview);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_FALSE(recorder->isPaused());

    // The device starts the service again for the next recording.
    EXPECT_EQ(start(), nullptr);
    EXPECT_TRUE(recorder->isRecording());
    const auto [movieURL, stopError] = stop();
    EXPECT_EQ(stopError, nullptr);
    EXPECT_TRUE(movieURL.has_value());
    EXPECT_EQ(process().launches(), 2U);
    EXPECT_EQ(delegate->stops.size(), 1U);
}

TEST_F(ServiceProcessTest, KilledBeforeAnsweringAStartTheStartFailsOnce)
{
    process().stallBeforeReplyingTo(kStartMessage);
    CallbackRecorder<ErrorRef> started;
    recorder->startRecordingWithMicrophoneEnabled_handler(true, started.callback());
    ASSERT_TRUE(process().waitUntilStalled(5s));
    EXPECT_EQ(started.callCount(), 0U);
    ASSERT_TRUE(process().kill());

    ASSERT_TRUE(started.wait());
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_EQ(started.callCount(), 1U);
    EXPECT_TRUE(started.calledOnMainQueue());
    const auto error = std::get<0>(started.call());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5803);
    EXPECT_EQ(error->localizedDescription(), "Recording failed to start");
    EXPECT_FALSE(recorder->isRecording());
    // The start's failure is the one report: the delegate hears it as a failed start only.
    ASSERT_EQ(delegate->stops.size(), 1U);
    EXPECT_EQ(delegate->stops.front().first, error);
}

TEST_F(ServiceProcessTest, KilledBeforeAnsweringAStopTheStopFailsOnceAndTheDelegateHearsNothingMore)
{
    ASSERT_EQ(start(), nullptr);
    process().stallBeforeReplyingTo(kStopMessage);
    // The stall applies to a process started from now on: kill the running
    // one and start again.
    LogCapture log;
    ASSERT_TRUE(process().kill());
    ASSERT_TRUE(interruptionHandled(log));
    // The interruption's stop reaches the delegate through the MainQueue.
    ASSERT_TRUE(runUntil([this] { return delegate->stops.size() == 1; }));
    ASSERT_TRUE(runPendingDeliveries());
    ASSERT_EQ(delegate->stops.size(), 1U);
    ASSERT_EQ(start(), nullptr);

    CallbackRecorder<std::shared_ptr<LMPreviewViewController>, ErrorRef> stopped;
    recorder->stopRecordingWithHandler(stopped.callback());
    ASSERT_TRUE(process().waitUntilStalled(5s));
    EXPECT_EQ(stopped.callCount(), 0U);
    ASSERT_TRUE(process().kill());

    ASSERT_TRUE(stopped.wait());
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_EQ(stopped.callCount(), 1U);
    const auto& [preview, error] = stopped.call();
    EXPECT_EQ(preview, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5804);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(delegate->stops.size(), 1U);
}

TEST_F(ServiceProcessTest, AStopWhoseMovieDoesNotFitTheServicesQuotaFailsWithInsufficientStorage)
{
    const auto movieSize = std::filesystem::file_size(frameworkBundleDirectory() + "/srecorder.mp4");
    const auto folder = device().resolvePath(std::string(platform::host::RecordingServiceProcess::MoviesDirectory));
    const auto folderSize = [&folder] {
        std::uintmax_t used = 0;
        std::error_code ignored;
        for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
            used += entry.file_size(ignored);
        }
        return used;
    };
    // Room for one movie and a half.
    process().setDiskQuota(folderSize() + movieSize + movieSize / 2);

    ASSERT_EQ(start(), nullptr);
    const auto [kept, firstError] = stop();
    ASSERT_EQ(firstError, nullptr);
    ASSERT_TRUE(kept.has_value());

    ASSERT_EQ(start(), nullptr);
    const auto usedBefore = folderSize();
    const auto [movieURL, error] = stop();
    EXPECT_FALSE(movieURL.has_value());
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5805);
    EXPECT_EQ(error->localizedDescription(), "Insufficient storage for recording");
    EXPECT_FALSE(recorder->isRecording());
    // The movie already there is kept, and nothing half-written is left beside it.
    EXPECT_TRUE(std::filesystem::is_regular_file(device().resolvePath(kept->path())));
    EXPECT_EQ(folderSize(), usedBefore);
}

TEST_F(ServiceProcessTest, AServiceThatMisbehavesIsDroppedAndTheWaitingStartFails)
{
    // Each stand-in for the service sends one bad message as it starts and
    // never answers the start.
    const std::vector<std::pair<std::string, std::string>> services {
        { "malformed-service.sh", "Connection com.lumora.recordingservice: a malformed message" },
        { "unsolicited-reply-service.sh",
            "ServiceConnection: a reply to a request never sent from com.lumora.recordingservice" },
        { "ill-typed-call-service.sh",
            "ServiceConnection: refused stopRecordingWithError:movieURL: from com.lumora.recordingservice" },
    };
    for (const auto& [program, logged] : services) {
        SCOPED_TRACE(program);
        process().setProgram(fixturesDirectory() + "/services/" + program);
        LogCapture log;
        CallbackRecorder<ErrorRef> started;
        recorder->startRecordingWithMicrophoneEnabled_handler(true, started.callback());
        ASSERT_TRUE(started.wait());
        ASSERT_TRUE(interruptionHandled(log));
        ASSERT_TRUE(runPendingDeliveries());
        EXPECT_EQ(started.callCount(), 1U);
        const auto error = std::get<0>(started.call());
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->code(), -5803);
        EXPECT_FALSE(recorder->isRecording());
        const auto errors = log.texts(platform::Log::Level::Error);
        EXPECT_TRUE(std::ranges::any_of(errors, [&logged](const std::string& text) {
            return text.starts_with(logged);
        })) << logged;
    }
}

} // namespace
} // namespace lumora::test
