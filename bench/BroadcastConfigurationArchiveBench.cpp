// One round trip of a broadcast configuration through a keyed archive, as a
// setup extension hands it to the service and an upload extension returns it:
// archiving (into the binary property list) and unarchiving securely.
#include "broadcast/LMBroadcastConfiguration.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

#include <benchmark/benchmark.h>
#include <cstdlib>

namespace {

using lumora::LMBroadcastConfiguration;
using lumora::platform::Dictionary;
using lumora::platform::KeyedArchiver;
using lumora::platform::KeyedUnarchiver;
using lumora::platform::Value;

std::shared_ptr<LMBroadcastConfiguration> typicalConfiguration()
{
    auto configuration = std::make_shared<LMBroadcastConfiguration>();
    configuration->setClipDuration(10.0);
    configuration->setVideoCompressionProperties(std::make_shared<Dictionary>(Dictionary {
        { "AverageBitRate", Value(2'000'000) },
        { "ExpectedFrameRate", Value(30) },
        { "ProfileLevel", Value("H264_Main_AutoLevel") },
    }));
    return configuration;
}

void archiveAndUnarchive(benchmark::State& state)
{
    const auto configuration = typicalConfiguration();
    for (auto _ : state) {
        const auto archive = KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
            Value(configuration), true, nullptr);
        const auto decoded
            = KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(*archive, nullptr);
        if (!decoded) {
            std::abort();
        }
        benchmark::DoNotOptimize(decoded.get());
    }
}

// The two halves alone, to tell where the time of a round trip goes.
void archive(benchmark::State& state)
{
    const auto configuration = typicalConfiguration();
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(Value(configuration), true, nullptr));
    }
}

void unarchive(benchmark::State& state)
{
    const auto data = KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
        Value(typicalConfiguration()), true, nullptr);
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(*data, nullptr));
    }
}

} // namespace

BENCHMARK(archiveAndUnarchive);
BENCHMARK(archive);
BENCHMARK(unarchive);

BENCHMARK_MAIN();
