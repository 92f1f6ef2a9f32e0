#pragma once

#include "platform/foundation/Data.h"
#include "platform/foundation/Object.h"
#include "platform/media/AudioFormat.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace lumora::platform {

/// A rational time: `value / timescale` seconds (24 bytes, host byte order).
struct MediaTime {
    /// The numerator: the time in units of `timescale`.
    std::int64_t value = 0;
    /// Units per second.
    std::int32_t timescale = 0;
    /// A combination of Valid, HasBeenRounded, PositiveInfinity, NegativeInfinity
    /// and Indefinite.
    std::uint32_t flags = 0;
    /// Tells apart times of otherwise equal value on different timelines; usually 0.
    std::int64_t epoch = 0;

    /// The time is valid; a zeroed time is invalid.
    static constexpr std::uint32_t Valid = 1U << 0U;
    /// The value was rounded when it was converted.
    static constexpr std::uint32_t HasBeenRounded = 1U << 1U;
    /// The time is +infinity.
    static constexpr std::uint32_t PositiveInfinity = 1U << 2U;
    /// The time is -infinity.
    static constexpr std::uint32_t NegativeInfinity = 1U << 3U;
    /// The time is not known.
    static constexpr std::uint32_t Indefinite = 1U << 4U;

    /// Whether the Valid flag is set.
    [[nodiscard]] bool isValid() const { return (flags & Valid) != 0; }
    /// The time in seconds; 0 when the time is invalid or has no timescale.
    [[nodiscard]] double seconds() const
    {
        return isValid() && timescale != 0 ? static_cast<double>(value) / timescale : 0.0;
    }
};
static_assert(sizeof(MediaTime) == 24);

/// The timing of a sample: duration, presentation time and decode time (72 bytes).
struct SampleTimingInfo {
    /// How long the sample lasts.
    MediaTime duration;
    /// When the sample is to be presented.
    MediaTime presentationTimeStamp;
    /// When the sample is to be decoded; may be invalid when samples are decoded
    /// in presentation order.
    MediaTime decodeTimeStamp;
};
static_assert(sizeof(SampleTimingInfo) == 72);

/// A timed media sample: a format, a number of samples, timing, and the
/// sample data once attached.
class SampleBuffer final : public Object {
public:
    /// A sample buffer with no data yet, of `numSamples` samples in `format`,
    /// with `timing` entries (none, one for all samples, or one per sample)
    /// and `sampleSizes` entries (likewise). Null with `*status` set (when
    /// given) without a format, or when a count is negative or does not match.
    static std::shared_ptr<SampleBuffer> createWithoutData(bool dataReady,
        std::shared_ptr<const AudioFormatDescription> format, std::int64_t numSamples,
        std::span<const SampleTimingInfo> timing, std::span<const std::size_t> sampleSizes,
        MediaStatus* status = nullptr);

    /// Builds a sample buffer unchecked; use `createWithoutData` to have the
    /// arguments checked.
    SampleBuffer(bool dataReady, std::shared_ptr<const AudioFormatDescription> format, std::int64_t numSamples,
        std::span<const SampleTimingInfo> timing, std::span<const std::size_t> sampleSizes);

    /// Copies the data of `bufferList` into the sample buffer's own storage
    /// and marks the data ready. The list must hold one buffer whose size is
    /// exactly the samples' size in the format (number of samples times bytes
    /// per frame); otherwise nothing is attached and an error is returned.
    MediaStatus setDataBufferFromAudioBufferList(const AudioBufferList& bufferList, std::uint32_t flags = 0);

    /// The format of the samples; never null for a buffer made by `createWithoutData`.
    [[nodiscard]] const std::shared_ptr<const AudioFormatDescription>& formatDescription() const { return format_; }
    /// The number of samples.
    [[nodiscard]] std::int64_t numSamples() const { return numSamples_; }
    /// The timing entries: none, one for all samples or one per sample.
    [[nodiscard]] const std::vector<SampleTimingInfo>& sampleTimingInfo() const { return timing_; }
    /// The sample-size entries in bytes: none, one for all samples or one per sample.
    [[nodiscard]] const std::vector<std::size_t>& sampleSizes() const { return sizes_; }
    /// The presentation time of the first sample (invalid when there is no timing).
    [[nodiscard]] MediaTime presentationTimeStamp() const;
    /// Whether the sample data is ready: given at creation, or data attached.
    [[nodiscard]] bool isDataReady() const { return dataReady_; }
    /// The attached data; empty until data is attached.
    [[nodiscard]] const Data& dataBuffer() const { return data_; }

    [[nodiscard]] std::string className() const override { return "SampleBuffer"; }
    [[nodiscard]] std::string description() const override;

private:
    bool dataReady_;
    std::shared_ptr<const AudioFormatDescription> format_;
    std::int64_t numSamples_;
    std::vector<SampleTimingInfo> timing_;
    std::vector<std::size_t> sizes_;
    Data data_;
};

} // namespace lumora::platform
