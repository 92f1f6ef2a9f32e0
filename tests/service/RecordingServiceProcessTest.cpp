#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/graphics/Color.h"
#include "platform/host/media/CameraPicture.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/media/FrameRing.h"
#include "platform/ui/Screen.h"
#include "platform/ui/View.h"
#include "recording/LMDaemonProxy.h"
#include "tests/harness/MovieProbe.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <unistd.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::URL;
using namespace std::chrono_literals;

constexpr const char* kStopMessage = "stopRecordingWithHandler:";
constexpr MovieContents::Colour kRed { 255, 0, 0 };
constexpr MovieContents::Colour kBlue { 0, 0, 255 };
constexpr MovieContents::Colour kGreen { 0, 255, 0 };
constexpr double kFrame = 1.0 / platform::host::ScreenCapture::FramesPerSecond;

// The colour of the frame shown at `time`.
MovieContents::Colour colourAt(const MovieContents& movie, double time)
{
    const auto frame = std::find_if(movie.frames.rbegin(), movie.frames.rend(),
        [time](const MovieContents::Frame& candidate) { return candidate.time <= time + 1e-6; });
    return frame == movie.frames.rend() ? MovieContents::Colour { -100, -100, -100 } : frame->centre;
}

// The amplitude of the microphone's tone in the tenth of a second from `time` on.
double microphoneAt(const MovieContents& movie, double time)
{
    const auto rate = movie.audioSampleRate;
    return toneComponent(movie.audioSamples, static_cast<std::size_t>(time * rate), static_cast<std::size_t>(rate / 10),
        platform::host::DeviceAudio::MicrophoneFrequency, rate)
        .amplitude;
}

// The movies in the service's folder, by host path.
std::vector<std::string> moviesInServiceFolder()
{
    std::vector<std::string> movies;
    std::error_code ignored;
    const auto folder = platform::host::SimulatedDevice::shared().resolvePath(
        std::string(platform::host::RecordingServiceProcess::MoviesDirectory));
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (entry.path().extension() == ".mp4") {
            movies.push_back(entry.path().string());
        }
    }
    std::ranges::sort(movies);
    return movies;
}

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
        // The capture's timers are pending on the held clock: only the MainQueue is drained.
        drainMainQueue();
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

    /// A small screen showing one view of a solid colour that the test changes.
    void useSmallScreen()
    {
        device().screens().setMainScreen({ { 0, 0 }, { 96, 64 } }, 1);
        canvas = std::make_shared<platform::View>(platform::Rect { { 0, 0 }, { 320, 568 } });
        appWindow->addSubview(canvas);
        paint(kRed);
    }

    void paint(const MovieContents::Colour& colour) const
    {
        canvas->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(
            colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, 1));
    }

    /// Lets `seconds` pass on the device clock a frame at a time, each picture
    /// handed to the service before the next is taken.
    static void wait(double seconds)
    {
        const auto capture = process().capture();
        for (double waited = 0; waited < seconds - 1e-9; waited += kFrame) {
            device().advanceClock(std::min(kFrame, seconds - waited));
            drainMainQueue();
            ASSERT_TRUE(runUntil([&capture] { return !capture || capture->framesInFlight() == 0; }));
        }
    }

    /// Waits until the proxy has handled an interruption.
    static bool interruptionHandled(const LogCapture& log)
    {
        return runUntil([&log] { return log.contains("LMDaemonProxy: stopRecordingWithError:movieURL:"); });
    }

    std::shared_ptr<LMScreenRecorder> recorder;
    std::shared_ptr<RecordingDelegate> delegate;
    std::shared_ptr<platform::View> canvas;
    LogCapture serviceLog;
};

TEST_F(ServiceProcessTest, RecordsTheScreenThroughTheServiceProcessIntoAMovieWithoutItsPausesAndWithTheMicrophoneMuted)
{
    useSmallScreen();
    EXPECT_EQ(start(), nullptr);
    EXPECT_TRUE(recorder->isRecording());
    const auto connection = LMDaemonProxy::daemonProxy()->connection();
    ASSERT_NE(connection, nullptr);
    EXPECT_TRUE(connection->carriesRequests());
    // The service is a process of its own, and the local stand-in heard nothing.
    ASSERT_TRUE(process().pid().has_value());
    EXPECT_NE(*process().pid(), ::getpid());
    EXPECT_TRUE(service().requests().empty());
    const auto capture = process().capture();
    ASSERT_NE(capture, nullptr);
    ASSERT_NE(capture->screenCapture(), nullptr);

    wait(1);
    paint(kBlue);
    wait(1);
    // Nothing is captured while the recording is paused.
    recorder->pauseRecording();
    ASSERT_TRUE(runUntil([&capture] { return capture->screenCapture()->isPaused(); }));
    paint(kRed);
    device().advanceClock(5);
    drainMainQueue();
    recorder->resumeRecording();
    ASSERT_TRUE(runUntil([&capture] { return !capture->screenCapture()->isPaused(); }));
    paint(kGreen);
    wait(0.5);
    recorder->setMicrophoneEnabled(false);
    ASSERT_TRUE(runUntil([&capture] { return capture->isMicrophoneMuted(); }));
    wait(0.5);
    const auto [movieURL, error] = stop();
    EXPECT_EQ(error, nullptr);
    EXPECT_FALSE(recorder->isRecording());
    EXPECT_EQ(capture->framesDropped(), 0U);

    ASSERT_TRUE(movieURL.has_value());
    EXPECT_TRUE(movieURL->path().starts_with(platform::host::RecordingServiceProcess::MoviesDirectory));
    const auto movie = decodeMovie(device().resolvePath(movieURL->path()));
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->width, 96);
    EXPECT_EQ(movie->height, 64);
    EXPECT_EQ(movie->videoCodec, "h264");
    ASSERT_FALSE(movie->frames.empty());
    // Three seconds of pictures (the last one shown at the stop), give or take a frame.
    EXPECT_NEAR(movie->frames.back().time - movie->frames.front().time + kFrame, 3, kFrame + 1e-3);
    EXPECT_NEAR(movie->duration, 3, 0.1);
    EXPECT_TRUE(closeColours(movie->frames.front().centre, kRed));
    EXPECT_TRUE(closeColours(colourAt(*movie, 1.5), kBlue));
    EXPECT_TRUE(closeColours(movie->frames.back().centre, kGreen));
    // The application's tune throughout, with the microphone's tone until it was muted.
    ASSERT_TRUE(movie->hasAudio);
    EXPECT_NEAR(movie->audioDuration, 3, 0.05);
    for (const double time : { 0.2, 1.2, 2.2 }) {
        EXPECT_NEAR(microphoneAt(*movie, time), platform::host::DeviceAudio::MicrophoneLevel, 0.05) << time;
    }
    for (const double time : { 2.6, 2.85 }) {
        EXPECT_LT(microphoneAt(*movie, time), 0.02) << time;
    }
    EXPECT_EQ(process().launches(), 1U);
}

// The camera's picture, shown by the application where the recorder's preview
// sits, is in the movie the service's process writes; without the camera, the
// same place shows the application.
TEST_F(ServiceProcessTest, TheCameraPictureIsInTheServicesMovieWhenGranted)
{
    // Where the preview sits, found by the first recording and looked at in both.
    platform::Rect frame;
    const auto faceShare = [this, &frame](bool camera) {
        CallbackRecorder<ErrorRef> started;
        recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
            false, camera, false, started.callback());
        EXPECT_TRUE(started.wait());
        drainMainQueue();
        // The application shows the preview when the camera was granted.
        const auto preview = camera ? recorder->cameraPreviewView() : nullptr;
        EXPECT_EQ(preview != nullptr, camera);
        if (preview) {
            appWindow->addSubview(preview);
            frame = preview->frame();
        }
        wait(1);
        const auto [movieURL, error] = stop();
        EXPECT_EQ(error, nullptr);
        if (preview) {
            preview->removeFromSuperview();
        }
        const auto picture = movieURL ? decodePictureAt(device().resolvePath(movieURL->path()), 0.5) : std::nullopt;
        EXPECT_TRUE(picture.has_value());
        if (!picture) {
            return 0.0;
        }
        const double scale = picture->width / platform::Screen::mainScreen()->bounds().size.width;
        const platform::host::CameraPicture::Colour face = platform::host::CameraPicture::Face;
        const MovieContents::Colour yellow { static_cast<int>(face.red * 255), static_cast<int>(face.green * 255),
            static_cast<int>(face.blue * 255) };
        int inside = 0;
        int yellowPixels = 0;
        for (int y = static_cast<int>(frame.origin.y * scale); y < (frame.origin.y + frame.size.height) * scale; ++y) {
            for (int x = static_cast<int>(frame.origin.x * scale); x < (frame.origin.x + frame.size.width) * scale;
                 ++x) {
                if (const auto pixel = picture->pixelAt(x, y)) {
                    ++inside;
                    yellowPixels += closeColours(*pixel, yellow, 40) ? 1 : 0;
                }
            }
        }
        return inside == 0 ? 0.0 : static_cast<double>(yellowPixels) / inside;
    };
    // The face fills about a quarter of the picture, which the preview fits.
    EXPECT_GT(faceShare(true), 0.1);
    EXPECT_LT(faceShare(false), 0.01);
}

TEST_F(ServiceProcessTest, AServiceThatHoldsItsFrameSlotsCostsDroppedPicturesNotMemoryAndKeepsItsSound)
{
    useSmallScreen();
    process().holdFrameSlots(true);
    ASSERT_EQ(start(), nullptr);
    const auto capture = process().capture();
    ASSERT_NE(capture, nullptr);
    // Every step crosses one frame slot, so every step takes one picture.
    constexpr int kTaken = 30;
    device().advanceClock(kFrame / 2);
    for (int frame = 1; frame < kTaken; ++frame) {
        device().advanceClock(kFrame);
        drainMainQueue();
    }
    EXPECT_EQ(capture->framesInFlight(), platform::host::FrameRing::DefaultSlots);
    EXPECT_EQ(capture->framesSent(), static_cast<std::uint64_t>(platform::host::FrameRing::DefaultSlots));
    EXPECT_EQ(capture->framesDropped(), static_cast<std::uint64_t>(kTaken - platform::host::FrameRing::DefaultSlots));
    device().advanceClock(kFrame);
    const auto [movieURL, error] = stop();
    ASSERT_EQ(error, nullptr);
    ASSERT_TRUE(movieURL.has_value());
    const auto movie = decodeMovie(device().resolvePath(movieURL->path()));
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->frames.size(), static_cast<std::size_t>(platform::host::FrameRing::DefaultSlots));
    EXPECT_NEAR(movie->audioDuration, (kTaken + 0.5) * kFrame, 0.05);
}

TEST_F(ServiceProcessTest, KilledMidRecordingTheAppHearsTheStopWithFailedDuringRecordingAndTheNextRecordingWorks)
{
    useSmallScreen();
    const auto before = moviesInServiceFolder();
    ASSERT_EQ(start(), nullptr);
    wait(1);
    paint(kBlue);
    wait(1.5);
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
    // The movie recorded so far plays up to its last whole fragment.
    auto partial = moviesInServiceFolder();
    std::erase_if(partial, [&before](const std::string& movie) { return std::ranges::count(before, movie) > 0; });
    ASSERT_EQ(partial.size(), 1U);
    const auto killed = decodeMovie(partial.front());
    ASSERT_TRUE(killed);
    ASSERT_GE(killed->frames.size(), 2U);
    EXPECT_GE(killed->frames.back().time, 1.5);
    EXPECT_TRUE(closeColours(killed->frames.front().centre, kRed));
    EXPECT_TRUE(closeColours(killed->frames.back().centre, kBlue));

    // The device starts the service again for the next recording.
    EXPECT_EQ(start(), nullptr);
    EXPECT_TRUE(recorder->isRecording());
    paint(kGreen);
    wait(0.5);
    const auto [movieURL, stopError] = stop();
    EXPECT_EQ(stopError, nullptr);
    ASSERT_TRUE(movieURL.has_value());
    const auto next = decodeMovie(device().resolvePath(movieURL->path()));
    ASSERT_TRUE(next);
    EXPECT_NEAR(next->frames.back().time - next->frames.front().time + kFrame, 0.5, kFrame + 1e-3);
    EXPECT_TRUE(closeColours(next->frames.back().centre, kGreen));
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

TEST_F(ServiceProcessTest, AServiceWhoseDiskFillsDuringARecordingStopsItKeepsTheMovieSoFarAndTellsTheApp)
{
    useSmallScreen();
    const auto folderSize = [] {
        std::uintmax_t used = 0;
        for (const auto& movie : moviesInServiceFolder()) {
            used += std::filesystem::file_size(movie);
        }
        return used;
    };
    constexpr std::uint64_t kRoom = 24 * 1024;
    process().setDiskQuota(folderSize() + kRoom);
    ASSERT_EQ(start(), nullptr);
    LogCapture log;
    // A picture that changes with every frame fills the movie fast, until the
    // service has the device stop capturing.
    const auto capture = process().capture();
    for (int frames = 0; capture->screenCapture() != nullptr && frames < 30 * 60; ++frames) {
        paint({ (frames * 37) % 256, (frames * 91) % 256, (frames * 13) % 256 });
        wait(kFrame);
    }
    // The service's call is performed on the connection's queue: once the
    // proxy has logged it, a task queued behind it sees its effects.
    ASSERT_TRUE(runUntil([&log] { return log.contains("LMDaemonProxy: stopRecordingWithError:movieURL:"); }));
    std::atomic<bool> settled { false };
    LMDaemonProxy::daemonProxy()->connection()->queue().async([&settled] { settled = true; });
    ASSERT_TRUE(runUntil([&settled] { return settled.load(); }));
    ASSERT_TRUE(runPendingDeliveries());
    ASSERT_EQ(delegate->stops.size(), 1U);
    const auto& [error, hasPreview] = delegate->stops.front();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5805);
    EXPECT_EQ(error->localizedDescription(), "Insufficient storage for recording");
    EXPECT_FALSE(recorder->isRecording());
    // The movie so far is kept, within the quota, and plays.
    const auto movies = moviesInServiceFolder();
    ASSERT_EQ(movies.size(), 1U);
    EXPECT_LE(folderSize(), kRoom);
    const auto kept = decodeMovie(movies.front());
    ASSERT_TRUE(kept);
    EXPECT_GE(kept->frames.size(), static_cast<std::size_t>(platform::host::ScreenCapture::FramesPerSecond));
}

TEST_F(ServiceProcessTest, TheServicePassesBroadcastInformationOnToTheApp)
{
    ASSERT_EQ(start(), nullptr);
    LogCapture log;
    process().capture()->announceBroadcastServiceInfo(
        std::make_shared<platform::Dictionary>(platform::Dictionary { { "viewers", 3 } }));
    EXPECT_TRUE(runUntil([&log] { return log.contains("LMDaemonProxy: updateBroadcastServiceInfo:"); }));
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
