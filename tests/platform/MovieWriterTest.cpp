#include "platform/host/media/MovieWriter.h"

#include "platform/host/graphics/Bitmap.h"
#include "tests/harness/Harness.h"
#include "tests/harness/MovieProbe.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <numbers>
#include <unistd.h>

namespace lumora::platform::host {
namespace {

namespace fs = std::filesystem;
using test::MovieContents;

class MovieWriterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        directory_ = fs::temp_directory_path() / ("lumora-movie-writer-" + std::to_string(::getpid()));
        fs::create_directories(directory_);
    }
    void TearDown() override { fs::remove_all(directory_); }

    [[nodiscard]] std::string pathOf(const std::string& name) const { return (directory_ / name).string(); }

    // A tone of `frames` frames on `channels` channels, starting at frame `start`.
    template <class Sample> static std::vector<Sample> tone(std::size_t frames, int channels, std::size_t start)
    {
        std::vector<Sample> samples;
        for (std::size_t frame = start; frame < start + frames; ++frame) {
            const double value = 0.5 * std::sin(2 * std::numbers::pi * 440 * static_cast<double>(frame) / 44100);
            for (int channel = 0; channel < channels; ++channel) {
                if constexpr (std::is_same_v<Sample, float>) {
                    samples.push_back(static_cast<float>(value));
                } else {
                    samples.push_back(static_cast<std::int16_t>(value * 32767));
                }
            }
        }
        return samples;
    }

private:
    fs::path directory_;
};

TEST_F(MovieWriterTest, WritesFramesOfEitherLayoutAndMonoAudioIntoAnMP4)
{
    const auto path = pathOf("mono.mp4");
    // Odd sizes are rounded down to even ones; frames of another size are scaled.
    auto writer = MovieWriter::create(path, { .width = 65, .height = 49, .framesPerSecond = 30, .audioChannels = 1 });
    ASSERT_NE(writer, nullptr);
    EXPECT_EQ(writer->width(), 64);
    EXPECT_EQ(writer->height(), 48);

    Bitmap red(64, 48, 1);
    std::fill_n(red.data(), 64 * 48, 0xFFFF0000U);
    std::vector<std::uint8_t> blue;
    for (int pixel = 0; pixel < 32 * 24; ++pixel) {
        blue.insert(blue.end(), { 0, 0, 255, 255 });
    }
    for (int frame = 0; frame < 60; ++frame) {
        const double time = frame / 30.0;
        if (frame < 30) {
            EXPECT_TRUE(writer->addFrame(red, time));
        } else {
            EXPECT_TRUE(writer->addFrame(blue.data(), 32, 24, 32 * 4, MovieWriter::PixelLayout::RGBA, time));
        }
        // A frame in a slot already taken is dropped.
        EXPECT_TRUE(writer->addFrame(red, time + 0.001));
    }
    for (std::size_t chunk = 0; chunk < 20; ++chunk) {
        const auto samples = tone<std::int16_t>(4410, 1, chunk * 4410);
        EXPECT_TRUE(writer->addAudio(samples.data(), 4410, static_cast<double>(chunk) / 10));
    }
    EXPECT_TRUE(writer->finish());
    EXPECT_TRUE(writer->finish());
    EXPECT_FALSE(writer->addFrame(red, 3));

    const auto movie = test::decodeMovie(path);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->videoCodec, writer->videoEncoderName() == "libx264" ? "h264" : "mpeg4");
    EXPECT_EQ(movie->width, 64);
    EXPECT_EQ(movie->height, 48);
    ASSERT_EQ(movie->frames.size(), 60U);
    EXPECT_NEAR(movie->frames[45].time, 1.5, 0.001);
    EXPECT_NEAR(movie->duration, 2, 0.1);
    EXPECT_TRUE(test::closeColours(movie->frames[10].centre, { 255, 0, 0 }));
    EXPECT_TRUE(test::closeColours(movie->frames[50].centre, { 0, 0, 255 }));
    EXPECT_TRUE(movie->hasAudio);
    EXPECT_EQ(movie->audioChannels, 1);
    EXPECT_NEAR(movie->audioDuration, 2, 0.05);
    // A sine of amplitude 0.5.
    EXPECT_NEAR(movie->audioLevel, 0.5 / std::numbers::sqrt2, 0.03);
}

TEST_F(MovieWriterTest, StereoFloatAudioHasItsGapsFilledAndOverlapsDropped)
{
    const auto path = pathOf("stereo.mp4");
    auto writer = MovieWriter::create(path, { .width = 32, .height = 32, .audioChannels = 2 });
    ASSERT_NE(writer, nullptr);
    Bitmap black(32, 32, 1);
    std::fill_n(black.data(), 32 * 32, 0xFF000000U);
    EXPECT_TRUE(writer->addFrame(black, 0));
    EXPECT_TRUE(writer->addFrame(black, 1));
    const auto samples = tone<float>(22050, 2, 0);
    EXPECT_TRUE(writer->addAudio(samples.data(), 22050, 0));
    // A quarter of a second of silence, then a chunk whose first half overlaps the one before.
    EXPECT_TRUE(writer->addAudio(samples.data(), 22050, 0.75));
    EXPECT_TRUE(writer->addAudio(samples.data(), 22050, 1));
    EXPECT_TRUE(writer->finish());

    const auto movie = test::decodeMovie(path);
    ASSERT_TRUE(movie);
    EXPECT_EQ(movie->audioChannels, 2);
    EXPECT_NEAR(movie->audioDuration, 1.5, 0.05);
    EXPECT_EQ(movie->frames.size(), 2U);
    // A sixth of it is silence.
    EXPECT_NEAR(movie->audioLevel, 0.5 / std::numbers::sqrt2 * std::sqrt(5.0 / 6), 0.01);
}

TEST_F(MovieWriterTest, AWriterThatCannotWriteLogsAndFails)
{
    const test::LogCapture log;
    EXPECT_EQ(MovieWriter::create(pathOf("no-folder/movie.mp4"), { .width = 32, .height = 32 }), nullptr);
    EXPECT_EQ(log.texts(Log::Level::Error).size(), 1U);
    EXPECT_TRUE(log.texts(Log::Level::Error).at(0).starts_with("Movie writer: creating the file failed for "));
    EXPECT_FALSE(fs::exists(pathOf("no-folder")));

    EXPECT_EQ(MovieWriter::create(pathOf("empty.mp4"), { .width = 0, .height = 32 }), nullptr);
    EXPECT_EQ(MovieWriter::create(pathOf("surround.mp4"), { .width = 8, .height = 8, .audioChannels = 6 }), nullptr);
    EXPECT_EQ(log.texts(Log::Level::Error).size(), 3U);

    // A movie without an audio track refuses audio; a frame it cannot read is refused, not read.
    auto writer = MovieWriter::create(pathOf("silent.mp4"), { .width = 8, .height = 8 });
    ASSERT_NE(writer, nullptr);
    const std::int16_t sample = 0;
    EXPECT_FALSE(writer->addAudio(&sample, 1, 0));
    EXPECT_FALSE(writer->addFrame(nullptr, 8, 8, 32, MovieWriter::PixelLayout::RGBA, 0));
    const std::vector<std::uint8_t> narrow(8 * 8 * 4);
    EXPECT_FALSE(writer->addFrame(narrow.data(), 8, 8, 16, MovieWriter::PixelLayout::RGBA, 0));
    EXPECT_TRUE(writer->addFrame(narrow.data(), 8, 8, 32, MovieWriter::PixelLayout::RGBA, 0));
}

TEST_F(MovieWriterTest, AFragmentedMoviePlaysBeforeItIsFinishedAndStopsWholeWhenItsRoomRunsOut)
{
    const auto path = pathOf("fragmented.mp4");
    constexpr std::uint64_t kRoom = 1024 * 1024;
    auto writer = MovieWriter::create(
        path, { .width = 64, .height = 48, .framesPerSecond = 30, .fragmented = true, .maxFileBytes = kRoom });
    ASSERT_NE(writer, nullptr);
    Bitmap picture(64, 48, 1);
    int frame = 0;
    const auto paint = [&picture](int index) {
        // Noise-like pictures, so that every second's fragment is large.
        for (int pixel = 0; pixel < 64 * 48; ++pixel) {
            picture.data()[pixel] = 0xFF000000U | static_cast<std::uint32_t>((pixel * 2654435761U) ^ (index * 40503U));
        }
    };
    for (; frame < 75; ++frame) {
        paint(frame);
        ASSERT_TRUE(writer->addFrame(picture, frame / 30.0));
    }
    // Unfinished, as a killed writer leaves it: the two whole seconds play.
    const auto copy = pathOf("unfinished.mp4");
    fs::copy_file(path, copy);
    const auto unfinished = test::decodeMovie(copy);
    ASSERT_TRUE(unfinished);
    EXPECT_EQ(unfinished->frames.size(), 60U);

    test::LogCapture log;
    while (writer->addFrame(picture, frame / 30.0) && frame < 30 * 60) {
        paint(++frame);
    }
    EXPECT_TRUE(writer->isOutOfSpace());
    EXPECT_FALSE(writer->finish());
    const auto errors = log.texts(Log::Level::Error);
    EXPECT_TRUE(std::ranges::any_of(errors,
        [&path](const std::string& text) { return text.starts_with("Movie writer: no room left for " + path); }));
    EXPECT_LE(fs::file_size(path), kRoom);
    EXPECT_EQ(fs::file_size(path), writer->bytesWritten());
    const auto kept = test::decodeMovie(path);
    ASSERT_TRUE(kept);
    EXPECT_GE(kept->frames.size(), 60U);
    EXPECT_EQ(kept->frames.size() % 30, 0U);
}

} // namespace
} // namespace lumora::platform::host
