#include "platform/host/media/DeviceAudio.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace lumora::platform::host {

namespace {

// The remainder of `value` divided by `divisor`, never negative.
std::int64_t floorMod(std::int64_t value, std::int64_t divisor)
{
    const auto remainder = value % divisor;
    return remainder < 0 ? remainder + divisor : remainder;
}

// Sample `sample` of a sine of `frequency` whole hertz at `level`: the
// phase is taken in whole cycles first, so it stays exact for any sample.
std::int16_t toneSample(int frequency, double level, std::int64_t sample)
{
    const auto cycle = floorMod(frequency * sample, DeviceAudio::SampleRate);
    const double phase = 2 * std::numbers::pi * static_cast<double>(cycle) / DeviceAudio::SampleRate;
    return static_cast<std::int16_t>(std::lround(level * std::numeric_limits<std::int16_t>::max() * std::sin(phase)));
}

} // namespace

std::int64_t DeviceAudio::sampleAt(double uptime)
{
    return std::llround(uptime * SampleRate);
}

int DeviceAudio::applicationFrequencyAt(std::int64_t sample)
{
    const auto note = floorMod(sample >= 0 ? sample / NoteLength : ((sample + 1) / NoteLength) - 1,
        static_cast<std::int64_t>(ApplicationMelody.size()));
    return ApplicationMelody.at(static_cast<std::size_t>(note));
}

void DeviceAudio::application(std::int64_t first, std::span<std::int16_t> out)
{
    for (std::size_t index = 0; index < out.size(); ++index) {
        const auto sample = first + static_cast<std::int64_t>(index);
        out[index] = toneSample(applicationFrequencyAt(sample), ApplicationLevel, sample);
    }
}

void DeviceAudio::unmutedMicrophone(std::int64_t first, std::span<std::int16_t> out)
{
    for (std::size_t index = 0; index < out.size(); ++index) {
        out[index] = toneSample(MicrophoneFrequency, MicrophoneLevel, first + static_cast<std::int64_t>(index));
    }
}

void DeviceAudio::setMicrophoneMuted(bool muted, std::int64_t from)
{
    const std::lock_guard lock(mutex_);
    const bool current = !changes_.empty() && changes_.back().muted;
    if (muted == current) {
        return;
    }
    if (!changes_.empty()) {
        from = std::max(from, changes_.back().from);
    }
    changes_.push_back({ from, muted });
}

bool DeviceAudio::isMicrophoneMutedAt(std::int64_t sample) const
{
    const std::lock_guard lock(mutex_);
    // The last change at or before the sample decides.
    const auto after = std::upper_bound(changes_.begin(), changes_.end(), sample,
        [](std::int64_t value, const Change& change) { return value < change.from; });
    return after != changes_.begin() && std::prev(after)->muted;
}

void DeviceAudio::microphone(std::int64_t first, std::span<std::int16_t> out) const
{
    unmutedMicrophone(first, out);
    std::vector<Change> changes;
    {
        const std::lock_guard lock(mutex_);
        changes = changes_;
    }
    const auto end = first + static_cast<std::int64_t>(out.size());
    for (std::size_t index = 0; index < changes.size(); ++index) {
        if (!changes[index].muted) {
            continue;
        }
        // Silent from this change to the next one (or for good).
        const auto from = std::clamp(changes[index].from, first, end);
        const auto to = index + 1 < changes.size() ? std::clamp(changes[index + 1].from, first, end) : end;
        std::fill(out.begin() + (from - first), out.begin() + (to - first), std::int16_t { 0 });
    }
}

void DeviceAudio::mix(std::int64_t first, std::span<std::int16_t> out, bool withMicrophone) const
{
    application(first, out);
    if (!withMicrophone) {
        return;
    }
    std::vector<std::int16_t> heard(out.size());
    microphone(first, heard);
    // The two levels add up to well below full scale, so the sum never clips.
    for (std::size_t index = 0; index < out.size(); ++index) {
        out[index] = static_cast<std::int16_t>(out[index] + heard[index]);
    }
}

} // namespace lumora::platform::host
