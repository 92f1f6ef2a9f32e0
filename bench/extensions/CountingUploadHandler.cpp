// The benchmark's upload extension: a sample-buffer handler that counts the
// samples reaching it, and ends each request only once every sample of the
// request has reached it, returning how many have so far.
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>

namespace {

using lumora::platform::ExtensionContext;
using lumora::platform::Value;

std::atomic<std::int64_t> delivered { 0 };
std::atomic<std::uint64_t> checksum { 0 };

class CountingUploadHandler final : public lumora::LMBroadcastSampleHandler {
public:
    void beginRequestWithExtensionContext(const std::shared_ptr<ExtensionContext>& context) override
    {
        // The request ends after the samples it brought: their deliveries are
        // queued on the audio queue before the end is.
        auto* queue = &audioQueue();
        auto inner = std::make_shared<ExtensionContext>(
            context->inputItems(), [context, queue](const ExtensionContext::Outcome& outcome) {
                queue->async([context, outcome] {
                    if (outcome.error) {
                        context->cancelRequestWithError(outcome.error);
                        return;
                    }
                    context->completeRequestReturningItems_completionHandler(
                        { lumora::platform::host::ExtensionRequest::labelledItem(
                            "delivered", Value(delivered.load(std::memory_order_acquire))) },
                        nullptr);
                });
            });
        LMBroadcastSampleHandler::beginRequestWithExtensionContext(inner);
    }
    void processSampleBuffer_withType(
        const std::shared_ptr<lumora::platform::SampleBuffer>& sample, std::int64_t /*type*/) override
    {
        checksum.fetch_add(sample->dataBuffer().span().back(), std::memory_order_relaxed);
        delivered.fetch_add(1, std::memory_order_release);
    }
};

} // namespace

LUMORA_EXTENSION_PRINCIPAL_CLASS(CountingUploadHandler)
