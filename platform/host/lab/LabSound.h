#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// A sound the lab plays into a broadcast's audio: a tone, silence, or the
/// samples of a WAV file (16-bit PCM, mixed down to mono, at any rate),
/// repeated for as long as the broadcast lasts, at 44.1 kHz.
class LabSound {
public:
    /// The device's sample rate.
    static constexpr std::int64_t SampleRate = 44100;
    /// The most bytes of samples a WAV file may hold.
    static constexpr std::size_t MaximumWavBytes = std::size_t { 256 } << 20U;

    static LabSound tone(double frequency);
    static LabSound silence();
    /// The samples of the WAV file in `bytes`; nullopt (and `error` says why)
    /// for anything else: a file is read as untrusted input.
    static std::optional<LabSound> fromWav(std::span<const std::uint8_t> bytes, std::string& error);
    /// The WAV file at `path`.
    static std::optional<LabSound> fromWavFile(const std::string& path, std::string& error);

    /// Fills `samples` with the sound from frame `first` on.
    void fill(std::int64_t first, std::span<std::int16_t> samples) const;

private:
    LabSound() = default;

    double frequency_ = 0;
    /// The file's samples, at the device's rate.
    std::vector<std::int16_t> samples_;
};

} // namespace lumora::platform::host
