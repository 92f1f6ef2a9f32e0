#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "extensions/setup/StreamerSetupExtension.h"
#include "platform/extensions/Extension.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/Application.h"
#include "platform/ui/Window.h"
#include "recording/LMDaemonProxy.h"
#include "sample_app/Demos.h"
#include "sample_app/app/BroadcastControllerApp.h"
#include "sample_app/device/SampleDevice.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <mutex>

namespace lumora::sample {

namespace {

using platform::Value;
using platform::host::ExtensionRequest;
using platform::host::SimulatedDevice;

constexpr const char* kSetupExtension = "com.example.streamer.setup";

/// An application delegate that names the window to record.
class BroadcastAppDelegate final : public platform::ApplicationDelegate::Window {
public:
    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }
    std::shared_ptr<platform::Window> window_;
};

struct SetupResult {
    std::optional<std::string> extensionBundleID;
    std::optional<platform::URL> broadcastURL;
};

// Plays the host of the setup extension: hands it the application's details,
// waits for it to finish, and reads back the four items it returned.
SetupResult runSetupExtension()
{
    auto& device = SimulatedDevice::shared();
    device.extensions().installExtension(kSetupExtension, nullptr,
        [](const platform::host::ExtensionRequestSide& side) { return startStreamerSetup(side.context); });
    device.extensions().setExtensionBundle(
        kSetupExtension, std::string(LUMORA_SAMPLE_BUNDLES_DIR) + "/StreamerSetup.appex");

    const auto hostInfo = std::make_shared<const platform::Dictionary>(
        platform::Dictionary { { std::string(LMBroadcastExtensionKeyExtensionHostInfoAppName), Value("Lumora Sample") },
            { std::string(LMBroadcastExtensionKeyExtensionHostInfoBundleID), Value("com.lumora.sample") } });
    say("The device starts the broadcast service's setup extension with the app's details");
    const auto extension = platform::Extension::extensionWithIdentifier_error(kSetupExtension, nullptr);
    auto requestIdentifier = std::make_shared<std::string>();
    auto started = std::make_shared<std::atomic<bool>>(false);
    auto mutex = std::make_shared<std::mutex>();
    extension->instantiateViewControllerWithInputItems_connectionHandler(
        { ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionHostInfo, hostInfo) },
        [requestIdentifier, started, mutex](const std::string& identifier,
            const std::shared_ptr<platform::RemoteViewController>& /*controller*/,
            const platform::ErrorRef& /*error*/) {
            const std::lock_guard lock(*mutex);
            *requestIdentifier = identifier;
            *started = true;
        });
    const auto outcome = [&]() -> std::optional<platform::ExtensionContext::Outcome> {
        if (!started->load()) {
            return std::nullopt;
        }
        const std::lock_guard lock(*mutex);
        return device.extensions().outcomeOfRequest(*requestIdentifier);
    };
    if (!platform::MainQueue::runUntil([&] { return outcome().has_value(); }, std::chrono::seconds(5))) {
        say("The setup extension did not finish");
        return {};
    }

    const auto returned = outcome()->returnedItems;
    fmt::print("   returned items:");
    for (const auto& item : returned) {
        fmt::print(" {}", item->attributedTitle() ? item->attributedTitle()->string() : "?");
    }
    fmt::print("\n");
    SetupResult result;
    if (const auto bundleID
        = ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionBundleIdentifier)) {
        if (const auto* text = bundleID->string()) {
            result.extensionBundleID = *text;
        }
    }
    if (const auto url = ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionServiceURL)) {
        result.broadcastURL = url->url();
    }
    if (const auto info = ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionUserInfo)) {
        fmt::print("   setup information: {}\n", info->description());
    }
    if (const auto archive = ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyBroadcastConfiguration);
        archive && archive->data()) {
        platform::ErrorRef error;
        const auto configuration
            = platform::KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(
                *archive->data(), &error);
        fmt::print("   configuration: {}\n",
            configuration ? configuration->description() : (error ? error->description() : std::string("?")));
    }
    return result;
}

} // namespace

void runBroadcastControllerDemo()
{
    say("Broadcast controller: a setup extension, then the app drives the broadcast");
    auto& device = SimulatedDevice::shared();
    device.screens().setMainScreen({ { 0, 0 }, { 375, 667 } }, 2);
    auto appDelegate = std::make_shared<BroadcastAppDelegate>();
    appDelegate->window_ = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } });
    appDelegate->window_->makeKeyAndVisible();
    device.application().setDelegate(appDelegate);
    // The service's calls reach the app over its connection to the service.
    LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

    const auto setup = runSetupExtension();
    auto app = std::make_shared<BroadcastControllerApp>();
    app->makeController(setup.extensionBundleID, setup.broadcastURL);
    say("Nobody chose this service in the system picker, so the recording service has no upload extension to go "
        "live with and logs that it was not set up; the broadcast picker flow below goes live");
    app->start();
    app->pause();

    say("The user leaves the app and comes back; with the broadcast paused the recorder resumes it by itself");
    device.application().resignActive();
    device.application().becomeActive();
    app->printState();

    app->resume();
    say("The broadcast service reports its viewers");
    device.recordingService().announceBroadcastServiceInfo(std::make_shared<const platform::Dictionary>(
        platform::Dictionary { { "viewers", Value(std::int64_t { 128 }) } }));
    // The report arrives on the connection's thread: let it land.
    device.drain();
    const auto info = app->controller()->serviceInfo();
    fmt::print("   controller's service info: {}\n", info ? Value(info).description() : "(none)");

    // The service ends the broadcast with no movie to hand back.
    device.recordingService().setStopAnswer(std::nullopt, nullptr);
    app->finish();
    LMDaemonProxy::daemonProxy()->setConnection(nullptr);
}

} // namespace lumora::sample
