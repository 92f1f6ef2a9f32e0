#include "platform/DeviceRestrictions.h"
#include "platform/host/SimulatedApplication.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedHardware.h"
#include "platform/host/SimulatedMedia.h"
#include "platform/host/SimulatedRecordingService.h"
#include "platform/host/SimulatedRestrictions.h"
#include "platform/host/SimulatedScreens.h"
#include "sample_app/Demos.h"
#include "sample_app/app/RecordingApp.h"

#include <fmt/format.h>

namespace lumora::sample {

namespace {

using platform::DeviceRestrictions;
using platform::ExternalScreenType;
using platform::host::SimulatedDevice;

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

    fmt::print("[recording] Starting a recording with microphone and camera\n");
    app->startWithMicrophoneAndCamera();
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
}

} // namespace lumora::sample
