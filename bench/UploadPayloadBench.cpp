// Throughput and memory of the sample handler's payload path: audio payloads
// arrive in a request, are decoded into sample buffers on the audio queue and
// delivered to a subclass. A plain copy of the same bytes, measured in the
// same run, gives the floor to compare against.
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace {

using lumora::platform::Data;
using lumora::platform::Dictionary;
using lumora::platform::Value;
using lumora::platform::host::ExtensionRequest;

// Counts what reaches the subclass; the benchmark waits on the count.
std::atomic<std::uint64_t> delivered { 0 };
std::atomic<std::uint64_t> checksum { 0 };

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

// One request carrying `payloads` as one item, to a new handler (the
// platform makes one per request); returns when the request has completed
// and every sample has reached the subclass.
void sendRequest(const Value& payloads, std::size_t count)
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

void decodeAndDeliver(benchmark::State& state)
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

void plainCopy(benchmark::State& state)
{
    const auto bytes = static_cast<std::size_t>(state.range(0));
    const auto count = static_cast<std::size_t>(state.range(1));
    const std::vector<std::vector<std::uint8_t>> sources(count, std::vector<std::uint8_t>(bytes, 1));
    std::vector<std::uint8_t> destination(bytes);
    for (auto _ : state) {
        for (const auto& source : sources) {
            std::memcpy(destination.data(), source.data(), bytes);
            benchmark::DoNotOptimize(destination.data());
            benchmark::ClobberMemory();
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(count * bytes));
}

double residentMiB()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}

// A million 4 KiB payloads in lists of 32, as one run.
void residentMemoryAfterAMillionPayloads(benchmark::State& state)
{
    constexpr std::size_t kBytes = 4096;
    constexpr std::size_t kPerList = 32;
    constexpr std::size_t kPayloads = 1'000'000;
    const Value payloads = payloadList(kBytes, kPerList);
    sendRequest(payloads, kPerList); // queues and threads exist before the first reading
    for (auto _ : state) {
        const double before = residentMiB();
        for (std::size_t sent = 0; sent < kPayloads; sent += kPerList) {
            sendRequest(payloads, kPerList);
        }
        const double after = residentMiB();
        malloc_trim(0);
        state.counters["rss_before_MiB"] = before;
        state.counters["rss_after_MiB"] = after;
        state.counters["rss_growth_KiB"] = (after - before) * 1024.0;
        state.counters["rss_after_trim_MiB"] = residentMiB();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(kPayloads));
}

} // namespace

BENCHMARK(decodeAndDeliver)
    ->ArgNames({ "bytes", "payloads" })
    ->ArgsProduct({ { 4096, 46080 }, { 1, 32 } })
    ->UseRealTime();
BENCHMARK(plainCopy)->ArgNames({ "bytes", "payloads" })->ArgsProduct({ { 4096, 46080 }, { 1, 32 } })->UseRealTime();
BENCHMARK(residentMemoryAfterAMillionPayloads)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

BENCHMARK_MAIN();
