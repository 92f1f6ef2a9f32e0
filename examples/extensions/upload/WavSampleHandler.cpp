#include "extensions/upload/WavSampleHandler.h"

#include "platform/Value.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <fmt/format.h>

namespace lumora::sample {

void WavSampleHandler::broadcastStartedWithSetupInfo(const platform::DictionaryRef& setupInfo)
{
    fmt::print("[sample extension] broadcast started, setup info {}\n", platform::Value(setupInfo).description());
}

void WavSampleHandler::broadcastPaused()
{
    fmt::print("[sample extension] broadcast paused\n");
}

void WavSampleHandler::broadcastResumed()
{
    fmt::print("[sample extension] broadcast resumed\n");
}

void WavSampleHandler::broadcastFinished()
{
    fmt::print("[sample extension] broadcast finished\n");
    // Actions do not wait for audio queued before them: close the files from
    // the audio queue, after every sample already on its way.
    audioQueue().async([recording = recording_] {
        for (auto* writer : { recording->applicationAudio.get(), recording->microphoneAudio.get() }) {
            if (writer != nullptr) {
                writer->close();
                fmt::print("[sample extension] wrote {} frames to {}\n", writer->framesWritten(), writer->path());
            }
        }
        if (recording->onClosed) {
            recording->onClosed();
        }
    });
}

void WavSampleHandler::processSampleBuffer_withType(
    const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType)
{
    const auto& format = sampleBuffer->formatDescription()->streamBasicDescription();
    const bool application = sampleBufferType == LMBroadcastSampleTypeAudioApp;
    const bool bigEndian = (format.formatFlags & platform::AudioFormatFlags::IsBigEndian) != 0;
    auto& writer = application ? recording_->applicationAudio : recording_->microphoneAudio;
    if (!writer) {
        const auto path
            = recording_->outputDirectory + (application ? "/application-audio.wav" : "/microphone-audio.wav");
        writer = std::make_unique<WavWriter>(
            path, static_cast<std::uint32_t>(format.sampleRate), static_cast<std::uint16_t>(format.channelsPerFrame));
    }
    writer->appendSamples(sampleBuffer->dataBuffer().span(), bigEndian);
    ++recording_->samplesReceived;
    fmt::print("[sample extension] {} audio: {} frames at {:.3f} s, {} Hz, flags {} ({})\n",
        application ? "application" : "microphone", sampleBuffer->numSamples(),
        sampleBuffer->presentationTimeStamp().seconds(), format.sampleRate, format.formatFlags,
        bigEndian ? "big-endian" : "little-endian");
}

} // namespace lumora::sample
