#include "extensions/upload/AudioWavFiles.h"

#include "platform/media/AudioFormat.h"
#include "upload/LMBroadcastExtensionKeys.h"

namespace lumora::sample {

bool AudioWavFiles::append(const platform::SampleBuffer& sample, std::int64_t type)
{
    const bool application = type == LMBroadcastSampleTypeAudioApp;
    if (!application && type != LMBroadcastSampleTypeAudioMic) {
        return false;
    }
    const auto& format = sample.formatDescription()->streamBasicDescription();
    auto& writer = application ? application_ : microphone_;
    if (!writer) {
        writer = std::make_unique<WavWriter>(application ? applicationPath_ : microphonePath_,
            static_cast<std::uint32_t>(format.sampleRate), static_cast<std::uint16_t>(format.channelsPerFrame));
    }
    writer->appendSamples(
        sample.dataBuffer().span(), (format.formatFlags & platform::AudioFormatFlags::IsBigEndian) != 0);
    return true;
}

void AudioWavFiles::close(const std::function<void(const std::string& path, std::uint64_t frames)>& report)
{
    for (auto* writer : { application_.get(), microphone_.get() }) {
        if (writer != nullptr) {
            writer->close();
            report(writer->path(), writer->framesWritten());
        }
    }
}

} // namespace lumora::sample
