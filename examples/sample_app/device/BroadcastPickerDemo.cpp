#include "extensions/setup/StreamerSetupExtension.h"
#include "platform/DispatchQueue.h"
#include "platform/Extension.h"
#include "platform/host/SimulatedApplication.h"
#include "platform/host/SimulatedBroadcastPicker.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedExtensions.h"
#include "platform/host/SimulatedRecordingService.h"
#include "platform/host/SimulatedScreens.h"
#include "recording/LMDaemonProxy.h"
#include "sample_app/Demos.h"
#include "sample_app/app/BroadcastControllerApp.h"
#include "sample_app/app/BroadcastPickerApp.h"
#include "sample_app/device/SampleDevice.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lumora::sample {

namespace {

using platform::Value;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;

constexpr const char* kSetupExtension = "com.example.streamer.setup";
constexpr const char* kUploadExtension = "com.example.streamer.upload";

// Installs the streaming service's setup extension as a broadcast service, so
// that the system picker lists it, naming the upload extension that receives
// its broadcasts.
void installBroadcastService()
{
    auto& extensions = SimulatedDevice::shared().extensions();
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
    extensions.installExtension(kSetupExtension, attributes,
        [](const platform::host::ExtensionRequestSide& side) { return startStreamerSetup(side.context); });
    extensions.setExtensionBundle(kSetupExtension, std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/StreamerSetup.appex");
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

// Waits until everything the service sent on its connection so far has been delivered.
void waitForServiceConnection()
{
    auto delivered = std::make_shared<std::atomic<bool>>(false);
    SimulatedDevice::shared().recordingService().clientConnection()->queue().async([delivered] { *delivered = true; });
    platform::MainQueue::runUntil([delivered] { return delivered->load(); }, std::chrono::seconds(5));
}

void broadcastThroughThePicker(BroadcastPickerApp& app)
{
    auto& device = SimulatedDevice::shared();
    if (!app.loadAndPresentPicker()) {
        return;
    }
    auto& systemPicker = device.broadcastPicker();
    fmt::print("   the system picker lists: {}\n", fmt::join(systemPicker.availableServices(), ", "));
    say(fmt::format("The user chooses {}; its setup runs inside the picker", kSetupExtension));
    if (!systemPicker.chooseService(kSetupExtension)) {
        say("The picker would not take the choice");
        return;
    }
    const auto controller = app.waitForPickerToFinish();
    if (const auto setup = systemPicker.chosenSetup()) {
        fmt::print("   the setup returned: {}\n", setup->setupInfo ? Value(setup->setupInfo).description() : "(none)");
    }
    if (!controller) {
        return;
    }

    auto broadcast = std::make_shared<BroadcastControllerApp>();
    broadcast->adoptController(controller);
    broadcast->start();
    say("The broadcast service reports its viewers");
    device.recordingService().announceBroadcastServiceInfo(std::make_shared<const platform::Dictionary>(
        platform::Dictionary { { "viewers", Value(std::int64_t { 42 }) } }));
    waitForServiceConnection();
    broadcast->pause();
    broadcast->resume();
    // The service ends the broadcast with no movie to hand back.
    device.recordingService().setStopAnswer(std::nullopt, nullptr);
    broadcast->finish();
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
    installBroadcastService();
    installShareExtension("com.example.streamer.share", true);
    installShareExtension("com.example.notes.share", false);
    auto app = std::make_shared<BroadcastPickerApp>();
    device.application().setDelegate(app);
    // The service's calls reach the app over its connection to the service.
    LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

    broadcastThroughThePicker(*app);
    cancelThePicker(*app);
    app->listStreamActivities();

    LMDaemonProxy::daemonProxy()->setConnection(nullptr);
}

} // namespace lumora::sample
