#include "extensions/upload/LiveAudioUploadHandler.h"

#include "platform/foundation/Value.h"
#include "platform/media/AudioFormat.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <fmt/format.h>

namespace lumora::sample {

namespace {

platform::DictionaryRef viewers(std::int64_t count)
{
    return std::make_shared<const platform::Dictionary>(platform::Dictionary { { "viewers", platform::Value(count) } });
}

} // namespace

void LiveAudioUploadHandler::broadcastStartedWithSetupInfo(const platform::DictionaryRef& setupInfo)
{
    fmt::print("   [upload extension] broadcast started, setup info {}\n", platform::Value(setupInfo).description());
    // Returned to the service with this request, and passed on to the app.
    updateServiceInfo(viewers(42));
    ++upload_->actionsHeard;
}

void LiveAudioUploadHandler::broadcastPaused()
{
    fmt::print("   [upload extension] broadcast paused after {} application and {} microphone audio samples\n",
        upload_->applicationSamples.load(), upload_->microphoneSamples.load());
    ++upload_->actionsHeard;
}

void LiveAudioUploadHandler::broadcastResumed()
{
    fmt::print("   [upload extension] broadcast resumed\n");
    updateServiceInfo(viewers(57));
    ++upload_->actionsHeard;
}

void LiveAudioUploadHandler::broadcastFinished()
{
    fmt::print("   [upload extension] broadcast finished\n");
    // Actions do not wait for audio queued before them: close the files from
    // the audio queue, after every sample already on its way.
    audioQueue().async([upload = upload_] {
        fmt::print("   [upload extension] received {} application and {} microphone audio samples\n",
            upload->applicationSamples.load(), upload->microphoneSamples.load());
        upload->files.close([](const std::string& path, std::uint64_t frames) {
            fmt::print("   [upload extension] wrote {} frames to {}\n", frames, path);
        });
        upload->closed = true;
    });
    ++upload_->actionsHeard;
}

void LiveAudioUploadHandler::processSampleBuffer_withType(
    const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType)
{
    if (!upload_->files.append(*sampleBuffer, sampleBufferType)) {
        return;
    }
    const bool application = sampleBufferType == LMBroadcastSampleTypeAudioApp;
    ++(application ? upload_->applicationSamples : upload_->microphoneSamples);
}

} // namespace lumora::sample
