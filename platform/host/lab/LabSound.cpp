#include "platform/host/lab/LabSound.h"

#include <fmt/format.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <numbers>

namespace lumora::platform::host {

namespace {

constexpr double kToneAmplitude = 0.25 * 32767.0;

std::uint32_t little32(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint32_t>(bytes[at]) | (static_cast<std::uint32_t>(bytes[at + 1]) << 8U)
        | (static_cast<std::uint32_t>(bytes[at + 2]) << 16U) | (static_cast<std::uint32_t>(bytes[at + 3]) << 24U);
}

std::uint16_t little16(std::span<const std::uint8_t> bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] | (bytes[at + 1] << 8U));
}

} // namespace

LabSound LabSound::tone(double frequency)
{
    LabSound sound;
    sound.frequency_ = frequency;
    return sound;
}

LabSound LabSound::silence()
{
    return {};
}

std::optional<LabSound> LabSound::fromWav(std::span<const std::uint8_t> bytes, std::string& error)
{
    constexpr std::size_t kHeader = 12;
    constexpr std::size_t kChunkHeader = 8;
    constexpr std::size_t kFormatBytes = 16;
    if (bytes.size() < kHeader || little32(bytes, 0) != 0x46464952U /* RIFF */
        || little32(bytes, 8) != 0x45564157U /* WAVE */) {
        error = "not a WAV file";
        return std::nullopt;
    }
    std::uint16_t channels = 0;
    std::uint32_t rate = 0;
    std::span<const std::uint8_t> data;
    bool formatSeen = false;
    // Chunks in any order; each length is checked against what is left.
    for (std::size_t at = kHeader; at + kChunkHeader <= bytes.size();) {
        const auto id = little32(bytes, at);
        const std::size_t length = little32(bytes, at + 4);
        at += kChunkHeader;
        if (length > bytes.size() - at) {
            error = "a chunk runs past the end of the file";
            return std::nullopt;
        }
        if (id == 0x20746d66U /* "fmt " */) {
            if (length < kFormatBytes) {
                error = "its format chunk is too short";
                return std::nullopt;
            }
            const auto format = little16(bytes, at);
            channels = little16(bytes, at + 2);
            rate = little32(bytes, at + 4);
            const auto bits = little16(bytes, at + 14);
            if (format != 1 || bits != 16 || channels == 0 || channels > 8 || rate < 1000 || rate > 384000) {
                error = "only 16-bit PCM of 1 to 8 channels is played";
                return std::nullopt;
            }
            formatSeen = true;
        } else if (id == 0x61746164U /* "data" */) {
            data = bytes.subspan(at, length);
        }
        at += length + (length % 2);
    }
    if (!formatSeen || data.empty()) {
        error = "no format or no samples";
        return std::nullopt;
    }
    if (data.size() > MaximumWavBytes) {
        error = fmt::format("more than {} MB of samples", MaximumWavBytes >> 20U);
        return std::nullopt;
    }
    const std::size_t frames = data.size() / (std::size_t { 2 } * channels);
    if (frames == 0) {
        error = "no whole frame of samples";
        return std::nullopt;
    }
    // Mixed down to mono, then taken at the device's rate (nearest sample).
    const auto deviceFrames
        = static_cast<std::size_t>(std::ceil(static_cast<double>(frames) * SampleRate / static_cast<double>(rate)));
    LabSound sound;
    sound.samples_.resize(deviceFrames);
    for (std::size_t frame = 0; frame < deviceFrames; ++frame) {
        const auto source = std::min(frames - 1, frame * rate / static_cast<std::size_t>(SampleRate));
        std::int32_t sum = 0;
        for (std::size_t channel = 0; channel < channels; ++channel) {
            sum += static_cast<std::int16_t>(little16(data, ((source * channels) + channel) * 2));
        }
        sound.samples_[frame] = static_cast<std::int16_t>(sum / channels);
    }
    return sound;
}

std::optional<LabSound> LabSound::fromWavFile(const std::string& path, std::string& error)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = "cannot open " + path;
        return std::nullopt;
    }
    file.seekg(0, std::ios::end);
    const auto size = static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0));
    if (size > MaximumWavBytes + 4096) {
        error = fmt::format("{} is larger than {} MB", path, MaximumWavBytes >> 20U);
        return std::nullopt;
    }
    file.seekg(0);
    std::vector<std::uint8_t> bytes(size);
    // Streams read chars; the bytes are the same.
    file.read(reinterpret_cast<char*>(bytes.data()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        static_cast<std::streamsize>(size));
    auto sound = fromWav(bytes, error);
    if (!sound) {
        error = path + ": " + error;
    }
    return sound;
}

void LabSound::fill(std::int64_t first, std::span<std::int16_t> samples) const
{
    for (std::size_t index = 0; index < samples.size(); ++index) {
        const auto frame = first + static_cast<std::int64_t>(index);
        if (!samples_.empty()) {
            samples[index] = samples_[static_cast<std::size_t>(frame) % samples_.size()];
        } else if (frequency_ > 0) {
            const double phase = 2.0 * std::numbers::pi * frequency_ * static_cast<double>(frame) / SampleRate;
            samples[index] = static_cast<std::int16_t>(std::lround(kToneAmplitude * std::sin(phase)));
        } else {
            samples[index] = 0;
        }
    }
}

} // namespace lumora::platform::host
