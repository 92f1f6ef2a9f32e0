// How late a live broadcast reaches its viewers: the app draws a frame
// counter, the sample streaming service publishes the broadcast's movie clips
// to a local ingest server, and a viewer plays the stream back and reads the
// counter off each picture it decodes. Each case is one clip duration; the
// counters are the median and the worst delay from the moment the app drew a
// frame to the moment the viewer decoded it, in wall-clock milliseconds, with
// the device clock running at real speed. Clips are cut after they are
// recorded, so a frame waits up to one clip duration before it can leave:
// that duration is the floor.
//
// The broadcast lasts 60 seconds per case; LUMORA_LATENCY_SECONDS sets
// another length (a short one for a smoke run).

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastController.h"
#include "extensions/setup/StreamerSetupExtension.h"
#include "extensions/upload/IngestStatistics.h"
#include "extensions/upload/LiveClipUploadHandler.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/GraphicsContext.h"
#include "platform/graphics/Layer.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/services/IngestServer.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/host/services/StreamViewer.h"
#include "platform/system/Application.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMExtensions.h"
#include "recording/LMScreenRecorder.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <unistd.h>
#include <vector>

namespace {

using namespace lumora;
using namespace std::chrono_literals;
using platform::host::SimulatedDevice;
using SteadyClock = std::chrono::steady_clock;

constexpr const char* kSetupExtension = "com.example.clipcaster.setup";
constexpr const char* kUploadExtension = "com.example.clipcaster.upload";
constexpr double kDefaultSeconds = 60;
// The counter's 16 bits: two rows of eight cells, white for a one.
constexpr int kColumns = 8;
constexpr int kRows = 2;
constexpr double kWidth = 128;
constexpr double kHeight = 64;

double broadcastSeconds()
{
    const char* text = std::getenv("LUMORA_LATENCY_SECONDS");
    const double seconds = text != nullptr ? std::atof(text) : kDefaultSeconds;
    return seconds > 0 ? seconds : kDefaultSeconds;
}

/// The moments the app drew each frame number.
class DrawLog {
public:
    int drew()
    {
        std::lock_guard lock(mutex_);
        times_.push_back(SteadyClock::now());
        return static_cast<int>(times_.size());
    }
    std::optional<SteadyClock::time_point> drawn(int number) const
    {
        std::lock_guard lock(mutex_);
        if (number < 1 || number > static_cast<int>(times_.size())) {
            return std::nullopt;
        }
        return times_[static_cast<std::size_t>(number - 1)];
    }

private:
    mutable std::mutex mutex_;
    std::vector<SteadyClock::time_point> times_;
};

/// The app's frame counter: every time the screen is drawn, the next number.
class CounterLayer final : public platform::Layer {
public:
    explicit CounterLayer(std::shared_ptr<DrawLog> log) : log_(std::move(log)) { }
    [[nodiscard]] bool drawsContent() const override { return true; }
    void drawInContext(platform::GraphicsContext& context) const override
    {
        const int number = log_->drew();
        const auto size = bounds().size;
        for (int bit = 0; bit < kColumns * kRows; ++bit) {
            context.setGrayFillColor_alpha(((number >> bit) & 1) != 0 ? 1.0 : 0.0, 1);
            context.fillRect({ { (bit % kColumns) * size.width / kColumns, (bit / kColumns) * size.height / kRows },
                { size.width / kColumns, size.height / kRows } });
        }
    }

private:
    std::shared_ptr<DrawLog> log_;
};

int readCounter(const platform::host::Bitmap& picture)
{
    int number = 0;
    for (int bit = 0; bit < kColumns * kRows; ++bit) {
        const auto pixel = picture.pixelAt((2 * (bit % kColumns) + 1) * picture.width() / (2 * kColumns),
            (2 * (bit / kColumns) + 1) * picture.height() / (2 * kRows));
        if (pixel.red + pixel.green + pixel.blue > 1.5) {
            number |= 1 << bit;
        }
    }
    return number;
}

class AppDelegate final : public platform::ApplicationDelegate::Window {
public:
    std::shared_ptr<platform::Window> window() const override { return window_; }
    std::shared_ptr<platform::Window> window_;
};

class PickerDelegate final : public LMBroadcastActivityViewControllerDelegate::
                                 BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& controller, const platform::ErrorRef& /*error*/) override
    {
        std::lock_guard lock(mutex);
        chosen = controller;
        finished = true;
    }
    std::mutex mutex;
    std::shared_ptr<LMBroadcastController> chosen;
    bool finished = false;
};

bool pump(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    return platform::MainQueue::runUntil(condition, timeout);
}

void BM_BroadcastLatency(benchmark::State& state)
{
    const double clipDuration = static_cast<double>(state.range(0)) / 1000;
    const double seconds = broadcastSeconds();
    std::vector<double> latencies;
    for (auto _ : state) {
        auto& device = SimulatedDevice::shared();
        device.reset();
        device.releaseClock();
        device.mountDirectory(std::string(LMExtensions::FrameworkBundlePath), LUMORA_FRAMEWORK_BUNDLE_DIR);
        device.setMainBundle(std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/LumoraSample.app");
        device.screens().setMainScreen({ { 0, 0 }, { kWidth, kHeight } }, 1);
        const auto draws = std::make_shared<DrawLog>();
        const auto window = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { kWidth, kHeight } });
        const auto counter = std::make_shared<CounterLayer>(draws);
        counter->setFrame({ { 0, 0 }, { kWidth, kHeight } });
        window->layer()->addSublayer(counter);
        window->makeKeyAndVisible();
        const auto appDelegate = std::make_shared<AppDelegate>();
        appDelegate->window_ = window;
        device.application().setDelegate(appDelegate);

        const auto folder
            = std::filesystem::temp_directory_path() / fmt::format("lumora-latency-{}-{}", ::getpid(), state.range(0));
        auto server = platform::host::IngestServer::start((folder / "server").string());
        if (!server) {
            state.SkipWithError("the ingest server did not start");
            return;
        }
        const auto url = server->streamURL("latency");
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(platform::host::SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(platform::host::SimulatedBroadcastPicker::UploadExtensionAttribute)]
            = kUploadExtension;
        const sample::StreamerIngest ingest { url, server->statisticsURL(), clipDuration };
        device.extensions().installExtension(
            kSetupExtension, attributes, [ingest](const platform::host::ExtensionRequestSide& side) {
                return sample::startStreamerSetup(side.context, ingest);
            });
        const auto upload = std::make_shared<sample::LiveClipUpload>();
        device.recordingService().installUploadExtension(kUploadExtension,
            platform::host::SimulatedRecordingService::UploadKind::MovieClip,
            [upload] { return std::make_shared<sample::LiveClipUploadHandler>(upload); });
        device.recordingService().setRecordsScreen(true);
        LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

        std::mutex measured;
        std::vector<double> delays;
        platform::host::StreamViewer viewer(
            url, {}, [&draws, &measured, &delays](const platform::host::Bitmap& picture, double /*time*/) {
                const auto decoded = SteadyClock::now();
                if (const auto drawn = draws->drawn(readCounter(picture))) {
                    std::lock_guard lock(measured);
                    delays.push_back(std::chrono::duration<double, std::milli>(decoded - *drawn).count());
                }
            });
        // The viewer asks to play first, so that it sees the stream from its start.
        pump(
            [&server] {
                return sample::IngestStatistics::viewersOfStream(server->statisticsURL(), "latency", 1s) == 1;
            },
            5s);

        std::shared_ptr<LMBroadcastActivityViewController> picker;
        LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(
            [&picker](const std::shared_ptr<LMBroadcastActivityViewController>& loaded, const platform::ErrorRef&) {
                picker = loaded;
            });
        pump([&picker] { return picker != nullptr; }, 5s);
        const auto pickerDelegate = std::make_shared<PickerDelegate>();
        std::shared_ptr<LMBroadcastController> controller;
        if (picker) {
            picker->setDidFinishHandler(nullptr);
            picker->setDelegate(pickerDelegate);
            device.broadcastPicker().chooseService(kSetupExtension);
            pump(
                [&pickerDelegate] {
                    std::lock_guard lock(pickerDelegate->mutex);
                    return pickerDelegate->finished;
                },
                5s);
            std::lock_guard lock(pickerDelegate->mutex);
            controller = pickerDelegate->chosen;
        }
        if (!controller) {
            state.SkipWithError("the picker gave no broadcast controller");
            return;
        }
        LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
        controller->startBroadcastWithHandler(nullptr);
        const auto end = SteadyClock::now() + std::chrono::duration<double>(seconds);
        pump([end] { return SteadyClock::now() >= end; },
            std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000) + 1000));
        controller->finishBroadcastWithHandler(nullptr);
        pump([&upload] { return upload->lastClipReceived.load(); }, 10s);
        (void)device.recordingService().waitForUploadRequests(10s);
        viewer.waitForQuiet(500ms, 5s);
        viewer.stop();
        viewer.waitUntilEnded(5s);
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        device.recordingService().setRecordsScreen(false);
        server.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
        std::lock_guard lock(measured);
        latencies.insert(latencies.end(), delays.begin(), delays.end());
    }
    if (latencies.empty()) {
        state.SkipWithError("the viewer read no frame counter");
        return;
    }
    std::sort(latencies.begin(), latencies.end());
    state.counters["median_ms"] = latencies[latencies.size() / 2];
    state.counters["worst_ms"] = latencies.back();
    state.counters["frames"] = static_cast<double>(latencies.size());
}

BENCHMARK(BM_BroadcastLatency)
    ->Name("BroadcastLatency/clip_ms")
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
