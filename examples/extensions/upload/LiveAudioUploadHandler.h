#pragma once

#include "extensions/upload/AudioWavFiles.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>
#include <memory>
#include <string>

namespace lumora::sample {

/// What the live broadcast's sample upload extension keeps across requests:
/// the platform makes one handler per request, but the broadcast's two WAV
/// files and its counts outlive them. Only the audio queue touches the writers.
struct LiveAudioUpload {
    explicit LiveAudioUpload(const std::string& directory)
        : files(directory + "/live-application-audio.wav", directory + "/live-microphone-audio.wav")
    { }

    AudioWavFiles files;
    std::atomic<int> applicationSamples = 0;
    std::atomic<int> microphoneSamples = 0;
    std::atomic<int> actionsHeard = 0;
    /// Set on the audio queue once both files are closed.
    std::atomic<bool> closed = false;
};

/// The sample broadcast service's upload extension for live broadcasts: it
/// writes the application audio and the microphone audio it receives to two
/// WAV files (16-bit mono PCM, as the samples arrive), tells the service how
/// many people watch, and counts what it received.
class LiveAudioUploadHandler final : public LMBroadcastSampleHandler {
public:
    explicit LiveAudioUploadHandler(std::shared_ptr<LiveAudioUpload> upload) : upload_(std::move(upload)) { }

    void broadcastStartedWithSetupInfo(const platform::DictionaryRef& setupInfo) override;
    void broadcastPaused() override;
    void broadcastResumed() override;
    void broadcastFinished() override;
    void processSampleBuffer_withType(
        const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType) override;

private:
    std::shared_ptr<LiveAudioUpload> upload_;
};

} // namespace lumora::sample
