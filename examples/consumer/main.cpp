// Records the screen of the simulated device for a moment and stops, through
// the installed framework. Exits 0 when the recording started and the recorder
// handed back a movie.
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "recording/LMExtensions.h"
#include "recording/LMScreenRecorder.h"

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

int main()
{
    using namespace lumora;

    // The framework's log lines, failures included, reach standard error only when asked.
    platform::Log::setEchoToStandardError(true);
    auto& device = platform::host::SimulatedDevice::shared();
    device.mountDirectory(std::string(LMExtensions::FrameworkBundlePath), LUMORA_FRAMEWORK_BUNDLE_DIR);

    const auto window = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } });
    window->setRootViewController(std::make_shared<platform::ViewController>());
    window->makeKeyAndVisible();

    const auto recorder = LMScreenRecorder::sharedRecorder();
    bool started = false;
    recorder->startRecordingWithHandler([&](const platform::ErrorRef& error) { started = !error; });
    if (!platform::MainQueue::runUntil([&] { return started; }) || !recorder->isRecording()) {
        std::puts("lumora_consumer: the recording did not start");
        return 1;
    }

    bool stopped = false;
    std::optional<platform::URL> movie;
    recorder->stopRecordingWithVideoURLHandler(
        [&](const std::optional<platform::URL>& url, const platform::ErrorRef& error) {
            stopped = true;
            movie = error ? std::nullopt : url;
        });
    if (!platform::MainQueue::runUntil([&] { return stopped; }) || !movie || recorder->isRecording()) {
        std::puts("lumora_consumer: the recording did not stop with a movie");
        return 1;
    }
    // Whatever the device still has on its way (the service's last messages,
    // work on its threads) lands before the program reads results or exits.
    if (!device.drain()) {
        std::puts("lumora_consumer: the device did not fall idle");
        return 1;
    }
    std::printf("lumora_consumer: recorded %s\n", movie->path().c_str());
    return 0;
}
