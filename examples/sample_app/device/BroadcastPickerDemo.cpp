#include "extensions/setup/StreamerSetupExtension.h"
#include "extensions/upload/IngestStatistics.h"
#include "extensions/upload/LiveAudioUploadHandler.h"
#include "extensions/upload/LiveClipUploadHandler.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/services/IngestServer.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/host/services/StreamViewer.h"
#include "recording/LMDaemonProxy.h"
#include "sample_app/Demos.h"
#include "sample_app/app/BroadcastControllerApp.h"
#include "sample_app/app/BroadcastPickerApp.h"
#include "sample_app/app/Narration.h"
#include "sample_app/device/SampleDevice.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <functional>
#include <mutex>
#include <optional>

namespace lumora::sample {

namespace {

using platform::Value;
using platform::host::Bitmap;
using platform::host::IngestServer;
using platform::host::ScreenCapture;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;
using platform::host::SimulatedRecordingService;
using platform::host::StreamViewer;

// Two sample broadcast services: one takes the broadcast as audio samples,
// the other as movie clips. Both set up with the same sample setup code.
constexpr const char* kSetupExtension = "com.example.streamer.setup";
constexpr const char* kUploadExtension = "com.example.streamer.upload";
constexpr const char* kClipSetupExtension = "com.example.clipcaster.setup";
constexpr const char* kClipUploadExtension = "com.example.clipcaster.upload";
// The clip service's stream on its ingest server, and the clip length its
// upload extension asks for once the broadcast runs.
constexpr const char* kStreamKey = "lumora-sample";
constexpr double kRunningClipDuration = 2.0;

/// The picture of a stream nearest `Moment`, kept from pictures offered on any thread.
class PulledPicture {
public:
    static constexpr double Moment = 2.0;

    void offer(const Bitmap& picture, double time)
    {
        std::lock_guard lock(mutex_);
        if (!picture_ || std::abs(time - Moment) < std::abs(time_ - Moment)) {
            picture_ = picture;
            time_ = time;
        }
    }
    bool write(const std::string& path) const
    {
        std::lock_guard lock(mutex_);
        return picture_ && picture_->writePNG(path);
    }

private:
    mutable std::mutex mutex_;
    std::optional<Bitmap> picture_;
    double time_ = 0;
};

// The number of players the ingest server lists on the sample stream.
int viewersOf(const IngestServer& server)
{
    return IngestStatistics::viewersOfStream(server.statisticsURL(), kStreamKey, std::chrono::seconds(1)).value_or(0);
}

// How long the live flow waits for a person to start a player
// (LUMORA_WATCH_SECONDS; by default it does not wait).
int watchSeconds()
{
    const char* text = std::getenv("LUMORA_WATCH_SECONDS");
    return text != nullptr ? std::max(std::atoi(text), 0) : 0;
}

// Installs a service's setup extension as a broadcast service, so that the
// system picker lists it, naming the upload extension that receives its
// broadcasts.
void installBroadcastService(
    const char* setupExtension, const char* uploadExtension, const char* bundle, const StreamerIngest& ingest = {})
{
    auto& extensions = SimulatedDevice::shared().extensions();
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = uploadExtension;
    extensions.installExtension(setupExtension, attributes, [ingest](const platform::host::ExtensionRequestSide& side) {
        return startStreamerSetup(side.context, ingest);
    });
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
// sample's output folder) and hands to the upload extension one by one. The
// extension publishes them to the service's ingest server, running on this
// machine, where anyone can watch the stream; the sample watches it too, and
// keeps a picture it pulled back beside the one the app drew.
void broadcastClipsThroughThePicker(BroadcastPickerApp& app, const IngestServer& server)
{
    auto& device = SimulatedDevice::shared();
    const auto clipFolder = sampleOutputDirectory() + "/live-clips";
    std::error_code ignored;
    std::filesystem::create_directories(clipFolder, ignored);
    device.mountDirectory(std::string(SimulatedRecordingService::ClipDirectory), clipFolder);
    auto upload = std::make_shared<LiveClipUpload>(RtmpPublisher::Limits {}, kRunningClipDuration);
    device.recordingService().installUploadExtension(kClipUploadExtension,
        SimulatedRecordingService::UploadKind::MovieClip,
        [upload] { return std::make_shared<LiveClipUploadHandler>(upload); });
    const auto streamURL = server.streamURL(kStreamKey);
    say(fmt::format("The clip service's ingest server runs on this machine: {}", streamURL));
    fmt::print("   watch the stream while it runs: ffplay {}\n", streamURL);
    // The sample's own viewer keeps the picture it decodes nearest the moment it will compare.
    auto pulled = std::make_shared<PulledPicture>();
    // It waits for the stream to begin as long as the flow may wait for a person too.
    const StreamViewer::Options options { .connectTimeout = std::chrono::seconds(15 + watchSeconds()) };
    StreamViewer viewer(
        streamURL, options, [pulled](const Bitmap& picture, double time) { pulled->offer(picture, time); });
    // It asks to play before the broadcast begins, so that it sees the stream from its start.
    waitUntil([&server] { return viewersOf(server) >= 1; });
    // A person who wants to watch gets time to start a player first.
    if (const int seconds = watchSeconds(); seconds > 0) {
        say(fmt::format("Waiting up to {} seconds for you to start a player: ffplay {}", seconds, streamURL));
        auto nextLook = std::chrono::steady_clock::now();
        platform::MainQueue::runUntil(
            [&server, &nextLook] {
                if (std::chrono::steady_clock::now() < nextLook) {
                    return false;
                }
                nextLook = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
                return viewersOf(server) >= 2;
            },
            std::chrono::seconds(seconds));
        fmt::print(
            "   {} watching besides the sample's own viewer\n", viewersOf(server) >= 2 ? "someone is" : "nobody is");
    }
    const auto controller = chooseService(app, kClipSetupExtension);
    if (!controller) {
        return;
    }

    device.freezeClock(platform::Date::now());
    // The service records the screen, so each clip is a movie of what the app showed meanwhile.
    device.recordingService().setRecordsScreen(true);
    app.showOnAirScene(0);
    auto broadcast = std::make_shared<BroadcastControllerApp>();
    broadcast->adoptController(controller);
    broadcast->start();
    // The picture the app drew at the moment compared, as the service captured it.
    auto drawn = std::make_shared<PulledPicture>();
    if (const auto capture = device.recordingService().screenCapture()) {
        capture->setFrameObserver([drawn](const Bitmap& picture, double time) { drawn->offer(picture, time); });
    }
    say("The broadcast runs for four seconds, the clip length its setup asked for");
    letBroadcastRun(4.0);
    waitUntil([&] { return upload->clipsReceived >= 1; });
    waitForUploadReplies();
    say(fmt::format("The extension asked for {}-second clips: one second live, then a pause", kRunningClipDuration));
    app.showOnAirScene(1);
    letBroadcastRun(1.0);
    broadcast->pause();
    letBroadcastRun(3.0);
    broadcast->resume();
    say("One more second live completes the second clip");
    letBroadcastRun(1.0);
    waitUntil([&] { return upload->clipsReceived >= 2; });
    waitForUploadReplies();
    app.showOnAirScene(2);
    letBroadcastRun(0.5);
    broadcast->finish();
    if (!waitUntil([&] { return upload->lastClipReceived.load(); })) {
        say("The upload extension did not receive the last clip");
    }
    waitForUploadReplies();
    if (const auto capture = device.recordingService().screenCapture()) {
        capture->setFrameObserver(nullptr);
    }
    device.recordingService().setRecordsScreen(false);
    device.releaseClock();
    fmt::print("   the clips are in {}\n", clipFolder);

    // 6.5 seconds went out live (the pause leaves no gap); the viewer has
    // seen it all once the stream falls quiet.
    viewer.waitForQuiet(std::chrono::milliseconds(500), std::chrono::seconds(10));
    viewer.stop();
    viewer.waitUntilEnded(std::chrono::seconds(5));
    const auto seen = viewer.summary();
    fmt::print("   the sample's viewer decoded {} pictures ({:.2f} s of stream, {} x {}) and {:.2f} s of audio\n",
        seen.frameTimes.size(),
        seen.frameTimes.empty() ? 0.0 : seen.frameTimes.back() + 1.0 / ScreenCapture::FramesPerSecond, seen.width,
        seen.height, seen.audioDuration);
    const auto drawnPath = sampleOutputDirectory() + "/live-drawn-frame.png";
    const auto pulledPath = sampleOutputDirectory() + "/live-pulled-frame.png";
    if (drawn->write(drawnPath) && pulled->write(pulledPath)) {
        fmt::print("   at {:.1f} s of the stream, the app drew {} and the viewer pulled back {}\n",
            PulledPicture::Moment, drawnPath, pulledPath);
    }
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
    // The clip service publishes to an ingest server of its own, started here
    // for the sample and stopped when the flow ends.
    const auto server = IngestServer::start(std::string(LUMORA_INGEST_DIR) + "/sample");
    if (server) {
        installBroadcastService(kClipSetupExtension, kClipUploadExtension, "ClipcasterSetup.appex",
            { server->streamURL(kStreamKey), server->statisticsURL(), 4.0 });
    } else {
        say("The clip service's ingest server did not start: its broadcast is left out");
    }
    installShareExtension("com.example.streamer.share", true);
    installShareExtension("com.example.notes.share", false);
    auto app = std::make_shared<BroadcastPickerApp>();
    device.application().setDelegate(app);
    // The service's calls reach the app over its connection to the service.
    LMDaemonProxy::daemonProxy()->setConnection(device.recordingService().clientConnection());

    broadcastAudioThroughThePicker(*app);
    if (server) {
        broadcastClipsThroughThePicker(*app, *server);
    }
    cancelThePicker(*app);
    app->listStreamActivities();

    LMDaemonProxy::daemonProxy()->setConnection(nullptr);
}

} // namespace lumora::sample
