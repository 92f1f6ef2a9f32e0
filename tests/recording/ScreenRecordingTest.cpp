#include "platform/host/services/SimulatedRecordingService.h"

#include "platform/graphics/Color.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/ui/View.h"
#include "tests/harness/MovieProbe.h"
#include "tests/recording/RecorderFixture.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace lumora::test {
namespace {

namespace fs = std::filesystem;
using platform::ErrorRef;
using platform::URL;
using platform::host::ScreenCapture;
using platform::host::SimulatedRecordingService;

constexpr MovieContents::Colour kRed { 255, 0, 0 };
constexpr MovieContents::Colour kBlue { 0, 0, 255 };
constexpr MovieContents::Colour kGreen { 0, 255, 0 };

/// A small screen showing one view of a solid colour that the test changes.
class ScreenRecordingTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
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

    // Lets `seconds` pass on the device clock and the capture's timers run.
    static void wait(double seconds)
    {
        device().advanceClock(seconds);
        drainMainQueue();
    }

    static void start(bool microphone)
    {
        CallbackRecorder<ErrorRef> started;
        LMScreenRecorder::sharedRecorder()->startRecordingWithMicrophoneEnabled_handler(microphone, started.callback());
        ASSERT_TRUE(started.wait());
        ASSERT_EQ(std::get<0>(started.call()), nullptr);
    }

    static std::optional<URL> stop()
    {
        CallbackRecorder<std::optional<URL>, ErrorRef> stopped;
        LMScreenRecorder::sharedRecorder()->stopRecordingWithVideoURLHandler(stopped.callback());
        EXPECT_TRUE(stopped.wait());
        EXPECT_EQ(std::get<1>(stopped.call()), nullptr);
        return std::get<0>(stopped.call());
    }

    // The colour of the frame shown at `time`.
    static MovieContents::Colour colourAt(const MovieContents& movie, double time)
    {
        const auto frame = std::find_if(movie.frames.rbegin(), movie.frames.rend(),
            [time](const MovieContents::Frame& candidate) { return candidate.time <= time; });
        return frame == movie.frames.rend() ? MovieContents::Colour { -100, -100, -100 } : frame->centre;
    }

    // The level of the microphone's tone in the movie's sound.
    static double microphoneLevel(const MovieContents& movie)
    {
        return toneComponent(movie.audioSamples, 0, movie.audioSamples.size(),
            platform::host::DeviceAudio::MicrophoneFrequency, movie.audioSampleRate)
            .amplitude;
    }

    std::shared_ptr<platform::View> canvas;
};

TEST_F(ScreenRecordingTest, ARecordingOfTheScreenIsANewMovieOfWhatTheAppDrewWithoutItsPauses)
{
    service().setRecordsScreen(true);
    start(true);
    ASSERT_NE(service().screenCapture(), nullptr);
    wait(1);
    paint(kBlue);
    wait(1);
    // Nothing is captured while the recording is paused.
    LMScreenRecorder::sharedRecorder()->pauseRecording();
    paint(kRed);
    wait(5);
    LMScreenRecorder::sharedRecorder()->resumeRecording();
    paint(kGreen);
    wait(0.5);
    const auto url = stop();
    EXPECT_EQ(service().screenCapture(), nullptr);

    ASSERT_TRUE(url);
    ASSERT_TRUE(url->path().starts_with(SimulatedRecordingService::MoviesDirectory));
    const auto path = device().resolvePath(url->path());
    ASSERT_TRUE(fs::exists(path));
    const auto movie = decodeMovie(path);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->containerName.find("mp4") != std::string::npos, true);
    EXPECT_EQ(movie->width, 96);
    EXPECT_EQ(movie->height, 64);
    EXPECT_NEAR(movie->duration, 2.5, 0.1);
    EXPECT_NEAR(static_cast<double>(movie->frames.size()), 2.5 * ScreenCapture::FramesPerSecond, 2);
    EXPECT_TRUE(closeColours(colourAt(*movie, 0.5), kRed));
    EXPECT_TRUE(closeColours(colourAt(*movie, 1.5), kBlue));
    EXPECT_TRUE(closeColours(colourAt(*movie, 2.3), kGreen));
    EXPECT_TRUE(movie->hasAudio);
    EXPECT_NEAR(movie->audioDuration, 2.5, 0.1);
    EXPECT_GT(microphoneLevel(*movie), 0.2);

    // The next recording is a movie of its own; with the microphone refused
    // it has the application's sound only.
    service().setMicrophoneConsent(false);
    start(true);
    wait(0.5);
    const auto second = stop();
    ASSERT_TRUE(second);
    EXPECT_NE(second->path(), url->path());
    const auto silent = decodeMovie(device().resolvePath(second->path()));
    ASSERT_TRUE(silent);
    EXPECT_TRUE(silent->hasAudio);
    EXPECT_GT(silent->audioLevel, 0.1);
    EXPECT_LT(microphoneLevel(*silent), 0.02);
    EXPECT_NEAR(silent->duration, 0.5, 0.1);
    EXPECT_TRUE(closeColours(colourAt(*silent, 0.2), kGreen));
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(ScreenRecordingTest, AClipOfTheSameCaptureCoversOnlyTheTimeItWasOpen)
{
    service().setRecordsScreen(true);
    start(false);
    wait(1);
    const auto capture = service().screenCapture();
    ASSERT_NE(capture, nullptr);
    const auto path = fs::temp_directory_path() / ("lumora-clip-" + std::to_string(::getpid()) + ".mp4");
    const auto clip = capture->openMovie(path.string());
    ASSERT_NE(clip, nullptr);
    wait(0.5);
    paint(kBlue);
    wait(0.5);
    EXPECT_TRUE(capture->closeMovie(clip));
    wait(1);
    ASSERT_TRUE(stop());

    const auto movie = decodeMovie(path.string());
    fs::remove(path);
    ASSERT_TRUE(movie);
    EXPECT_LT(microphoneLevel(*movie), 0.02);
    EXPECT_NEAR(movie->duration, 1, 0.1);
    EXPECT_NEAR(static_cast<double>(movie->frames.size()), ScreenCapture::FramesPerSecond, 2);
    EXPECT_TRUE(closeColours(colourAt(*movie, 0), kRed));
    EXPECT_TRUE(closeColours(colourAt(*movie, 0.9), kBlue));
}

TEST_F(ScreenRecordingTest, WithoutRecordingTheScreenStopsAnswerWithTheCannedMovie)
{
    start(true);
    EXPECT_EQ(service().screenCapture(), nullptr);
    wait(1);
    const auto url = stop();
    ASSERT_TRUE(url);
    EXPECT_EQ(fs::path(url->path()).filename(), "srecorder.mp4");

    // A reset turns recording the screen off again.
    service().setRecordsScreen(true);
    service().reset();
    EXPECT_FALSE(service().recordsScreen());
}

} // namespace
} // namespace lumora::test
