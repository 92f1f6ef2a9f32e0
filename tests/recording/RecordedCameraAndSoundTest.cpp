#include "platform/host/services/SimulatedRecordingService.h"

#include "camera/LMPipViewController.h"
#include "platform/foundation/Clock.h"
#include "platform/host/media/CameraPicture.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/media/ScreenCapture.h"
#include "tests/harness/MovieProbe.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::URL;
using platform::host::CameraPicture;
using platform::host::DeviceAudio;
using platform::host::ScreenCapture;

class RecordedCameraAndSoundTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 1);
        service().setRecordsScreen(true);
    }

    // Lets `seconds` pass on the device clock a frame at a time, so that
    // every frame shows the picture of its own moment.
    static void wait(double seconds)
    {
        const auto frames = std::lround(seconds * ScreenCapture::FramesPerSecond);
        for (long frame = 0; frame < frames; ++frame) {
            device().advanceClock(1.0 / ScreenCapture::FramesPerSecond);
            drainMainQueue();
        }
    }

    static std::optional<URL> stop()
    {
        CallbackRecorder<std::optional<URL>, ErrorRef> stopped;
        LMScreenRecorder::sharedRecorder()->stopRecordingWithVideoURLHandler(stopped.callback());
        EXPECT_TRUE(stopped.wait());
        return std::get<0>(stopped.call());
    }

    static bool isBar(const MovieContents::Colour& colour) { return closeColours(colour, { 255, 0, 255 }, 60); }
};

TEST_F(RecordedCameraAndSoundTest, TheMovieShowsTheCameraAsPreviewedAndLosesTheMicrophoneWhileItIsMuted)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    CallbackRecorder<ErrorRef> started;
    recorder->startRecordingWithMicrophoneEnabled_cameraEnabled_streamingEnabled_handler(
        true, true, false, started.callback());
    ASSERT_TRUE(started.wait());
    ASSERT_EQ(std::get<0>(started.call()), nullptr);
    const double startedAt = platform::Clock::uptime();
    // The application shows the camera preview the recorder made.
    const auto preview = recorder->cameraPreviewView();
    ASSERT_NE(preview, nullptr);
    appWindow->addSubview(preview);

    wait(1);
    recorder->setMicrophoneEnabled(false);
    wait(1);
    recorder->setMicrophoneEnabled(true);
    wait(1);
    const auto url = stop();
    ASSERT_TRUE(url);
    const auto path = device().resolvePath(url->path());

    // The preview sits at 3 % of the screen, a fifth of it in size; the
    // picture's left edge overhangs it, so a column near that edge shows the
    // background and the bar only.
    const auto frame = preview->frame();
    const int column = static_cast<int>(frame.origin.x) + 4;
    for (const double time : { 0.5, 1.5, 2.5 }) {
        SCOPED_TRACE(time);
        const auto picture = decodePictureAt(path, time);
        ASSERT_TRUE(picture);
        std::optional<int> bar;
        for (int y = static_cast<int>(frame.origin.y); y < static_cast<int>(frame.origin.y + frame.size.height); ++y) {
            if (isBar(*picture->pixelAt(column, y))) {
                bar = y;
                break;
            }
        }
        ASSERT_TRUE(bar);
        const double expected = frame.origin.y + (CameraPicture::barTopAt(startedAt + time) * frame.size.height);
        EXPECT_NEAR(*bar, expected, 4);
        // Away from the bar, the background.
        const int below = *bar + 15;
        const int row = below < static_cast<int>(frame.origin.y + frame.size.height) ? below : *bar - 15;
        EXPECT_TRUE(closeColours(*picture->pixelAt(column, row), { 0, 128, 128 }, 40));
    }

    // The sound: the application's tune throughout, the microphone's tone
    // but for the second it was muted.
    const auto movie = decodeMovie(path);
    ASSERT_TRUE(movie);
    ASSERT_TRUE(movie->hasAudio);
    EXPECT_NEAR(movie->audioDuration, 3, 0.1);
    const auto rate = movie->audioSampleRate;
    const auto window = static_cast<std::size_t>(rate / 10);
    const auto microphoneAt = [&](double time) {
        return toneComponent(
            movie->audioSamples, static_cast<std::size_t>(time * rate), window, DeviceAudio::MicrophoneFrequency, rate)
            .amplitude;
    };
    for (const double time : { 0.3, 0.8, 2.2, 2.7 }) {
        EXPECT_NEAR(microphoneAt(time), DeviceAudio::MicrophoneLevel, 0.05) << time;
    }
    for (const double time : { 1.1, 1.5, 1.8 }) {
        EXPECT_LT(microphoneAt(time), 0.02) << time;
    }
    // The tune plays on, each note at its own moment of the device clock.
    for (const double time : { 0.4, 1.4, 2.4 }) {
        const auto sample = DeviceAudio::sampleAt(startedAt + time);
        const auto frequency = DeviceAudio::applicationFrequencyAt(sample);
        if (frequency != DeviceAudio::applicationFrequencyAt(sample + static_cast<std::int64_t>(window))) {
            continue; // a note changes within the window
        }
        EXPECT_NEAR(toneComponent(movie->audioSamples, static_cast<std::size_t>(time * rate), window, frequency, rate)
                        .amplitude,
            DeviceAudio::ApplicationLevel, 0.05)
            << time;
    }
}

} // namespace
} // namespace lumora::test
