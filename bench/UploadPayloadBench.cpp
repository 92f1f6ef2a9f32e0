// Throughput and memory of the sample handler's payload path: audio payloads
// arrive in a request, are decoded into sample buffers on the audio queue and
// delivered to a subclass. A plain copy of the same bytes, measured in the
// same run, gives the floor to compare against.
#include "bench/PayloadBenchSupport.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace {

using lumora::bench::decodeAndDeliver;
using lumora::bench::payloadList;
using lumora::bench::sendRequest;
using lumora::platform::Value;

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
