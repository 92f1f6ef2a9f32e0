// A deliberately leaky upload extension, for the lab to catch: it keeps every
// payload it receives, and with each one the working buffer it encoded it
// in, so its memory grows by about a mebibyte a payload until its process
// crosses the ceiling of its kind (an upload extension's 50 MB) a few seconds
// into a broadcast. `lumora-lab` reports it and exits with status 5.
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace {

// What the extension never lets go of: every payload and every working buffer.
struct Hoard {
    std::mutex mutex;
    std::vector<std::shared_ptr<lumora::platform::SampleBuffer>> payloads;
    std::vector<std::unique_ptr<char[]>> buffers; // NOLINT(cppcoreguidelines-avoid-c-arrays)
};

Hoard& hoard()
{
    static Hoard kept;
    return kept;
}

constexpr std::size_t kWorkingBufferBytes = std::size_t { 1 } << 20U;

class LeakyUploadHandler final : public lumora::LMBroadcastSampleHandler {
public:
    void processSampleBuffer_withType(
        const std::shared_ptr<lumora::platform::SampleBuffer>& sampleBuffer, std::int64_t /*type*/) override
    {
        auto buffer = std::make_unique<char[]>(kWorkingBufferBytes); // NOLINT(cppcoreguidelines-avoid-c-arrays)
        // Written through, as an encoder would, so every page is resident.
        std::memset(buffer.get(), 1, kWorkingBufferBytes);
        auto& kept = hoard();
        const std::lock_guard lock(kept.mutex);
        kept.payloads.push_back(sampleBuffer);
        kept.buffers.push_back(std::move(buffer));
    }
};

} // namespace

LUMORA_EXTENSION_PRINCIPAL_CLASS(LeakyUploadHandler)
