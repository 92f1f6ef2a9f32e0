// An upload extension in a process of its own against the same extension in
// the application's process: audio payloads decoded and delivered to a
// sample-buffer handler, 32 to a request, and the start of an extension's
// process up to its answer to the first request.
#include "bench/PayloadBenchSupport.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/ExtensionHostProcess.h"
#include "platform/host/services/ExtensionHostSpares.h"
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

using lumora::bench::decodeAndDeliver;
using lumora::bench::payloadList;
using lumora::platform::Value;
using lumora::platform::host::ExtensionHostProcess;
using lumora::platform::host::ExtensionHostSpares;
using lumora::platform::host::ExtensionRequest;

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

// An extension's launch as the application meets it: from the first request
// to its answer, with the device's spare process started ahead (`warm`), or
// with the program started for the request (`cold`), a memory group made for
// it and its libraries loaded.
void launch(benchmark::State& state, bool warm)
{
    const lumora::platform::ExtensionItems items { ExtensionRequest::labelledItem("payload", payloadList(4096, 2)) };
    auto settings = benchExtension();
    settings.startsAhead = warm;
    for (auto _ : state) {
        ExtensionHostProcess process("benchmark", settings);
        if (warm && !ExtensionHostSpares::shared().waitUntilReady(process.program(), std::chrono::seconds(10))) {
            state.SkipWithError("no spare process became ready");
            return;
        }
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

void extensionLaunch(benchmark::State& state)
{
    launch(state, true);
}

void extensionColdLaunch(benchmark::State& state)
{
    launch(state, false);
}

} // namespace

BENCHMARK(decodeAndDeliver)->ArgNames({ "bytes", "payloads" })->ArgsProduct({ { 4096, 46080 }, { 32 } })->UseRealTime();
BENCHMARK(decodeAndDeliverOutOfProcess)
    ->ArgNames({ "bytes", "payloads" })
    ->ArgsProduct({ { 4096, 46080 }, { 32 } })
    ->UseRealTime();
BENCHMARK(extensionLaunch)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(extensionColdLaunch)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
