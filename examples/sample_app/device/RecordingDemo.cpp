#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedRestrictions.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/DeviceRestrictions.h"
#include "sample_app/Demos.h"
#include "sample_app/app/RecordingApp.h"
#include "sample_app/device/SampleDevice.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <vector>

namespace lumora::sample {

namespace {

using platform::DeviceRestrictions;
using platform::ExternalScreenType;
using platform::host::Bitmap;
using platform::host::SimulatedDevice;

// Pictures of the recording, kept for a contact sheet: one each half second.
struct ContactSheet {
    static constexpr double Interval = 0.5;
    static constexpr int Columns = 3;
    static constexpr int Rows = 2;
    // Each picture is shrunk to a quarter of its width and height.
    static constexpr int Shrink = 4;
    static constexpr int Margin = 6;

    std::vector<Bitmap> pictures;

    void keep(const Bitmap& picture, double time)
    {
        if (pictures.size() < Columns * Rows && time + 1e-6 >= static_cast<double>(pictures.size()) * Interval) {
            pictures.push_back(picture);
        }
    }

    // The kept pictures side by side on a dark ground, scaled down by taking every `Shrink`th pixel.
    [[nodiscard]] Bitmap compose() const
    {
        if (pictures.empty()) {
            return {};
        }
        const int width = pictures[0].width() / Shrink;
        const int height = pictures[0].height() / Shrink;
        Bitmap sheet((Columns * (width + Margin)) + Margin, (Rows * (height + Margin)) + Margin, 1);
        std::fill_n(sheet.data(), static_cast<std::size_t>(sheet.width()) * sheet.height(), 0xFF202020U);
        for (std::size_t index = 0; index < pictures.size(); ++index) {
            const auto& picture = pictures[index];
            const int left = Margin + (static_cast<int>(index) % Columns * (width + Margin));
            const int top = Margin + (static_cast<int>(index) / Columns * (height + Margin));
            for (int y = 0; y < height; ++y) {
                for (int x = 0; x < width; ++x) {
                    sheet.data()[((top + y) * sheet.width()) + left + x]
                        = picture.data()[(y * Shrink * picture.width()) + (x * Shrink)];
                }
            }
        }
        return sheet;
    }
};

// Lets the device clock run on by `seconds`, a frame at a time, and the MainQueue
// handle what fell due (the recording service takes its frames on that clock).
void letTimePass(double seconds)
{
    const auto frames = static_cast<int>(seconds * platform::host::ScreenCapture::FramesPerSecond);
    for (int frame = 0; frame < frames; ++frame) {
        SimulatedDevice::shared().advanceClock(1.0 / platform::host::ScreenCapture::FramesPerSecond);
        platform::MainQueue::drain();
    }
}

// Prints what the recording service was asked since the `from`th request.
void printServiceRequests(std::size_t from)
{
    const auto requests = SimulatedDevice::shared().recordingService().requests();
    for (auto index = from; index < requests.size(); ++index) {
        std::string arguments;
        for (const auto& argument : requests[index].arguments) {
            arguments += (arguments.empty() ? "" : ", ") + argument.description();
        }
        fmt::print("[recording]   service received {}({})\n", requests[index].message, arguments);
    }
}

} // namespace

void runRecordingDemo()
{
    fmt::print("[recording] --- Screen recording ---\n");
    auto& device = SimulatedDevice::shared();
    device.reset();
    device.setMainBundle(std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/SampleRecorder.app");
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);

    const auto app = std::make_shared<RecordingApp>();
    device.application().setDelegate(app);
    app->observeRecorder();

    fmt::print("[recording] Restricting screen recording in settings\n");
    device.restrictions().setEffectiveBoolValue(
        DeviceRestrictions::AllowScreenRecordingSetting, DeviceRestrictions::BoolValueNo);
    app->tryToStart("while restricted");
    device.restrictions().setEffectiveBoolValue(
        DeviceRestrictions::AllowScreenRecordingSetting, DeviceRestrictions::BoolValueYes);

    fmt::print("[recording] Mirroring the screen to a wireless display\n");
    device.screens().setExternalScreenType(ExternalScreenType::WirelessMirroring);
    app->tryToStart("while mirroring");
    device.screens().setExternalScreenType(ExternalScreenType::None);

    fmt::print("[recording] Starting a recording with microphone and camera; the service records the screen\n");
    // The service turns what the app draws into a real movie, frame by frame as the device clock moves.
    device.recordingService().setRecordsScreen(true);
    device.freezeClock(platform::Date::now());
    app->startWithMicrophoneAndCamera();
    ContactSheet sheet;
    if (const auto capture = device.recordingService().screenCapture()) {
        capture->setFrameObserver([&sheet](const Bitmap& picture, double time) { sheet.keep(picture, time); });
    }
    fmt::print("[recording] camera sessions running: {}\n", device.media().runningSessionCount());
    printServiceRequests(0);
    app->startAgain();

    fmt::print("[recording] Turning the device to landscape\n");
    device.hardware().rotateTo(platform::DeviceOrientation::LandscapeLeft);
    app->followDeviceOrientation();

    auto seen = device.recordingService().requests().size();
    fmt::print("[recording] The application goes inactive\n");
    device.application().resignActive();
    app->printState("inactive");
    printServiceRequests(seen);

    seen = device.recordingService().requests().size();
    fmt::print("[recording] The application is active again\n");
    device.application().becomeActive();
    app->printState("active");
    printServiceRequests(seen);

    seen = device.recordingService().requests().size();
    fmt::print("[recording] Switching the camera off and the microphone off during the recording\n");
    app->switchOffCameraAndMicrophone();
    fmt::print("[recording] camera sessions running: {}\n", device.media().runningSessionCount());
    printServiceRequests(seen);

    fmt::print("[recording] The app draws while it records\n");
    app->animateColours(3);
    letTimePass(3);
    const auto movie = app->stopAndTakeMovie();
    device.releaseClock();
    if (movie) {
        namespace fs = std::filesystem;
        const fs::path copy = fs::path(sampleOutputDirectory()) / "recording.mp4";
        std::error_code error;
        fs::copy_file(device.resolvePath(movie->path()), copy, fs::copy_options::overwrite_existing, error);
        fmt::print("[recording] {} the movie to {}\n", error ? "could not copy" : "copied", copy.string());
    }
    const auto picture = sheet.compose();
    const auto sheetPath = sampleOutputDirectory() + "/recording-contact-sheet.png";
    if (picture.writePNG(sheetPath)) {
        fmt::print("[recording] wrote {} ({} frames of the recording, half a second apart)\n", sheetPath,
            sheet.pictures.size());
    } else {
        fmt::print("[recording] could not write {}\n", sheetPath);
    }
}

} // namespace lumora::sample
