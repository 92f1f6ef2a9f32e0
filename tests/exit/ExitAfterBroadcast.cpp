// A host program written the way a broadcast service's developer would write
// one: it broadcasts through a movie-clip service chosen in the picker and
// returns from main as soon as the extension holds the last clip, while the
// service's last messages to the application are still on their way. It exits
// 0 when the broadcast ran; the test that runs it many times looks for a
// process that dies on the way out.
//
// Usage: lumora_exit_after_broadcast <clip folder> [--drain]
// --drain awaits the device's outstanding work before it reads what the
// application heard and before it returns, and exits 1 unless the application
// heard the service information of every clip cut while the broadcast was live.
#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMExtensions.h"
#include "upload/LMBroadcastMP4ClipHandler.h"

#include <atomic>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace {

using namespace lumora;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;
using platform::host::SimulatedRecordingService;

constexpr const char* kSetupExtension = "com.example.exit.setup";
constexpr const char* kUploadExtension = "com.example.exit.upload";
// Clips cut while the broadcast is live, and service information the
// service sends after the last clip.
constexpr int kLiveClips = 2;
constexpr int kLateUpdates = 20;

struct Counts {
    std::atomic<int> clips = 0;
    std::atomic<bool> lastClip = false;
    std::atomic<int> updatesHeard = 0;
};

// Reports each clip as uploaded, as a service would, with nothing else to say.
class UploadHandler final : public LMBroadcastMP4ClipHandler {
public:
    explicit UploadHandler(std::shared_ptr<Counts> counts) : counts_(std::move(counts)) { }
    void processMP4ClipWithURL_setupInfo_finished(const std::optional<platform::URL>& /*url*/,
        const platform::DictionaryRef& /*setupInfo*/, bool finished) override
    {
        const auto clip = ++counts_->clips;
        updateServiceInfo(std::make_shared<const platform::Dictionary>(
            platform::Dictionary { { "clipsUploaded", platform::Value(std::int64_t { clip }) } }));
        finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr, nullptr);
        counts_->lastClip = finished;
    }

private:
    std::shared_ptr<Counts> counts_;
};

// Hears the picker finish on the connection's thread.
class PickerDelegate final : public LMBroadcastActivityViewControllerDelegate::
                                 BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& received, const platform::ErrorRef& /*error*/) override
    {
        const std::lock_guard lock(mutex_);
        controller_ = received;
        finished_ = true;
    }
    [[nodiscard]] bool finished() const
    {
        const std::lock_guard lock(mutex_);
        return finished_;
    }
    [[nodiscard]] std::shared_ptr<LMBroadcastController> controller() const
    {
        const std::lock_guard lock(mutex_);
        return controller_;
    }

private:
    mutable std::mutex mutex_;
    std::shared_ptr<LMBroadcastController> controller_;
    bool finished_ = false;
};

class ControllerDelegate final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo {
public:
    explicit ControllerDelegate(std::shared_ptr<Counts> counts) : counts_(std::move(counts)) { }
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& /*controller*/, const platform::DictionaryRef& /*info*/) override
    {
        ++counts_->updatesHeard;
    }

private:
    std::shared_ptr<Counts> counts_;
};

void installService(const std::shared_ptr<Counts>& counts)
{
    auto& device = SimulatedDevice::shared();
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
    device.extensions().installExtension(
        kSetupExtension, attributes, [](const platform::host::ExtensionRequestSide& request) {
            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            configuration->setClipDuration(SimulatedRecordingService::MinimumClipDuration);
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(request.context,
                platform::URL::URLWithString("rtmp://live.example/exit"), configuration,
                std::make_shared<const platform::Dictionary>(
                    platform::Dictionary { { "channel", platform::Value("exit") } }));
            return std::make_shared<platform::ViewController>();
        });
    device.recordingService().installUploadExtension(kUploadExtension, SimulatedRecordingService::UploadKind::MovieClip,
        [counts] { return std::make_shared<UploadHandler>(counts); });
}

bool waitFor(const std::function<bool()>& condition)
{
    return platform::MainQueue::runUntil(condition, std::chrono::seconds(10));
}

int fail(const char* what)
{
    std::fprintf(stderr, "lumora_exit_after_broadcast: %s\n", what);
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        return fail("usage: lumora_exit_after_broadcast <clip folder> [--drain]");
    }
    const bool drain = argc > 2 && std::string_view(argv[2]) == "--drain";
    platform::Log::setEchoToStandardError(true);
    auto& device = SimulatedDevice::shared();
    device.mountDirectory(std::string(LMExtensions::FrameworkBundlePath), LUMORA_FRAMEWORK_BUNDLE_DIR);
    device.mountDirectory(std::string(SimulatedRecordingService::ClipDirectory), argv[1]);
    device.screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 1);
    const auto window = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 320, 568 } });
    window->setRootViewController(std::make_shared<platform::ViewController>());
    window->makeKeyAndVisible();
    const auto counts = std::make_shared<Counts>();
    installService(counts);
    LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

    std::shared_ptr<LMBroadcastActivityViewController> picker;
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(
        [&picker](const std::shared_ptr<LMBroadcastActivityViewController>& loaded, const platform::ErrorRef&) {
            picker = loaded;
        });
    if (!waitFor([&picker] { return picker != nullptr; })) {
        return fail("no picker");
    }
    picker->setDidFinishHandler(nullptr);
    const auto pickerDelegate = std::make_shared<PickerDelegate>();
    picker->setDelegate(pickerDelegate);
    if (!device.broadcastPicker().chooseService(kSetupExtension)
        || !waitFor([&pickerDelegate] { return pickerDelegate->finished(); }) || !pickerDelegate->controller()) {
        return fail("the picker gave no broadcast controller");
    }
    const auto controller = pickerDelegate->controller();
    const auto controllerDelegate = std::make_shared<ControllerDelegate>(counts);
    controller->setDelegate(controllerDelegate);

    // The service records the screen, so each clip is a movie and the
    // service's movies folder exists until the process ends.
    device.freezeClock(platform::Date::now());
    device.recordingService().setRecordsScreen(true);
    bool started = false;
    controller->startBroadcastWithHandler([&started](const platform::ErrorRef& error) { started = !error; });
    if (!waitFor([&started] { return started; })) {
        return fail("the broadcast did not start");
    }
    // Two clips while the broadcast is live; the extension reports each one.
    for (int clip = 0; clip < kLiveClips; ++clip) {
        device.advanceClock(SimulatedRecordingService::MinimumClipDuration);
        platform::MainQueue::drain();
    }
    if (!waitFor([&counts] { return counts->clips.load() == kLiveClips; })) {
        return fail("the extension did not get the live clips");
    }
    if (drain) {
        // Their service information is still on its way to the application.
        if (!device.drain()) {
            return fail("the device did not fall idle");
        }
        if (counts->updatesHeard != kLiveClips) {
            std::fprintf(stderr, "lumora_exit_after_broadcast: the app heard %d of %d service updates\n",
                counts->updatesHeard.load(), kLiveClips);
            return 1;
        }
    }
    bool finished = false;
    controller->finishBroadcastWithHandler([&finished](const platform::ErrorRef&) { finished = true; });
    if (!waitFor([&] { return finished && counts->lastClip.load(); })) {
        return fail("the extension did not get the last clip");
    }
    // A busy service is still reporting: its messages cross the connection
    // while the program returns.
    for (int update = 0; update < kLateUpdates; ++update) {
        device.recordingService().announceBroadcastServiceInfo(std::make_shared<const platform::Dictionary>(
            platform::Dictionary { { "viewers", platform::Value(std::int64_t { update }) } }));
    }
    if (drain && !device.drain()) {
        return fail("the device did not fall idle");
    }
    return 0;
}
