// The age-based clean-up of the recordings folder against the floor it
// cannot beat: a plain loop that stats and unlinks the same number of files,
// measured in the same run on the same file system. Both remove every file
// they are given; creating the files is left out of the timing.
#include "platform/host/device/SimulatedDevice.h"
#include "platform/system/FileManager.h"
#include "support/LMRecordingFileStore.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

// A folder of the benchmark's own with the recordings folder mounted onto it.
class BenchFolder {
public:
    BenchFolder()
    {
        std::string pattern = (fs::temp_directory_path() / "lumora-bench-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
        lumora::platform::host::SimulatedDevice::shared().mountDirectory(
            std::string(lumora::LMScreenRecorderTempDirectory), path_);
    }
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;
    BenchFolder(BenchFolder&&) = delete;
    BenchFolder& operator=(BenchFolder&&) = delete;
    ~BenchFolder()
    {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }

    // Makes `count` small files, each last modified an hour ago, and returns their paths.
    std::vector<std::string> fill(std::int64_t count) const
    {
        std::vector<std::string> paths;
        paths.reserve(static_cast<std::size_t>(count));
        const timespec anHourAgo { ::time(nullptr) - 3600, 0 };
        const timespec times[2] = { anHourAgo, anHourAgo };
        for (std::int64_t index = 0; index < count; ++index) {
            auto path = path_ + "/take-" + std::to_string(index) + ".mp4";
            const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            if (descriptor >= 0) {
                ::write(descriptor, "movie", 5);
                ::close(descriptor);
            }
            ::utimensat(AT_FDCWD, path.c_str(), static_cast<const timespec*>(times), 0);
            paths.push_back(std::move(path));
        }
        return paths;
    }

private:
    std::string path_;
};

void BM_AgeCleanUp(benchmark::State& state)
{
    BenchFolder folder;
    auto& manager = *lumora::platform::FileManager::defaultManager();
    for (auto _ : state) {
        state.PauseTiming();
        folder.fill(state.range(0));
        state.ResumeTiming();
        const auto freed = lumora::LMRecordingFileStore::_srDeleteFilesOlderThanTimeToLiveInSeconds(manager, 60.0);
        benchmark::DoNotOptimize(freed);
        if (freed != 5 * state.range(0)) {
            state.SkipWithError("the clean-up left files behind");
        }
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_PlainStatAndUnlink(benchmark::State& state)
{
    BenchFolder folder;
    for (auto _ : state) {
        state.PauseTiming();
        const auto paths = folder.fill(state.range(0));
        state.ResumeTiming();
        std::int64_t freed = 0;
        for (const auto& path : paths) {
            struct stat status { };
            if (::stat(path.c_str(), &status) == 0 && ::unlink(path.c_str()) == 0) {
                freed += status.st_size;
            }
        }
        benchmark::DoNotOptimize(freed);
    }
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_AgeCleanUp)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);
BENCHMARK(BM_PlainStatAndUnlink)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oN);

} // namespace

BENCHMARK_MAIN();
