#pragma once

#include "platform/foundation/Object.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace lumora::platform {

/// Results of media operations: 0 for success, a negative code otherwise.
using MediaStatus = std::int32_t;

/// Status codes of the media operations (values as the platform defines them).
struct MediaError {
    /// Success.
    static constexpr MediaStatus NoError = 0;
    /// A format description was asked for with no format ID, a sample rate that is
    /// not positive and finite, or no channels.
    static constexpr MediaStatus FormatDescriptionInvalidParameter = -12710;
    /// A required argument is missing: no format description, or buffer data
    /// that is null though its size is not zero.
    static constexpr MediaStatus SampleBufferRequiredParameterMissing = -12731;
    /// The sample buffer already carries its data.
    static constexpr MediaStatus SampleBufferAlreadyHasDataBuffer = -12732;
    /// A timing or sample-size array holds neither 0, 1 nor one entry per sample,
    /// or the sample count is negative.
    static constexpr MediaStatus SampleBufferInvalidEntryCount = -12738;
    /// The data does not fit the buffer: not exactly one audio buffer, or a size
    /// that is not the sample count times the bytes per frame.
    static constexpr MediaStatus SampleBufferInvalidSampleData = -12742;
};

/// The format of a stream of audio data, with the platform's field layout
/// (40 bytes).
struct AudioStreamBasicDescription {
    /// Frames per second of the stream.
    double sampleRate = 0.0;
    /// The data format, a four-character code (AudioFormatLinearPCM).
    std::uint32_t formatID = 0;
    /// Format flags (AudioFormatFlags for linear PCM).
    std::uint32_t formatFlags = 0;
    /// Bytes in one packet of data.
    std::uint32_t bytesPerPacket = 0;
    /// Frames in one packet (1 for linear PCM).
    std::uint32_t framesPerPacket = 0;
    /// Bytes in one frame: one sample of every channel.
    std::uint32_t bytesPerFrame = 0;
    /// Channels in each frame.
    std::uint32_t channelsPerFrame = 0;
    /// Bits of one sample of one channel.
    std::uint32_t bitsPerChannel = 0;
    /// Padding to the platform's layout; always 0.
    std::uint32_t reserved = 0;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

/// Linear PCM, the four-character code 'lpcm'.
inline constexpr std::uint32_t AudioFormatLinearPCM = 0x6C70636D;

/// Format flags of linear PCM, as the platform defines them.
struct AudioFormatFlags {
    /// Samples are floats; otherwise integers.
    static constexpr std::uint32_t IsFloat = 1U << 0U;
    /// Samples are big-endian; otherwise native (little-endian).
    static constexpr std::uint32_t IsBigEndian = 1U << 1U;
    /// Integer samples are signed.
    static constexpr std::uint32_t IsSignedInteger = 1U << 2U;
    /// Samples use every bit of their channel's bytes.
    static constexpr std::uint32_t IsPacked = 1U << 3U;
    /// Unpacked samples sit in the high bits of their bytes.
    static constexpr std::uint32_t IsAlignedHigh = 1U << 4U;
    /// Each channel is in a buffer of its own; otherwise channels alternate
    /// within each frame.
    static constexpr std::uint32_t IsNonInterleaved = 1U << 5U;
};

/// One buffer of audio data (the platform's layout). `data` is not owned.
struct AudioBuffer {
    /// Interleaved channels in the buffer.
    std::uint32_t numberChannels = 0;
    /// Size of `data` in bytes.
    std::uint32_t dataByteSize = 0;
    /// The audio bytes (not owned); null for an empty buffer.
    void* data = nullptr;
};

/// A list of audio buffers; this platform's lists hold exactly one buffer.
struct AudioBufferList {
    /// Buffers in use (1 when `buffers` holds data).
    std::uint32_t numberBuffers = 0;
    /// The buffers.
    std::array<AudioBuffer, 1> buffers {};
};

/// Describes the audio a sample buffer carries. Immutable.
class AudioFormatDescription final : public Object {
public:
    /// A description of `description` with no channel layout, no magic cookie
    /// and no extensions; null with `*status` set (when given) for a
    /// description without a format, a positive finite sample rate or channels.
    static std::shared_ptr<AudioFormatDescription> create(
        const AudioStreamBasicDescription& description, MediaStatus* status = nullptr);

    /// Wraps `description` unchecked; use `create` to have it checked.
    explicit AudioFormatDescription(const AudioStreamBasicDescription& description) : description_(description) { }

    /// The stream format described.
    [[nodiscard]] const AudioStreamBasicDescription& streamBasicDescription() const { return description_; }

    [[nodiscard]] std::string className() const override { return "AudioFormatDescription"; }

private:
    AudioStreamBasicDescription description_;
};

} // namespace lumora::platform
