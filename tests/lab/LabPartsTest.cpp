// The lab's parts on their own: its command line, the sounds it reads from
// WAV files (untrusted input), and its summary as JSON.
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/lab/LabOptions.h"
#include "platform/host/lab/LabReport.h"
#include "platform/host/lab/LabSound.h"
#include "platform/host/lab/MovieFrames.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <cstring>

namespace lumora::test {
namespace {

using platform::host::LabOptions;
using platform::host::LabReport;
using platform::host::LabSound;

std::optional<LabOptions> parse(std::vector<std::string> arguments, std::string* error = nullptr)
{
    std::string ignored;
    return LabOptions::parse(arguments, error != nullptr ? *error : ignored);
}

TEST(LabOptionsTest, AFullCommandLineIsRead)
{
    const auto options = parse({ "--kind", "movie-clip", "--duration", "12.5", "--clip-duration", "2", "--pause",
        "3:1.5", "--pause", "8:2", "--memory-ceiling", "64M", "--json", "-", "--screen", "movie:/tmp/a.mp4",
        "--app-audio", "wav:/tmp/a.wav", "--mic-audio", "off", "--realtime", "Service.appex" });
    ASSERT_TRUE(options.has_value());
    EXPECT_EQ(options->bundle, "Service.appex");
    EXPECT_EQ(options->kind, platform::host::SimulatedRecordingService::UploadKind::MovieClip);
    EXPECT_DOUBLE_EQ(options->duration, 12.5);
    EXPECT_EQ(options->clipDuration, 2.0);
    ASSERT_EQ(options->pauses.size(), 2U);
    EXPECT_DOUBLE_EQ(options->pauses[0].at, 3);
    EXPECT_DOUBLE_EQ(options->pauses[0].length, 1.5);
    EXPECT_EQ(options->memoryCeiling, std::size_t { 64 } << 20U);
    EXPECT_EQ(options->jsonPath, "-");
    EXPECT_EQ(options->screen, LabOptions::Screen::Movie);
    EXPECT_EQ(options->moviePath, "/tmp/a.mp4");
    EXPECT_EQ(options->applicationAudio.sound, LabOptions::Sound::Wav);
    EXPECT_EQ(options->applicationAudio.path, "/tmp/a.wav");
    EXPECT_EQ(options->microphoneAudio.sound, LabOptions::Sound::Off);
    EXPECT_TRUE(options->realtime);

    EXPECT_TRUE(parse({ "--help" })->help);
    EXPECT_DOUBLE_EQ(parse({ "--app-audio", "tone:330", "B" })->applicationAudio.frequency, 330);
}

TEST(LabOptionsTest, ACommandLineThatCannotRunSaysWhy)
{
    for (const auto& arguments : std::vector<std::vector<std::string>> {
             {},
             { "A.appex", "B.appex" },
             { "--duration" },
             { "--duration", "0", "A.appex" },
             { "--duration", "ten", "A.appex" },
             { "--duration", "nan", "A.appex" },
             { "--pause", "3", "A.appex" },
             { "--pause", "3:-1", "A.appex" },
             { "--memory-ceiling", "12", "A.appex" },
             { "--memory-ceiling", "5T", "A.appex" },
             { "--kind", "video", "A.appex" },
             { "--screen", "movie:", "A.appex" },
             { "--app-audio", "off", "A.appex" },
             { "--mic-audio", "tone:30000", "A.appex" },
             { "--frobnicate", "A.appex" },
         }) {
        std::string error;
        EXPECT_FALSE(parse(arguments, &error).has_value()) << ::testing::PrintToString(arguments);
        EXPECT_FALSE(error.empty());
    }
}

// A WAV file of 16-bit PCM with `channels` channels at `rate`, holding `samples` (interleaved).
std::vector<std::uint8_t> wav(std::uint16_t channels, std::uint32_t rate, const std::vector<std::int16_t>& samples)
{
    std::vector<std::uint8_t> bytes;
    const auto put32 = [&bytes](std::uint32_t value) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(value >> static_cast<unsigned>(shift)));
        }
    };
    const auto put16 = [&bytes](std::uint16_t value) {
        bytes.push_back(static_cast<std::uint8_t>(value));
        bytes.push_back(static_cast<std::uint8_t>(value >> 8U));
    };
    const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    bytes.insert(bytes.end(), { 'R', 'I', 'F', 'F' });
    put32(36 + dataBytes);
    bytes.insert(bytes.end(), { 'W', 'A', 'V', 'E', 'f', 'm', 't', ' ' });
    put32(16);
    put16(1);
    put16(channels);
    put32(rate);
    put32(rate * channels * 2);
    put16(static_cast<std::uint16_t>(channels * 2));
    put16(16);
    bytes.insert(bytes.end(), { 'd', 'a', 't', 'a' });
    put32(dataBytes);
    for (const auto sample : samples) {
        put16(static_cast<std::uint16_t>(sample));
    }
    return bytes;
}

TEST(LabSoundTest, AWavFileIsMixedToMonoTakenAtTheDeviceRateAndRepeated)
{
    std::string error;
    // Stereo at half the device's rate: each frame is the channels' mean, held for two device frames.
    const auto sound = LabSound::fromWav(wav(2, 22050, { 100, 300, -200, -400, 1000, 3000 }), error);
    ASSERT_TRUE(sound.has_value()) << error;
    std::vector<std::int16_t> samples(8);
    sound->fill(0, samples);
    EXPECT_EQ(samples, (std::vector<std::int16_t> { 200, 200, -300, -300, 2000, 2000, 200, 200 }));
    sound->fill(5, std::span(samples).first(2));
    EXPECT_EQ(samples[0], 2000);
    EXPECT_EQ(samples[1], 200);

    // A tone is the same at the same frames, whichever payload asks.
    const auto tone = LabSound::tone(440);
    std::vector<std::int16_t> whole(200);
    std::vector<std::int16_t> part(100);
    tone.fill(0, whole);
    tone.fill(100, part);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + 100));
    EXPECT_NE(whole[10], 0);
}

TEST(LabSoundTest, AFileThatIsNotPlayableWavIsRefused)
{
    const auto good = wav(1, 44100, { 1, 2, 3, 4 });
    auto lyingLength = good;
    lyingLength[40] = 0xFF; // the data chunk claims more bytes than the file holds
    lyingLength[41] = 0xFF;
    auto eightBit = good;
    eightBit[34] = 8;
    auto noChannels = good;
    noChannels[22] = 0;
    const std::vector<std::uint8_t> truncated(good.begin(), good.begin() + 30);
    for (const auto& bytes : { lyingLength, eightBit, noChannels, truncated, std::vector<std::uint8_t> {} }) {
        std::string error;
        EXPECT_FALSE(LabSound::fromWav(bytes, error).has_value());
        EXPECT_FALSE(error.empty());
    }
}

TEST(MovieFramesTest, AMoviesPicturesComeAtTheSizeAskedForAndStartOverPastItsEnd)
{
    std::string error;
    const auto movie
        = platform::host::MovieFrames::open(frameworkBundleDirectory() + "/srecorder.mp4", error); // two seconds
    ASSERT_NE(movie, nullptr) << error;
    for (const double seconds : { 0.0, 0.5, 1.9, 2.5, 7.0 }) {
        const auto bitmap = platform::host::Bitmap::ofImage(movie->pictureAt(seconds, 36, 64).get());
        EXPECT_EQ(bitmap.width(), 36) << seconds;
        EXPECT_EQ(bitmap.height(), 64) << seconds;
        EXPECT_DOUBLE_EQ(bitmap.pixelAt(18, 32).alpha, 1.0) << seconds;
    }
    EXPECT_EQ(platform::host::MovieFrames::open(fixturesDirectory() + "/no-such.mp4", error), nullptr);
    EXPECT_FALSE(error.empty());
}

TEST(LabReportTest, TheJsonSummaryEscapesWhatTheExtensionSentAndCarriesEveryFigure)
{
    LabReport report;
    report.bundle = "odd \"name\"\\.appex";
    report.kind = "sample-buffer";
    report.requests = 3;
    report.applicationAudioPayloads = 2;
    report.latencies = { 3.0, 1.0, 2.0 };
    report.peakMemory = 1024;
    report.memoryCeiling = 2048;
    report.serviceInfo.push_back(std::make_shared<const platform::Dictionary>(platform::Dictionary {
        { "text", platform::Value("line\nbreak\x01") }, { "n", platform::Value(std::int64_t { 7 }) },
        { "list", platform::Value(std::make_shared<platform::Array>(platform::Array { platform::Value(true) })) } }));
    report.faults.push_back({ LabReport::FaultKind::Malformed, 1.5, "it said \"no\"" });

    const auto json = report.json();
    EXPECT_NE(json.find(R"("bundle":"odd \"name\"\\.appex")"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("exitStatus":1)"), std::string::npos) << json;
    EXPECT_NE(json.find(R"({"list":[true],"n":7,"text":"line\nbreak\u0001"})"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("p50":2.000,"p90":3.000,"p99":3.000,"max":3.000)"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("peakBytes":1024,"ceilingBytes":2048)"), std::string::npos) << json;
    EXPECT_NE(json.find(R"({"kind":"malformed reply","at":1.500,"detail":"it said \"no\""})"), std::string::npos)
        << json;
    // No raw control character reaches the JSON but the final line break.
    EXPECT_EQ(
        std::count_if(json.begin(), json.end() - 1, [](char c) { return static_cast<unsigned char>(c) < 0x20; }), 0);
}

} // namespace
} // namespace lumora::test
