#include "extensions/upload/WavSampleHandler.h"

#include "platform/foundation/Value.h"
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
        recording->files.close([](const std::string& path, std::uint64_t frames) {
            fmt::print("[sample extension] wrote {} frames to {}\n", frames, path);
        });
        if (recording->onClosed) {
            recording->onClosed();
        }
    });
}

void WavSampleHandler::processSampleBuffer_withType(
    const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType)
{
    if (!recording_->files.append(*sampleBuffer, sampleBufferType)) {
        return;
    }
    ++recording_->samplesReceived;
    const auto& format = sampleBuffer->formatDescription()->streamBasicDescription();
    const bool bigEndian = (format.formatFlags & platform::AudioFormatFlags::IsBigEndian) != 0;
    fmt::print("[sample extension] {} audio: {} frames at {:.3f} s, {} Hz, flags {} ({})\n",
        sampleBufferType == LMBroadcastSampleTypeAudioApp ? "application" : "microphone", sampleBuffer->numSamples(),
        sampleBuffer->presentationTimeStamp().seconds(), format.sampleRate, format.formatFlags,
        bigEndian ? "big-endian" : "little-endian");
}

} // namespace lumora::sample
