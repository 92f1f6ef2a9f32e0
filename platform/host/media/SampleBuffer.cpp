#include "platform/media/SampleBuffer.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace lumora::platform {

namespace {

void report(MediaStatus* status, MediaStatus value)
{
    if (status != nullptr) {
        *status = value;
    }
}

// An entry count is valid when there are no entries, one for every sample,
// or one per sample.
bool isValidEntryCount(std::size_t entries, std::int64_t numSamples)
{
    return entries <= 1 || static_cast<std::uint64_t>(entries) == static_cast<std::uint64_t>(numSamples);
}

} // namespace

std::shared_ptr<AudioFormatDescription> AudioFormatDescription::create(
    const AudioStreamBasicDescription& description, MediaStatus* status)
{
    if (description.formatID == 0 || !std::isfinite(description.sampleRate) || description.sampleRate <= 0.0
        || description.channelsPerFrame == 0) {
        report(status, MediaError::FormatDescriptionInvalidParameter);
        return nullptr;
    }
    report(status, MediaError::NoError);
    return std::make_shared<AudioFormatDescription>(description);
}

std::shared_ptr<SampleBuffer> SampleBuffer::createWithoutData(bool dataReady,
    std::shared_ptr<const AudioFormatDescription> format, std::int64_t numSamples,
    std::span<const SampleTimingInfo> timing, std::span<const std::size_t> sampleSizes, MediaStatus* status)
{
    if (!format) {
        report(status, MediaError::SampleBufferRequiredParameterMissing);
        return nullptr;
    }
    if (numSamples < 0 || !isValidEntryCount(timing.size(), numSamples)
        || !isValidEntryCount(sampleSizes.size(), numSamples)) {
        report(status, MediaError::SampleBufferInvalidEntryCount);
        return nullptr;
    }
    report(status, MediaError::NoError);
    return std::make_shared<SampleBuffer>(dataReady, std::move(format), numSamples, timing, sampleSizes);
}

SampleBuffer::SampleBuffer(bool dataReady, std::shared_ptr<const AudioFormatDescription> format,
    std::int64_t numSamples, std::span<const SampleTimingInfo> timing, std::span<const std::size_t> sampleSizes)
    : dataReady_(dataReady),
      format_(std::move(format)),
      numSamples_(numSamples),
      timing_(timing.begin(), timing.end()),
      sizes_(sampleSizes.begin(), sampleSizes.end())
{ }

MediaStatus SampleBuffer::setDataBufferFromAudioBufferList(const AudioBufferList& bufferList, std::uint32_t /*flags*/)
{
    if (!data_.empty()) {
        return MediaError::SampleBufferAlreadyHasDataBuffer;
    }
    if (bufferList.numberBuffers != 1) {
        return MediaError::SampleBufferInvalidSampleData;
    }
    const AudioBuffer& buffer = bufferList.buffers[0];
    if (buffer.data == nullptr && buffer.dataByteSize > 0) {
        return MediaError::SampleBufferRequiredParameterMissing;
    }
    // The samples must fill the buffer exactly: a count that claims more (or
    // fewer) frames than the data holds does not fit.
    const std::uint64_t bytesPerFrame = format_->streamBasicDescription().bytesPerFrame;
    if (bytesPerFrame != 0) {
        const auto frames = static_cast<std::uint64_t>(numSamples_);
        if (frames > std::numeric_limits<std::uint64_t>::max() / bytesPerFrame
            || frames * bytesPerFrame != buffer.dataByteSize) {
            return MediaError::SampleBufferInvalidSampleData;
        }
    }
    data_ = Data(buffer.data, buffer.dataByteSize);
    dataReady_ = true;
    return MediaError::NoError;
}

MediaTime SampleBuffer::presentationTimeStamp() const
{
    return timing_.empty() ? MediaTime {} : timing_.front().presentationTimeStamp;
}

std::string SampleBuffer::description() const
{
    const auto& format = format_->streamBasicDescription();
    return fmt::format("<SampleBuffer: {} samples, {} Hz, flags {}, {} bytes, pts {}>", numSamples_, format.sampleRate,
        format.formatFlags, data_.length(), presentationTimeStamp().seconds());
}

} // namespace lumora::platform
