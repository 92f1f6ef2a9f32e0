// The recording service in a process of its own.
//
// requestRoundTrip: a round trip (a start answered, then a stop answered) over
// the connection to the service, beside the same round trip through the local
// proxy, which answers in-process, measured in the same run. Over the
// connection, each request crosses the socket both ways, the reply goes
// through the connection's queue to the MainQueue; the start has the device
// begin capturing (one picture) and the stop has the service complete its movie.
//
// answerRoundTrip: over the connection, a request the service answers
// without work of its own (a discard with nothing to discard): the crossing
// alone. (The local proxy never answers a discard, so it has no such case.)
//
// captureAndEncode: recording a 750 x 1334 screen through the service: the
// device composites each frame on the MainQueue into a shared-memory slot,
// the service encodes it (H.264 and AAC, a fragmented movie). One iteration is
// one frame of the device clock; a frame waits only for a free slot, so the
// device and the service work side by side. directEncode: the same frames and
// settings encoded by the movie writer directly, in this process, one after
// the other. Both count `frames_per_second` (wall clock, the finish of the
// movie left out).
//
// recordingMemory: sixty seconds of the device clock recorded through the
// service, with the service's peak resident memory and its resident memory
// after the first five seconds.
#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/Color.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/media/MovieWriter.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/ServiceConnection.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "recording/LMDaemonProxy.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using lumora::LMDaemonProxy;
using lumora::platform::ErrorRef;
using lumora::platform::MainQueue;
using lumora::platform::URL;
using lumora::platform::host::SimulatedDevice;

constexpr std::chrono::seconds kReplyTimeout { 5 };

SimulatedDevice& preparedDevice()
{
    auto& device = SimulatedDevice::shared();
    device.mountDirectory("/System/Library/Frameworks/Lumora.framework", LUMORA_FRAMEWORK_BUNDLE_DIR);
    return device;
}

// A proxy to the service, over the connection the device offers or local;
// null (and the state says why) when the device offers none.
std::shared_ptr<LMDaemonProxy> proxyFor(benchmark::State& state, bool overConnection)
{
    auto& device = preparedDevice();
    auto proxy = std::make_shared<LMDaemonProxy>();
    if (overConnection) {
        device.recordingService().setRunsInOwnProcess(true);
        proxy->setConnection(lumora::platform::ServiceConnection::connectionToService(
            std::string(lumora::platform::host::RecordingServiceProcess::ServiceName)));
        if (!proxy->connection()) {
            state.SkipWithError("the device offers no connection to the service");
            return nullptr;
        }
    }
    return proxy;
}

void endProxy(const std::shared_ptr<LMDaemonProxy>& proxy, bool overConnection)
{
    auto& device = SimulatedDevice::shared();
    if (overConnection) {
        proxy->setConnection(nullptr);
        device.recordingService().process().kill();
        device.recordingService().setRunsInOwnProcess(false);
    }
    device.recordingService().clearRequests();
}

void requestRoundTrip(benchmark::State& state, bool overConnection)
{
    auto& device = preparedDevice();
    const auto proxy = proxyFor(state, overConnection);
    if (!proxy) {
        return;
    }
    std::int64_t failures = 0;
    std::int64_t roundTrips = 0;
    for (auto _ : state) {
        bool started = false;
        bool stopped = false;
        proxy
            ->startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
                { 1 }, { 750, 1334 }, true, false, false, false,
                [&started, &failures](const ErrorRef& error, bool /*microphone*/, bool /*camera*/) {
                    started = true;
                    failures += error ? 1 : 0;
                });
        MainQueue::runUntil([&started] { return started; }, kReplyTimeout);
        proxy->stopRecordingWithHandler(
            [&stopped, &failures](const std::optional<URL>& movieURL, const ErrorRef& error) {
                stopped = true;
                failures += error || !movieURL ? 1 : 0;
            });
        MainQueue::runUntil([&stopped] { return stopped; }, kReplyTimeout);
        if (!started || !stopped) {
            state.SkipWithError("a request was not answered");
            break;
        }
        // The local stand-in keeps every request it answers.
        if (++roundTrips % 1024 == 0) {
            device.recordingService().clearRequests();
        }
    }
    state.counters["failures"] = static_cast<double>(failures);
    endProxy(proxy, overConnection);
}

// The round trip of a request that the service answers without work of its
// own (a discard with no movie to discard): what crossing to the service's
// process and back costs, without the capture a start sets up and the movie
// a stop completes.
void answerRoundTrip(benchmark::State& state)
{
    auto& device = preparedDevice();
    const auto proxy = proxyFor(state, true);
    if (!proxy) {
        return;
    }
    std::int64_t roundTrips = 0;
    for (auto _ : state) {
        bool answered = false;
        proxy->discardRecordingWithHandler([&answered] { answered = true; });
        MainQueue::runUntil([&answered] { return answered; }, kReplyTimeout);
        if (!answered) {
            state.SkipWithError("a request was not answered");
            break;
        }
        if (++roundTrips % 1024 == 0) {
            device.recordingService().clearRequests();
        }
    }
    endProxy(proxy, true);
}

using lumora::platform::Color;
using lumora::platform::Rect;
using lumora::platform::View;
using lumora::platform::Window;
using lumora::platform::host::MovieWriter;
using lumora::platform::host::RecordingServiceProcess;
using lumora::platform::host::ScreenCapture;

/// A 750 x 1334 screen of rows of views, with a square that moves every frame.
struct Scene {
    std::shared_ptr<Window> window;
    std::shared_ptr<View> mover;
    int frame = 0;

    Scene()
    {
        auto& device = preparedDevice();
        device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
        window = std::make_shared<Window>(Rect { { 0, 0 }, { 375, 667 } });
        window->setBackgroundColor(Color::whiteColor());
        window->makeKeyAndVisible();
        for (int row = 0; row < 7; ++row) {
            auto cell = std::make_shared<View>(Rect { { 0, 64.0 + row * 86 }, { 375, 84 } });
            cell->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.9, 0.92 - row * 0.05, 0.95, 1));
            auto icon = std::make_shared<View>(Rect { { 12, 10 }, { 64, 64 } });
            icon->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.2, 0.3 + row * 0.1, 0.8, 1));
            cell->addSubview(icon);
            window->addSubview(cell);
        }
        mover = std::make_shared<View>(Rect { { 0, 0 }, { 120, 120 } });
        window->addSubview(mover);
        device.freezeClock(lumora::platform::Date::now());
    }

    /// Moves the square and lets one frame of the device clock pass (the
    /// first step lands half-way into the frame, so every step takes one picture).
    void step(int framesPerSecond)
    {
        ++frame;
        mover->setFrame(
            { { static_cast<double>((frame * 7) % 255), static_cast<double>((frame * 11) % 547) }, { 120, 120 } });
        mover->setBackgroundColor(
            Color::colorWithRed_green_blue_alpha((frame % 30) / 30.0, 0.5, 1 - ((frame % 50) / 50.0), 1));
        preparedDevice().advanceClock((frame == 1 ? 0.5 : 1.0) / framesPerSecond);
        MainQueue::drain();
    }
};

/// Wall-clock seconds since `began`: the device and the service work on
/// threads and in a process of their own, so only the wall clock tells a rate.
double secondsSince(std::chrono::steady_clock::time_point began)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
}

/// The resident memory of process `pid` in megabytes: now, and its peak.
std::pair<double, double> residentMemory(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    double now = 0;
    double peak = 0;
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:")) {
            now = std::stod(line.substr(6)) / 1024;
        } else if (line.starts_with("VmHWM:")) {
            peak = std::stod(line.substr(6)) / 1024;
        }
    }
    return { now, peak };
}

/// A recording through the service process: started on construction, stopped by `finish`.
struct ServiceRecording {
    std::shared_ptr<LMDaemonProxy> proxy = std::make_shared<LMDaemonProxy>();
    std::shared_ptr<lumora::platform::host::RecordingServiceCapture> capture;
    bool ok = false;

    explicit ServiceRecording(int framesPerSecond)
    {
        auto& service = preparedDevice().recordingService();
        service.setRunsInOwnProcess(true);
        service.process().setCaptureFramesPerSecond(framesPerSecond);
        proxy->setConnection(lumora::platform::ServiceConnection::connectionToService(
            std::string(RecordingServiceProcess::ServiceName)));
        bool started = false;
        proxy
            ->startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
                { 0xffffffff }, { 750, 1334 }, true, false, false, false,
                [&](const ErrorRef& error, bool /*microphone*/, bool /*camera*/) { started = !error; });
        MainQueue::runUntil([&started] { return started; }, kReplyTimeout);
        capture = service.process().capture();
        ok = started && capture && capture->screenCapture();
    }

    /// Waits until the service holds fewer than `most` slots.
    bool waitForSlots(int most) const
    {
        return MainQueue::runUntil([this, most] { return capture->framesInFlight() < most; }, kReplyTimeout);
    }

    bool finish()
    {
        bool stopped = false;
        bool written = false;
        proxy->stopRecordingWithHandler([&](const std::optional<URL>& movieURL, const ErrorRef& error) {
            stopped = true;
            written = movieURL && !error;
            if (movieURL) {
                std::error_code ignored;
                std::filesystem::remove(preparedDevice().resolvePath(movieURL->path()), ignored);
            }
        });
        MainQueue::runUntil([&stopped] { return stopped; }, std::chrono::seconds(60));
        proxy->setConnection(nullptr);
        auto& service = preparedDevice().recordingService();
        service.process().kill();
        service.process().reset();
        service.setRunsInOwnProcess(false);
        preparedDevice().releaseClock();
        return written;
    }
};

void captureAndEncode(benchmark::State& state, int framesPerSecond)
{
    Scene scene;
    ServiceRecording recording(framesPerSecond);
    if (!recording.ok) {
        state.SkipWithError("the service did not start recording");
        recording.finish();
        return;
    }
    std::int64_t frames = 0;
    const auto began = std::chrono::steady_clock::now();
    for (auto _ : state) {
        if (!recording.waitForSlots(lumora::platform::host::FrameRing::DefaultSlots)) {
            state.SkipWithError("the service stopped taking frames");
            break;
        }
        scene.step(framesPerSecond);
        ++frames;
    }
    // The frames still with the service are part of the work measured.
    recording.waitForSlots(1);
    state.counters["frames_per_second"] = static_cast<double>(frames) / secondsSince(began);
    state.counters["frames_dropped"] = static_cast<double>(recording.capture->framesDropped());
    if (const auto pid = preparedDevice().recordingService().process().pid()) {
        state.counters["service_peak_rss_mb"] = residentMemory(*pid).second;
    }
    if (!recording.finish()) {
        state.SkipWithError("the movie was not written");
    }
}

void directEncode(benchmark::State& state, int framesPerSecond)
{
    Scene scene;
    const auto path
        = std::filesystem::temp_directory_path() / ("lumora-bench-direct-" + std::to_string(::getpid()) + ".mp4");
    auto writer = MovieWriter::create(path.string(),
        { .width = 750,
            .height = 1334,
            .framesPerSecond = framesPerSecond,
            .audioChannels = 1,
            .audioSampleRate = ScreenCapture::AudioSampleRate,
            .fragmented = true });
    if (!writer) {
        state.SkipWithError("no movie writer");
        return;
    }
    lumora::platform::host::Bitmap picture;
    auto& display = preparedDevice().display();
    const lumora::platform::host::DeviceAudio audio;
    std::vector<std::int16_t> samples;
    std::int64_t sample = 0;
    std::int64_t frames = 0;
    const auto began = std::chrono::steady_clock::now();
    for (auto _ : state) {
        scene.step(framesPerSecond);
        display.drawScreen(picture);
        writer->addFrame(picture, static_cast<double>(frames) / framesPerSecond);
        // The device's sound for the frame, as the capture takes it.
        const auto end = (frames + 1) * ScreenCapture::AudioSampleRate / framesPerSecond;
        samples.resize(static_cast<std::size_t>(end - sample));
        audio.mix(sample, samples, true);
        writer->addAudio(samples.data(), samples.size(), static_cast<double>(sample) / ScreenCapture::AudioSampleRate);
        sample = end;
        ++frames;
    }
    const bool written = writer->finish();
    state.counters["frames_per_second"] = static_cast<double>(frames) / secondsSince(began);
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    preparedDevice().releaseClock();
    if (!written) {
        state.SkipWithError("the movie was not written");
    }
}

void recordingMemory(benchmark::State& state, int seconds)
{
    constexpr int kFramesPerSecond = ScreenCapture::FramesPerSecond;
    for (auto _ : state) {
        Scene scene;
        ServiceRecording recording(kFramesPerSecond);
        const auto pid = preparedDevice().recordingService().process().pid();
        if (!recording.ok || !pid) {
            state.SkipWithError("the service did not start recording");
            recording.finish();
            return;
        }
        double afterFiveSeconds = 0;
        for (int frame = 1; frame <= seconds * kFramesPerSecond; ++frame) {
            recording.waitForSlots(lumora::platform::host::FrameRing::DefaultSlots);
            scene.step(kFramesPerSecond);
            if (frame == 5 * kFramesPerSecond) {
                recording.waitForSlots(1);
                afterFiveSeconds = residentMemory(*pid).first;
            }
        }
        recording.waitForSlots(1);
        const auto [now, peak] = residentMemory(*pid);
        state.counters["service_peak_rss_mb"] = peak;
        state.counters["service_rss_mb_after_5s"] = afterFiveSeconds;
        state.counters["service_rss_mb_at_end"] = now;
        state.counters["frames_dropped"] = static_cast<double>(recording.capture->framesDropped());
        if (!recording.finish()) {
            state.SkipWithError("the movie was not written");
        }
    }
}

} // namespace

BENCHMARK_CAPTURE(requestRoundTrip, connection, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(requestRoundTrip, local, false)->Unit(benchmark::kMicrosecond);
BENCHMARK(answerRoundTrip)->Name("answerRoundTrip/connection")->Unit(benchmark::kMicrosecond);
// The cases' names are fixed: "fps:30", not the spaced form a formatter would make of it.
// clang-format off
BENCHMARK_CAPTURE(captureAndEncode, fps:30, 30)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(captureAndEncode, fps:60, 60)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(directEncode, fps:30, 30)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(directEncode, fps:60, 60)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(recordingMemory, seconds:60, 60)->Unit(benchmark::kSecond);
// clang-format on

BENCHMARK_MAIN();
