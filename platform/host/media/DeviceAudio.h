#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace lumora::platform::host {

/// The sound of the simulated device during a recording: what the
/// application plays and what the microphone hears, as 16-bit mono samples
/// at `SampleRate` for any stretch of device time.
///
/// Both are fixed functions of the device clock, so every part of the device
/// that takes sound from a recording (the movie's audio track, the live
/// payloads of a broadcast) hears the same samples at the same moments, and a
/// test can say what any of them should hold. Sample `n` is played from
/// uptime `n / SampleRate` on. The application plays a four-note tune
/// (`ApplicationMelody`, each note `NoteLength` samples long) at
/// `ApplicationLevel`; the microphone hears a steady tone of
/// `MicrophoneFrequency` at `MicrophoneLevel`. Frequencies are whole hertz so
/// that every sample is computed exactly, however long the device has run.
///
/// The microphone can be muted from a given sample on and heard again later
/// (`setMicrophoneMuted`): it is then silent over that stretch, wherever its
/// samples are taken and however late. Instances are safe to use from
/// several threads; the tune and the tone themselves need no instance.
class DeviceAudio {
public:
    static constexpr int SampleRate = 44100;
    /// The tune the application plays, one note after another, round and round.
    static constexpr std::array<int, 4> ApplicationMelody { 220, 277, 330, 277 };
    /// Samples of one note of the tune: half a second.
    static constexpr std::int64_t NoteLength = SampleRate / 2;
    static constexpr double ApplicationLevel = 0.2;
    static constexpr int MicrophoneFrequency = 440;
    static constexpr double MicrophoneLevel = 0.25;

    /// The sample played at `uptime` seconds of the device clock.
    [[nodiscard]] static std::int64_t sampleAt(double uptime);
    /// The frequency of the note the application plays at sample `sample`.
    [[nodiscard]] static int applicationFrequencyAt(std::int64_t sample);
    /// What the application plays, from sample `first` on, one sample per element of `out`.
    static void application(std::int64_t first, std::span<std::int16_t> out);
    /// What the microphone hears, never muted.
    static void unmutedMicrophone(std::int64_t first, std::span<std::int16_t> out);

    /// Mutes the microphone from sample `from` on (or lets it be heard again).
    /// Changes come in the order of the clock; one earlier than the last is
    /// taken as happening at the last one's sample.
    void setMicrophoneMuted(bool muted, std::int64_t from);
    [[nodiscard]] bool isMicrophoneMutedAt(std::int64_t sample) const;
    /// What the microphone hears from sample `first` on: silence where it was muted.
    void microphone(std::int64_t first, std::span<std::int16_t> out) const;
    /// What a recording holds from sample `first` on: the application's
    /// sound, with the microphone's mixed in when `withMicrophone`.
    void mix(std::int64_t first, std::span<std::int16_t> out, bool withMicrophone) const;

private:
    struct Change {
        std::int64_t from = 0;
        bool muted = false;
    };

    mutable std::mutex mutex_;
    // When the microphone was muted and heard again, in the order of the clock.
    std::vector<Change> changes_;
};

} // namespace lumora::platform::host
