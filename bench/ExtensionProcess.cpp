// An upload extension in a process of its own against the same extension in
// the application's process: audio payloads decoded and delivered to a
// sample-buffer handler, 32 to a request, and the start of an extension's
// process up to its answer to the first request.
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/ExtensionHostProcess.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using lumora::platform::Data;
using lumora::platform::Dictionary;
using lumora::platform::Value;
using lumora::platform::host::ExtensionHostProcess;
using lumora::platform::host::ExtensionRequest;

std::atomic<std::uint64_t> delivered { 0 };
std::atomic<std::uint64_t> checksum { 0 };

// The in-process extension: counts what reaches the subclass.
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

Value payloadList(std::size_t bytes, std::size_t count)
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

void decodeAndDeliver(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto count = static_cast<std::size_t>(state.range(1));
    const Value payloads = payloadList(bytes, count);
    for (auto _ : state) {
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
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(count * bytes));
}

ExtensionHostProcess::Settings benchExtension()
{
    ExtensionHostProcess::Settings settings;
    settings.bundlePath = LUMORA_BENCH_EXTENSION_BUNDLE;
    return settings;
}

// The samples the extension says have reached it, or -1.
std::int64_t deliveredOf(const std::optional<ExtensionRequest::Outcome>& outcome)
{
    if (!outcome || outcome->error) {
        return -1;
    }
    const auto value = ExtensionRequest::loadValueOfItem(outcome->returnedItems, "delivered");
    return value && value->isInteger() ? value->int64Value() : -1;
}

// The same requests to the extension in its own process; each returns once
// every sample of the request has reached the handler there.
void decodeAndDeliverOutOfProcess(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto count = static_cast<std::size_t>(state.range(1));
    const lumora::platform::ExtensionItems items { ExtensionRequest::labelledItem(
        "payload", payloadList(bytes, count)) };
    ExtensionHostProcess process("benchmark", benchExtension());
    std::string failure;
    const auto first = deliveredOf(process.perform(items, {}, &failure));
    if (first < 0) {
        state.SkipWithError(("the extension's process did not answer: " + failure).c_str());
        return;
    }
    std::int64_t last = first;
    for (auto _ : state) {
        last = deliveredOf(process.perform(items, {}, &failure));
        if (last < 0) {
            state.SkipWithError(("the extension's process failed a request: " + failure).c_str());
            return;
        }
    }
    if (last - first != state.iterations() * static_cast<std::int64_t>(count)) {
        state.SkipWithError("samples went missing");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(count * bytes));
    process.stop();
    if (const auto exit = process.lastExit()) {
        state.counters["peak_MiB"] = static_cast<double>(exit->peakMemory) / (1024.0 * 1024.0);
    }
}

// Starting an extension's process and having its answer to a first request.
void extensionLaunch(benchmark::State& state)
{
    const lumora::platform::ExtensionItems items { ExtensionRequest::labelledItem("payload", payloadList(4096, 2)) };
    for (auto _ : state) {
        ExtensionHostProcess process("benchmark", benchExtension());
        const auto start = std::chrono::steady_clock::now();
        std::string failure;
        const auto answered = deliveredOf(process.perform(items, {}, &failure));
        const auto elapsed = std::chrono::steady_clock::now() - start;
        if (answered < 0) {
            state.SkipWithError(("the extension's process did not answer: " + failure).c_str());
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(elapsed).count());
        process.stop();
    }
}

} // namespace

BENCHMARK(decodeAndDeliver)->ArgNames({ "bytes", "payloads" })->ArgsProduct({ { 4096, 46080 }, { 32 } })->UseRealTime();
BENCHMARK(decodeAndDeliverOutOfProcess)
    ->ArgNames({ "bytes", "payloads" })
    ->ArgsProduct({ { 4096, 46080 }, { 32 } })
    ->UseRealTime();
BENCHMARK(extensionLaunch)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
