#pragma once

#include "platform/Object.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace lumora::platform {

/// Results of media operations: 0 for success, a negative code otherwise.
using MediaStatus = std::int32_t;

struct MediaError {
    static constexpr MediaStatus NoError = 0;
    static constexpr MediaStatus FormatDescriptionInvalidParameter = -12710;
    static constexpr MediaStatus SampleBufferRequiredParameterMissing = -12731;
    static constexpr MediaStatus SampleBufferAlreadyHasDataBuffer = -12732;
    static constexpr MediaStatus SampleBufferInvalidEntryCount = -12738;
    static constexpr MediaStatus SampleBufferInvalidSampleData = -12742;
};

/// The format of a stream of audio data, with the platform's field layout
/// (40 bytes).
struct AudioStreamBasicDescription {
    double sampleRate = 0.0;
    std::uint32_t formatID = 0;
    std::uint32_t formatFlags = 0;
    std::uint32_t bytesPerPacket = 0;
    std::uint32_t framesPerPacket = 0;
    std::uint32_t bytesPerFrame = 0;
    std::uint32_t channelsPerFrame = 0;
    std::uint32_t bitsPerChannel = 0;
    std::uint32_t reserved = 0;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

/// Linear PCM, the four-character code 'lpcm'.
inline constexpr std::uint32_t AudioFormatLinearPCM = 0x6C70636D;

/// Format flags of linear PCM, as the platform defines them.
struct AudioFormatFlags {
    static constexpr std::uint32_t IsFloat = 1U << 0U;
    static constexpr std::uint32_t IsBigEndian = 1U << 1U;
    static constexpr std::uint32_t IsSignedInteger = 1U << 2U;
    static constexpr std::uint32_t IsPacked = 1U << 3U;
    static constexpr std::uint32_t IsAlignedHigh = 1U << 4U;
    static constexpr std::uint32_t IsNonInterleaved = 1U << 5U;
};

/// One buffer of audio data (the platform's layout). `data` is not owned.
struct AudioBuffer {
    std::uint32_t numberChannels = 0;
    std::uint32_t dataByteSize = 0;
    void* data = nullptr;
};

/// A list of audio buffers; this platform's lists hold exactly one buffer.
struct AudioBufferList {
    std::uint32_t numberBuffers = 0;
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

    explicit AudioFormatDescription(const AudioStreamBasicDescription& description) : description_(description) { }

    [[nodiscard]] const AudioStreamBasicDescription& streamBasicDescription() const { return description_; }

    [[nodiscard]] std::string className() const override { return "AudioFormatDescription"; }

private:
    AudioStreamBasicDescription description_;
};

} // namespace lumora::platform
