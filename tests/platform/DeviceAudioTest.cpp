#include "platform/host/media/DeviceAudio.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace lumora::test {
namespace {

using platform::host::DeviceAudio;

std::vector<std::int16_t> microphoneOf(const DeviceAudio& audio, std::int64_t first, std::size_t count)
{
    std::vector<std::int16_t> samples(count);
    audio.microphone(first, samples);
    return samples;
}

TEST(DeviceAudio, AMutedMicrophoneIsSilentOverExactlyTheMutedStretchWhereverItIsTaken)
{
    DeviceAudio audio;
    audio.setMicrophoneMuted(true, 1000);
    audio.setMicrophoneMuted(true, 1200); // already muted: no change
    audio.setMicrophoneMuted(false, 1500);
    audio.setMicrophoneMuted(true, 1400); // late: taken as happening at 1500
    audio.setMicrophoneMuted(false, 1800);

    std::vector<std::int16_t> heard(2000);
    DeviceAudio::unmutedMicrophone(0, heard);
    // Taken whole, and in pieces that start and end inside the muted stretches.
    auto whole = microphoneOf(audio, 0, 2000);
    std::vector<std::int16_t> pieces;
    for (const auto& [first, count] : { std::pair { 0, 1100 }, { 1100, 450 }, { 1550, 450 } }) {
        const auto piece = microphoneOf(audio, first, static_cast<std::size_t>(count));
        pieces.insert(pieces.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(pieces, whole);
    for (std::size_t sample = 0; sample < heard.size(); ++sample) {
        const bool muted = sample >= 1000 && sample < 1800;
        ASSERT_EQ(whole[sample], muted ? 0 : heard[sample]) << sample;
        ASSERT_EQ(audio.isMicrophoneMutedAt(static_cast<std::int64_t>(sample)), muted) << sample;
    }
    EXPECT_TRUE(std::any_of(heard.begin() + 1000, heard.begin() + 1800, [](std::int16_t value) { return value != 0; }));

    // A recording's sound is the application's, with what the microphone heard mixed in.
    std::vector<std::int16_t> application(2000);
    DeviceAudio::application(0, application);
    std::vector<std::int16_t> mixed(2000);
    audio.mix(0, mixed, false);
    EXPECT_EQ(mixed, application);
    audio.mix(0, mixed, true);
    for (std::size_t sample = 0; sample < mixed.size(); ++sample) {
        ASSERT_EQ(mixed[sample], application[sample] + whole[sample]) << sample;
    }
}

TEST(DeviceAudio, TheSoundIsTheSameFunctionOfDeviceTimeHoweverLongTheDeviceHasRun)
{
    // A day into the device's uptime the tune is where its note says, and the
    // tone keeps its phase: a whole second later every sample repeats.
    const auto late = DeviceAudio::sampleAt(86400.25);
    std::vector<std::int16_t> now(64);
    std::vector<std::int16_t> secondLater(64);
    DeviceAudio::unmutedMicrophone(late, now);
    DeviceAudio::unmutedMicrophone(late + DeviceAudio::SampleRate, secondLater);
    EXPECT_EQ(now, secondLater);
    std::vector<std::int16_t> tuneRound(64);
    const auto round = static_cast<std::int64_t>(DeviceAudio::ApplicationMelody.size()) * DeviceAudio::NoteLength;
    DeviceAudio::application(late, now);
    DeviceAudio::application(late + round, tuneRound);
    EXPECT_EQ(now, tuneRound);
    EXPECT_EQ(DeviceAudio::applicationFrequencyAt(late), DeviceAudio::ApplicationMelody[0]);
    EXPECT_EQ(DeviceAudio::applicationFrequencyAt(late + DeviceAudio::NoteLength), DeviceAudio::ApplicationMelody[1]);
    EXPECT_NE(now, std::vector<std::int16_t>(64));
}

} // namespace
} // namespace lumora::test
