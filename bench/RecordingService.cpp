// The recording service's requests: a round trip (a start answered, then a
// stop answered) over the connection to the service running as a process of
// its own, beside the same round trip through the local proxy, which answers
// in-process, measured in the same run. Over the connection, each request
// crosses the socket both ways, the reply goes through the connection's queue
// to the MainQueue, and the stop has the service write its movie (a copy of
// the framework's canned one) into its folder.
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/ServiceConnection.h"
#include "recording/LMDaemonProxy.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <string>

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

void requestRoundTrip(benchmark::State& state, bool overConnection)
{
    auto& device = preparedDevice();
    const auto proxy = std::make_shared<LMDaemonProxy>();
    if (overConnection) {
        device.recordingService().setRunsInOwnProcess(true);
        proxy->setConnection(lumora::platform::ServiceConnection::connectionToService(
            std::string(lumora::platform::host::RecordingServiceProcess::ServiceName)));
        if (!proxy->connection()) {
            state.SkipWithError("the device offers no connection to the service");
            return;
        }
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
    if (overConnection) {
        proxy->setConnection(nullptr);
        device.recordingService().process().kill();
        device.recordingService().setRunsInOwnProcess(false);
    }
    device.recordingService().clearRequests();
}

} // namespace

BENCHMARK_CAPTURE(requestRoundTrip, connection, true)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(requestRoundTrip, local, false)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
