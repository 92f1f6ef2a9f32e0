#include "extensions/SampleVideoEditor.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/lab/MovieFrames.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/ServiceConnection.h"
#include "platform/ui/ImageView.h"
#include "recording/LMDaemonProxy.h"
#include "sample_app/Demos.h"
#include "sample_app/app/ServiceProcessApp.h"
#include "sample_app/device/SampleDevice.h"

#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <string>
#include <unistd.h>

namespace lumora::sample {

namespace {

namespace fs = std::filesystem;
using platform::Point;
using platform::host::RecordingServiceProcess;
using platform::host::SimulatedDevice;

// Lets the device clock run on by `seconds`, a frame at a time, and the
// MainQueue handle what fell due: the device captures the screen on that
// clock and hands each picture to the service's process.
void letTimePass(double seconds)
{
    const auto frames = static_cast<int>(seconds * platform::host::ScreenCapture::FramesPerSecond);
    for (int frame = 0; frame < frames; ++frame) {
        SimulatedDevice::shared().advanceClock(1.0 / platform::host::ScreenCapture::FramesPerSecond);
        platform::MainQueue::drain();
    }
}

Point centerOf(const platform::View& view)
{
    return view.convertPoint_toView({ view.bounds().size.width / 2, view.bounds().size.height / 2 }, nullptr);
}

// The command line of process `pid`, as the system shows it.
std::string commandOf(pid_t pid)
{
    std::ifstream file(fmt::format("/proc/{}/cmdline", pid));
    std::string command;
    std::getline(file, command, '\0');
    return command;
}

// Copies a movie of the device to the output folder and writes the pictures
// it shows at `times` beside it; what it did, in a line.
void keepMovie(const std::string& hostPath, const std::string& name, std::initializer_list<double> times)
{
    const auto copy = fs::path(sampleOutputDirectory()) / (name + ".mp4");
    std::error_code error;
    fs::copy_file(hostPath, copy, fs::copy_options::overwrite_existing, error);
    if (error) {
        fmt::print("[service] could not copy {}: {}\n", hostPath, error.message());
        return;
    }
    fmt::print("[service] copied the movie ({} bytes) to {}\n", fs::file_size(copy, error), copy.string());
    std::string why;
    const auto frames = platform::host::MovieFrames::open(copy.string(), why);
    if (!frames) {
        fmt::print("[service] the movie does not play: {}\n", why);
        return;
    }
    int index = 0;
    for (const double time : times) {
        const auto picture = frames->pictureAt(time, 375, 667);
        const auto path = fmt::format("{}/{}-{}.png", sampleOutputDirectory(), name, ++index);
        // Shown by an image view the size of the screen, as a player would show it.
        const auto view = std::make_shared<platform::ImageView>(picture);
        view->setFrame({ { 0, 0 }, { 375, 667 } });
        if (picture && SimulatedDevice::shared().display().snapshotView(*view).writePNG(path)) {
            fmt::print("[service] the movie plays: its picture at {:g} s is {}\n", time, path);
        } else {
            fmt::print("[service] no picture at {:g} s\n", time);
        }
    }
}

// The newest movie in the service process's folder, as a host path.
std::string newestServiceMovie()
{
    const auto folder = SimulatedDevice::shared().resolvePath(std::string(RecordingServiceProcess::MoviesDirectory));
    std::error_code error;
    fs::path newest;
    fs::file_time_type newestTime {};
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".mp4" && (newest.empty() || entry.last_write_time(error) > newestTime)) {
            newest = entry.path();
            newestTime = entry.last_write_time(error);
        }
    }
    return newest.string();
}

} // namespace

void runServiceProcessDemo()
{
    say("The recording service in a process of its own: record, drag the camera picture, tap, preview");
    auto& device = SimulatedDevice::shared();
    device.reset();
    prepareSampleDevice();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    installSampleVideoEditorExtension();
    auto& service = device.recordingService();
    // The device runs its recording service as a process of its own and
    // offers the app a connection to it, which the framework's proxy keeps.
    service.setRunsInOwnProcess(true);
    const auto proxy = LMDaemonProxy::daemonProxy();
    proxy->setConnection(
        platform::ServiceConnection::connectionToService(std::string(RecordingServiceProcess::ServiceName)));
    device.freezeClock(platform::Date::now());

    const auto app = std::make_shared<ServiceProcessApp>();
    device.application().setDelegate(app);
    app->showScene();
    if (app->startRecording()) {
        if (const auto pid = service.process().pid()) {
            fmt::print("[service] the recording service runs as process {} ({}), the app as process {}\n", *pid,
                fs::path(commandOf(*pid)).filename().string(), ::getpid());
        }
        app->sweepBar(4);
        letTimePass(1);
        if (const auto pip = app->pictureInPictureView()) {
            fmt::print("[service] the user drags the camera picture to the bottom right\n");
            device.touchScreen().drag(centerOf(*pip), { 280, 540 }, 8);
        }
        letTimePass(1.5);
        device.touchScreen().tap(centerOf(*app->playButton()));
        letTimePass(1.5);
        if (const auto movie = app->stopIntoPreview()) {
            keepMovie(device.resolvePath(movie->path()), "service-recording", { 0.5, 1.5, 3.5 });
        }
        app->dismissPreview();
    }

    say("The recording service is killed while it records");
    if (app->startRecording()) {
        app->sweepBar(4);
        letTimePass(2);
        fmt::print("[service] the device kills the service's process\n");
        service.process().kill();
        const auto error = app->waitForStopHeard();
        fmt::print("[service] the app heard: {}\n", error ? error->description() : "no error");
        const auto partial = newestServiceMovie();
        if (!partial.empty()) {
            fmt::print("[service] what the service had written before it died is kept\n");
            keepMovie(partial, "service-killed-partial", { 1.5 });
        }
    }
    // The later flows talk to the service inside the app again.
    proxy->setConnection(nullptr);
    service.setRunsInOwnProcess(false);
    device.releaseClock();
}

} // namespace lumora::sample
