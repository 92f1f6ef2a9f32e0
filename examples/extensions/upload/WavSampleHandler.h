#pragma once

#include "extensions/upload/AudioWavFiles.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <functional>
#include <memory>
#include <string>

namespace lumora::sample {

/// What a sample upload extension keeps across requests: the platform makes
/// one handler per request, but the broadcast's two WAV files outlive them.
/// Only the audio queue touches the writers.
struct WavRecording {
    explicit WavRecording(const std::string& directory)
        : files(directory + "/application-audio.wav", directory + "/microphone-audio.wav")
    { }

    AudioWavFiles files;
    std::uint64_t samplesReceived = 0;
    /// Called on the audio queue once both files are closed.
    std::function<void()> onClosed;
};

/// A sample upload extension that writes the application audio and the
/// microphone audio it receives to two WAV files.
class WavSampleHandler final : public LMBroadcastSampleHandler {
public:
    explicit WavSampleHandler(std::shared_ptr<WavRecording> recording) : recording_(std::move(recording)) { }

    void broadcastStartedWithSetupInfo(const platform::DictionaryRef& setupInfo) override;
    void broadcastPaused() override;
    void broadcastResumed() override;
    void broadcastFinished() override;
    void processSampleBuffer_withType(
        const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType) override;

private:
    std::shared_ptr<WavRecording> recording_;
};

} // namespace lumora::sample
