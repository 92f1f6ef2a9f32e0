#include "extensions/setup/StreamerSetupExtension.h"
#include "extensions/upload/LiveAudioUploadHandler.h"
#include "extensions/upload/LiveClipUploadHandler.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "recording/LMDaemonProxy.h"
#include "sample_app/Demos.h"
#include "sample_app/app/BroadcastControllerApp.h"
#include "sample_app/app/BroadcastPickerApp.h"
#include "sample_app/app/Narration.h"
#include "sample_app/device/SampleDevice.h"

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>

namespace lumora::sample {

namespace {

using platform::Value;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;
using platform::host::SimulatedRecordingService;

// Two sample broadcast services: one takes the broadcast as audio samples,
// the other as movie clips. Both set up with the same sample setup code.
constexpr const char* kSetupExtension = "com.example.streamer.setup";
constexpr const char* kUploadExtension = "com.example.streamer.upload";
constexpr const char* kClipSetupExtension = "com.example.clipcaster.setup";
constexpr const char* kClipUploadExtension = "com.example.clipcaster.upload";

// Installs a service's setup extension as a broadcast service, so that the
// system picker lists it, naming the upload extension that receives its
// broadcasts.
void installBroadcastService(const char* setupExtension, const char* uploadExtension, const char* bundle)
{
    auto& extensions = SimulatedDevice::shared().extensions();
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = uploadExtension;
    extensions.installExtension(setupExtension, attributes,
        [](const platform::host::ExtensionRequestSide& side) { return startStreamerSetup(side.context); });
    extensions.setExtensionBundle(setupExtension, std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/" + bundle);
}

// Installs a share extension; `streams` says whether its activation rule
// declares that it takes a live stream.
void installShareExtension(const std::string& identifier, bool streams)
{
    auto rule = std::make_shared<platform::Dictionary>();
    (*rule)["ExtensionActivationSupportsWebURLWithMaxCount"] = 1;
    if (streams) {
        (*rule)[std::string(platform::Extension::ActivationSupportsLumoStreamingRule)] = true;
    }
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)] = "com.lumora.share-services";
    (*attributes)[std::string(platform::Extension::ActivationRuleAttribute)] = rule;
    SimulatedDevice::shared().extensions().installExtension(identifier, attributes, nullptr);
}

// Runs the MainQueue until `condition` holds (at most five seconds).
bool waitUntil(const std::function<bool()>& condition)
{
    return platform::MainQueue::runUntil(condition, std::chrono::seconds(5));
}

// The broadcast runs for `seconds` of the device's clock, which the sample
// holds still and moves on a payload interval at a time.
void letBroadcastRun(double seconds)
{
    auto& device = SimulatedDevice::shared();
    const auto steps = std::lround(seconds / SimulatedRecordingService::PayloadInterval);
    for (long step = 0; step < steps; ++step) {
        device.advanceClock(SimulatedRecordingService::PayloadInterval);
        platform::MainQueue::drain();
    }
}

// Lets everything the device has on its way land: the upload extension's
// replies to every request so far and what the service passed on to the app.
void waitForUploadReplies()
{
    if (!SimulatedDevice::shared().drain()) {
        say("The upload extension did not answer in time");
    }
}

// The user chooses `setupExtension` in the picker; the broadcast controller
// the app receives, or null.
std::shared_ptr<LMBroadcastController> chooseService(BroadcastPickerApp& app, const char* setupExtension)
{
    auto& device = SimulatedDevice::shared();
    if (!app.loadAndPresentPicker()) {
        return nullptr;
    }
    auto& systemPicker = device.broadcastPicker();
    fmt::print("   the system picker lists: {}\n", fmt::join(systemPicker.availableServices(), ", "));
    say(fmt::format("The user chooses {}; its setup runs inside the picker", setupExtension));
    if (!systemPicker.chooseService(setupExtension)) {
        say("The picker would not take the choice");
        return nullptr;
    }
    auto controller = app.waitForPickerToFinish();
    if (const auto setup = systemPicker.chosenSetup()) {
        fmt::print("   the setup returned: {}\n", setup->setupInfo ? Value(setup->setupInfo).description() : "(none)");
    }
    return controller;
}

// The sample-buffer service: its upload extension hears the broadcast live
// and writes the audio to two WAV files.
void broadcastAudioThroughThePicker(BroadcastPickerApp& app)
{
    auto& device = SimulatedDevice::shared();
    auto upload = std::make_shared<LiveAudioUpload>(sampleOutputDirectory());
    device.recordingService().installUploadExtension(kUploadExtension,
        SimulatedRecordingService::UploadKind::SampleBuffer,
        [upload] { return std::make_shared<LiveAudioUploadHandler>(upload); });
    const auto controller = chooseService(app, kSetupExtension);
    if (!controller) {
        return;
    }

    device.freezeClock(platform::Date::now());
    app.enableMicrophone();
    auto broadcast = std::make_shared<BroadcastControllerApp>();
    broadcast->adoptController(controller);
    broadcast->start();
    waitUntil([&] { return upload->actionsHeard >= 1; });
    waitForUploadReplies();
    say("The broadcast runs for half a second of the device's clock");
    letBroadcastRun(0.5);
    waitUntil([&] { return upload->applicationSamples >= 5 && upload->microphoneSamples >= 5; });
    broadcast->pause();
    waitUntil([&] { return upload->actionsHeard >= 2; });
    say("Paused for a second: the service sends nothing");
    letBroadcastRun(1.0);
    broadcast->resume();
    waitUntil([&] { return upload->actionsHeard >= 3; });
    waitForUploadReplies();
    say("The broadcast runs for another half second");
    letBroadcastRun(0.5);
    // The service ends the broadcast with no movie to hand back.
    device.recordingService().setStopAnswer(std::nullopt, nullptr);
    broadcast->finish();
    if (!waitUntil([&] { return upload->closed.load(); })) {
        say("The upload extension did not close its files");
    }
    device.releaseClock();
}

// The movie-clip service: the device's recording service cuts the broadcast
// into clips, which it writes into its own folder (mounted here on the
// sample's output folder) and hands to the upload extension one by one.
void broadcastClipsThroughThePicker(BroadcastPickerApp& app)
{
    auto& device = SimulatedDevice::shared();
    const auto clipFolder = sampleOutputDirectory() + "/live-clips";
    std::error_code ignored;
    std::filesystem::create_directories(clipFolder, ignored);
    device.mountDirectory(std::string(SimulatedRecordingService::ClipDirectory), clipFolder);
    auto upload = std::make_shared<LiveClipUpload>();
    device.recordingService().installUploadExtension(kClipUploadExtension,
        SimulatedRecordingService::UploadKind::MovieClip,
        [upload] { return std::make_shared<LiveClipUploadHandler>(upload); });
    const auto controller = chooseService(app, kClipSetupExtension);
    if (!controller) {
        return;
    }

    device.freezeClock(platform::Date::now());
    // The service records the screen, so each clip is a movie of what the app showed meanwhile.
    device.recordingService().setRecordsScreen(true);
    auto broadcast = std::make_shared<BroadcastControllerApp>();
    broadcast->adoptController(controller);
    broadcast->start();
    say("The broadcast runs for four seconds, the clip length its setup asked for");
    letBroadcastRun(4.0);
    waitUntil([&] { return upload->clipsReceived >= 1; });
    waitForUploadReplies();
    say(fmt::format("The extension asked for {}-second clips: one second live, then a pause",
        LiveClipUploadHandler::RunningClipDuration));
    letBroadcastRun(1.0);
    broadcast->pause();
    letBroadcastRun(3.0);
    broadcast->resume();
    say("One more second live completes the second clip");
    letBroadcastRun(1.0);
    waitUntil([&] { return upload->clipsReceived >= 2; });
    waitForUploadReplies();
    letBroadcastRun(0.5);
    broadcast->finish();
    if (!waitUntil([&] { return upload->lastClipReceived.load(); })) {
        say("The upload extension did not receive the last clip");
    }
    waitForUploadReplies();
    device.recordingService().setRecordsScreen(false);
    device.releaseClock();
    fmt::print("   the clips are in {}\n", clipFolder);
}

void cancelThePicker(BroadcastPickerApp& app)
{
    auto& device = SimulatedDevice::shared();
    if (!app.loadAndPresentPicker()) {
        return;
    }
    const auto launchURL = platform::URL::URLWithString("streamer://sign-up");
    say("The user cancels the picker, asking to sign up with the service first");
    device.broadcastPicker().cancel(launchURL);
    app.waitForPickerToFinish();
    const auto opened = device.application().openedURLs();
    fmt::print(
        "   the device opened: {}\n", opened.empty() ? std::string("(nothing)") : opened.back().absoluteString());
}

} // namespace

void runBroadcastPickerDemo()
{
    say("Broadcast picker: the user chooses a broadcast service, which sets up the broadcast");
    auto& device = SimulatedDevice::shared();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    installBroadcastService(kSetupExtension, kUploadExtension, "StreamerSetup.appex");
    installBroadcastService(kClipSetupExtension, kClipUploadExtension, "ClipcasterSetup.appex");
    installShareExtension("com.example.streamer.share", true);
    installShareExtension("com.example.notes.share", false);
    auto app = std::make_shared<BroadcastPickerApp>();
    device.application().setDelegate(app);
    // The service's calls reach the app over its connection to the service.
    LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

    broadcastAudioThroughThePicker(*app);
    broadcastClipsThroughThePicker(*app);
    cancelThePicker(*app);
    app->listStreamActivities();

    LMDaemonProxy::daemonProxy()->setConnection(nullptr);
}

} // namespace lumora::sample
