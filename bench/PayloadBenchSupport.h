#pragma once

// What the payload benchmarks share: audio payload lists as the recording
// service sends them, and a sample-buffer handler that counts what reaches it.
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <vector>

namespace lumora::bench {

using platform::Data;
using platform::Dictionary;
using platform::Value;
using platform::host::ExtensionRequest;

// Counts what reaches the subclass; the benchmark waits on the count.
inline std::atomic<std::uint64_t> delivered { 0 };
inline std::atomic<std::uint64_t> checksum { 0 };

class CountingHandler final : public lumora::LMBroadcastSampleHandler {
public:
    void processSampleBuffer_withType(
        const std::shared_ptr<lumora::platform::SampleBuffer>& sample, std::int64_t /*type*/) override
    {
        checksum.fetch_add(sample->dataBuffer().span().back(), std::memory_order_relaxed);
        delivered.fetch_add(1, std::memory_order_release);
        delivered.notify_all();
    }
};

inline Value payloadList(std::size_t bytes, std::size_t count)
{
    auto list = std::make_shared<lumora::platform::Array>();
    lumora::platform::SampleTimingInfo timing;
    timing.presentationTimeStamp = { 0, 44100, lumora::platform::MediaTime::Valid, 0 };
    for (std::size_t i = 0; i < count; ++i) {
        list->emplace_back(std::make_shared<Dictionary>(Dictionary {
            { std::string(lumora::LMBroadcastProcessExtensionPayloadKeySampleType), Value(i % 2 == 0 ? 2 : 3) },
            { std::string(lumora::LMBroadcastProcessExtensionPayloadKeyNumSamples),
                Value(static_cast<std::int64_t>(bytes / 2)) },
            { std::string(lumora::LMBroadcastProcessExtensionPayloadKeyAudioBufferList),
                Value(Data(std::vector<std::uint8_t>(bytes, static_cast<std::uint8_t>(i)))) },
            { std::string(lumora::LMBroadcastProcessExtensionPayloadKeyTimingInfo),
                Value(Data(&timing, sizeof timing)) },
        }));
    }
    return Value(std::move(list));
}

// One request carrying `payloads` as one item, to a new handler (the
// platform makes one per request); returns when the request has completed
// and every sample has reached the subclass.
inline void sendRequest(const Value& payloads, std::size_t count)
{
    const std::uint64_t target = delivered.load(std::memory_order_acquire) + count;
    const ExtensionRequest request({ ExtensionRequest::labelledItem("payload", payloads) });
    std::make_shared<CountingHandler>()->beginRequestWithExtensionContext(request.context());
    if (!request.waitForOutcome(std::chrono::seconds(10))) {
        std::abort();
    }
    for (std::uint64_t now = delivered.load(std::memory_order_acquire); now < target;
         now = delivered.load(std::memory_order_acquire)) {
        delivered.wait(now, std::memory_order_acquire);
    }
}

// Payload lists of range(0) bytes per payload and range(1) payloads, one
// list a request, to the handler in this process.
inline void decodeAndDeliver(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto count = static_cast<std::size_t>(state.range(1));
    const Value payloads = payloadList(bytes, count);
    for (auto _ : state) {
        sendRequest(payloads, count);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(count * bytes));
}

} // namespace lumora::bench
