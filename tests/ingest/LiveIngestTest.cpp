#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastController.h"
#include "extensions/setup/StreamerSetupExtension.h"
#include "extensions/upload/IngestStatistics.h"
#include "extensions/upload/LiveClipUploadHandler.h"
#include "platform/extensions/Extension.h"
#include "platform/graphics/Color.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/services/IngestServer.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/StreamViewer.h"
#include "platform/ui/View.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LumoraErrors.h"
#include "tests/harness/MovieProbe.h"
#include "tests/harness/PickerDelegate.h"
#include "tests/recording/RecorderFixture.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumora::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using platform::DictionaryRef;
using platform::ErrorRef;
using platform::Value;
using platform::host::ExtensionRequest;
using platform::host::IngestServer;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedRecordingService;
using platform::host::StreamViewer;
using sample::LiveClipUpload;
using sample::LiveClipUploadHandler;
using sample::RtmpPublisher;

constexpr const char* kSetupExtension = "com.example.clipcaster.setup";
constexpr const char* kUploadExtension = "com.example.clipcaster.upload";
constexpr MovieContents::Colour kRed { 255, 0, 0 };
constexpr MovieContents::Colour kGreen { 0, 255, 0 };
constexpr MovieContents::Colour kBlue { 0, 0, 255 };
constexpr double kFrameTime = 1.0 / platform::host::ScreenCapture::FramesPerSecond;

// Whether an error-level log line starting with `prefix` was written.
bool loggedError(const LogCapture& log, std::string_view prefix)
{
    const auto texts = log.texts(platform::Log::Level::Error);
    return std::any_of(
        texts.begin(), texts.end(), [prefix](const std::string& text) { return text.starts_with(prefix); });
}

// Tight limits, so that a fault costs the suite about a second.
constexpr RtmpPublisher::Limits kLimits {
    .attemptTimeout = 600ms, .attempts = 2, .retryPause = 100ms, .clipTimeLimit = 2500ms
};

/// What a viewer saw: the colour at the centre of each picture, by stream time.
class SeenColours {
public:
    void add(const platform::host::Bitmap& picture, double time)
    {
        const auto pixel = picture.pixelAt(picture.width() / 2, picture.height() / 2);
        std::lock_guard lock(mutex_);
        seen_.emplace_back(time,
            MovieContents::Colour { static_cast<int>(pixel.red * 255), static_cast<int>(pixel.green * 255),
                static_cast<int>(pixel.blue * 255) });
    }
    // The colour of the picture shown at `time`.
    MovieContents::Colour at(double time) const
    {
        std::lock_guard lock(mutex_);
        MovieContents::Colour shown { -100, -100, -100 };
        for (const auto& [when, colour] : seen_) {
            if (when <= time + 1e-6) {
                shown = colour;
            }
        }
        return shown;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::pair<double, MovieContents::Colour>> seen_;
};

class ServiceInfoDelegate final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo {
public:
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& /*controller*/, const DictionaryRef& serviceInfo) override
    {
        recorder.callback()(serviceInfo);
    }
    CallbackRecorder<DictionaryRef> recorder;
};

// Hears the recording stop that the service announces, on the connection's thread.
class StopDelegate final
    : public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController {
public:
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& /*preview*/) override
    {
        recorder.callback()(error);
    }
    CallbackRecorder<ErrorRef> recorder;
};

/// A phone whose app shows one view of a colour the test changes, a running
/// ingest server and the sample streaming service installed in the picker.
class LiveIngestTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        device().screens().setMainScreen({ { 0, 0 }, { 96, 64 } }, 1);
        canvas = std::make_shared<platform::View>(platform::Rect { { 0, 0 }, { 320, 568 } });
        appWindow->addSubview(canvas);
        paint(kRed);

        const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
        folder = fmt::format("{}/ingest-{}-{}", LUMORA_TEST_BINARY_DIR, test->name(), ::getpid());
        fs::create_directories(folder + "/clips");
        device().mountDirectory(std::string(SimulatedRecordingService::ClipDirectory), folder + "/clips");
        server = IngestServer::start(folder + "/server");
        ASSERT_NE(server, nullptr);
        streamURL = server->streamURL("test");

        LMDaemonProxy::daemonProxy()->setConnection(service().clientConnection());
        LMScreenRecorder::sharedRecorder()->setDelegate(stops);
        service().setRecordsScreen(true);
        installService({ streamURL, server->statisticsURL(), 1.0 });
    }
    void TearDown() override
    {
        RecorderTest::TearDown();
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        prepareDevice();
        server.reset();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    void installService(const sample::StreamerIngest& ingest)
    {
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
        device().extensions().installExtension(
            kSetupExtension, attributes, [ingest](const platform::host::ExtensionRequestSide& side) {
                return sample::startStreamerSetup(side.context, ingest);
            });
        service().installUploadExtension(kUploadExtension, SimulatedRecordingService::UploadKind::MovieClip,
            [upload = upload] { return std::make_shared<LiveClipUploadHandler>(upload); });
    }

    void paint(const MovieContents::Colour& colour) const
    {
        canvas->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(
            colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, 1));
    }

    // The user chooses the sample streaming service in the picker, and the
    // app starts broadcasting with the microphone on.
    std::shared_ptr<LMBroadcastController> goLive()
    {
        CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, ErrorRef> loaded;
        LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
        EXPECT_TRUE(loaded.wait());
        const auto picker = std::get<0>(loaded.call());
        if (picker == nullptr) {
            return nullptr;
        }
        picker->setDidFinishHandler(nullptr);
        const auto pickerDelegate = std::make_shared<PickerDelegate>();
        picker->setDelegate(pickerDelegate);
        EXPECT_TRUE(device().broadcastPicker().chooseService(kSetupExtension));
        EXPECT_TRUE(pickerDelegate->recorder.wait());
        const auto controller = std::get<0>(pickerDelegate->recorder.call());
        if (controller == nullptr) {
            return nullptr;
        }
        EXPECT_EQ(controller->broadcastURL(), platform::URL::URLWithString(streamURL));
        controller->setDelegate(serviceInfo);
        LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
        CallbackRecorder<ErrorRef> started;
        controller->startBroadcastWithHandler(started.callback());
        EXPECT_TRUE(started.wait());
        EXPECT_EQ(std::get<0>(started.call()), nullptr);
        return controller;
    }

    // Lets `seconds` pass on the device clock, a tenth of a second at a time.
    static void letTimePass(double seconds)
    {
        for (int step = 0; step < static_cast<int>(std::lround(seconds * 10)); ++step) {
            device().advanceClock(0.1);
            drainMainQueue();
        }
    }

    // Lets the device's clock run a second at a time until the app has heard
    // the recording stop `count` times (at most `seconds`), and returns the
    // error it heard last.
    ErrorRef waitForStop(int seconds, std::size_t count)
    {
        for (int second = 0; second < seconds && stops->recorder.callCount() < count; ++second) {
            letTimePass(1.0);
            EXPECT_TRUE(service().waitForUploadRequests(5s));
            drainMainQueue();
        }
        if (!stops->recorder.wait(count, 5s)) {
            return nullptr;
        }
        return std::get<0>(stops->recorder.call(count - 1));
    }

    // Waits until the server lists `count` viewers of the test's stream.
    bool waitForViewers(int count) const
    {
        return runUntil([this, count] {
            return sample::IngestStatistics::viewersOfStream(server->statisticsURL(), "test", 1s) == count;
        });
    }

    static void expectFailedDuringRecording(const ErrorRef& error)
    {
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->domain(), LMRecordingErrorDomain);
        EXPECT_EQ(error->code(), -5804);
        EXPECT_EQ(error->localizedDescription(), LumoraErrors::messageForCode(-5804));
        const auto underlying
            = error->userInfo()->valueForKey(platform::Error::UnderlyingErrorKey).objectAs<platform::Error>();
        ASSERT_NE(underlying, nullptr);
        EXPECT_EQ(underlying->domain(), LiveClipUploadHandler::ErrorDomain);
    }

    std::string folder;
    std::unique_ptr<IngestServer> server;
    std::string streamURL;
    std::shared_ptr<platform::View> canvas;
    std::shared_ptr<LiveClipUpload> upload = std::make_shared<LiveClipUpload>(kLimits);
    std::shared_ptr<ServiceInfoDelegate> serviceInfo = std::make_shared<ServiceInfoDelegate>();
    std::shared_ptr<StopDelegate> stops = std::make_shared<StopDelegate>();
};

TEST_F(LiveIngestTest, AViewerSeesWhatTheAppDrewAsOneStreamWithoutGaps)
{
    auto colours = std::make_shared<SeenColours>();
    StreamViewer viewer(
        streamURL, {}, [colours](const platform::host::Bitmap& picture, double time) { colours->add(picture, time); });
    ASSERT_TRUE(waitForViewers(1));
    const auto controller = goLive();
    ASSERT_NE(controller, nullptr);

    letTimePass(1.0); // the first clip: red
    ASSERT_TRUE(viewer.waitForFrames(25, 10s));
    // The viewer heard that it is watching, and that the stream is live.
    ASSERT_TRUE(serviceInfo->recorder.wait());
    const auto info = std::get<0>(serviceInfo->recorder.call());
    EXPECT_EQ(info->stringForKey(LiveClipUploadHandler::StreamStateKey), "live");
    EXPECT_EQ(info->valueForKey(LiveClipUploadHandler::ViewersKey).int64Value(), 1);

    // The next clip comes late: the viewer has waited longer than a clip
    // lasts. A pause of the recording comes in between as well.
    ASSERT_TRUE(viewer.waitForQuiet(1100ms, 5s));
    paint(kGreen);
    controller->pauseBroadcast();
    letTimePass(2.0);
    controller->resumeBroadcast();
    letTimePass(1.0); // the second clip: green
    paint(kBlue);
    letTimePass(0.5);
    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler(finished.callback());
    ASSERT_TRUE(finished.wait());
    ASSERT_TRUE(service().waitForUploadRequests(5s));
    // Every picture of every clip, and nothing else, reaches the viewer.
    std::size_t clipFrames = 0;
    for (const auto& entry : fs::directory_iterator(folder + "/clips")) {
        const auto clip = decodeMovie(entry.path().string());
        ASSERT_TRUE(clip) << entry.path();
        clipFrames += clip->frames.size();
    }
    ASSERT_TRUE(viewer.waitForFrames(clipFrames, 10s));
    ASSERT_TRUE(viewer.waitForQuiet(300ms, 5s));
    viewer.stop();
    ASSERT_TRUE(viewer.waitUntilEnded(5s));

    const auto seen = viewer.summary();
    EXPECT_EQ(seen.failure, "");
    EXPECT_EQ(seen.width, 96);
    EXPECT_EQ(seen.height, 64);
    // 2.5 seconds were live.
    EXPECT_EQ(seen.frameTimes.size(), clipFrames);
    EXPECT_NEAR(static_cast<double>(seen.frameTimes.size()), 2.5 / kFrameTime, 4);
    ASSERT_FALSE(seen.frameTimes.empty());
    EXPECT_NEAR(seen.frameTimes.front(), 0.0, 1e-3);
    EXPECT_NEAR(seen.frameTimes.back(), 2.5, kFrameTime / 2);
    // Neither the pause nor the late clip left a gap; time never goes back.
    for (std::size_t frame = 1; frame < seen.frameTimes.size(); ++frame) {
        const auto step = seen.frameTimes[frame] - seen.frameTimes[frame - 1];
        EXPECT_GT(step, 0.0) << "frame " << frame;
        EXPECT_LT(step, 1.5 * kFrameTime) << "frame " << frame << " at " << seen.frameTimes[frame];
    }
    EXPECT_TRUE(closeColours(colours->at(0.5), kRed));
    EXPECT_TRUE(closeColours(colours->at(1.5), kGreen));
    EXPECT_TRUE(closeColours(colours->at(2.3), kBlue));
    EXPECT_GT(seen.audioPackets, 0);
    EXPECT_NEAR(seen.audioDuration, 2.5, 0.1);

    EXPECT_EQ(upload->clipsPublished, 3);
    EXPECT_EQ(upload->clipsFailed, 0);
    EXPECT_EQ(stops->recorder.callCount(), 0U);
}

TEST_F(LiveIngestTest, AServerThatIsDownOrGoesDownEndsTheBroadcastWithFailedDuringRecording)
{
    // Down from the start: the first clip cannot be published.
    const LogCapture log;
    server->stop();
    ASSERT_NE(goLive(), nullptr);
    expectFailedDuringRecording(waitForStop(2, 1));
    EXPECT_FALSE(service().isBroadcasting());
    EXPECT_EQ(upload->clipsPublished, 0);
    EXPECT_TRUE(loggedError(log, "Clip upload: clip 1 was not published"));
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_EQ(stops->recorder.callCount(), 1U);

    // Up again, then down while the app broadcasts.
    server = IngestServer::start(folder + "/server");
    ASSERT_NE(server, nullptr);
    streamURL = server->streamURL("test");
    installService({ streamURL, server->statisticsURL(), 1.0 });
    StreamViewer viewer(streamURL, {});
    ASSERT_TRUE(waitForViewers(1));
    const auto controller = goLive();
    ASSERT_NE(controller, nullptr);
    letTimePass(1.0);
    ASSERT_TRUE(viewer.waitForFrames(25, 10s));
    server->stop();
    expectFailedDuringRecording(waitForStop(4, 2));
    EXPECT_FALSE(service().isBroadcasting());
    EXPECT_GE(upload->clipsPublished, 1);
    EXPECT_EQ(upload->clipsFailed, 2);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_EQ(stops->recorder.callCount(), 2U);
}

/// A loopback listener that takes connections into its backlog and never
/// says a word: a server that accepts and then stalls.
class SilentListener {
public:
    SilentListener()
    {
        socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* generic = reinterpret_cast<sockaddr*>(&address); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        if (::bind(socket_, generic, sizeof address) == 0 && ::listen(socket_, 4) == 0
            && ::getsockname(socket_, generic, &length) == 0) {
            port_ = ntohs(address.sin_port);
        }
    }
    ~SilentListener() { ::close(socket_); }
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;
    SilentListener(SilentListener&&) = delete;
    SilentListener& operator=(SilentListener&&) = delete;

    [[nodiscard]] int port() const { return port_; }
    // Whether every connection made to it so far has been closed by its client.
    [[nodiscard]] bool allConnectionsClosed() const
    {
        int connections = 0;
        for (;;) {
            const int connection = ::accept4(socket_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
            if (connection < 0) {
                return connections > 0;
            }
            ++connections;
            std::array<char, 4096> buffer {};
            ssize_t count = 0;
            while ((count = ::recv(connection, buffer.data(), buffer.size(), 0)) > 0) { }
            ::close(connection);
            if (count != 0) { // 0 is the client's close; anything else is still open
                return false;
            }
        }
    }

private:
    int socket_ = -1;
    int port_ = 0;
};

// One clip request handled by the sample service's upload extension alone.
ExtensionRequest::Outcome publishOneClip(
    const std::shared_ptr<LiveClipUpload>& upload, const std::string& ingestURL, const std::string& clipPath)
{
    const ExtensionRequest request(platform::ExtensionItems {
        ExtensionRequest::labelledItem(
            LMBroadcastExtensionKeyMovieClipURL, Value(platform::URL::fileURLWithPath(clipPath).absoluteString())),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionUserInfo,
            Value(std::make_shared<const platform::Dictionary>(
                platform::Dictionary { { std::string(LiveClipUploadHandler::IngestURLKey), Value(ingestURL) } }))),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyRequestedFinish, Value(true)),
        ExtensionRequest::labelledItem(
            LMBroadcastExtensionKeyExtensionSandboxToken, Value(SimulatedRecordingService::readTokenForFile(clipPath))),
    });
    request.beginWithHandler(std::make_shared<LiveClipUploadHandler>(upload));
    const auto outcome = request.waitForOutcome(10s);
    EXPECT_TRUE(outcome.has_value());
    return outcome.value_or(ExtensionRequest::Outcome {});
}

TEST_F(LiveIngestTest, BadURLsServersAndClipsEndTheClipWithAnErrorAndLeaveNoSession)
{
    const std::string movie = frameworkBundleDirectory() + "/srecorder.mp4";
    const auto truncated = folder + "/truncated.mp4";
    const auto notAMovie = folder + "/notes.mp4";
    {
        std::ifstream in(movie, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        std::ofstream(truncated, std::ios::binary) << bytes.substr(0, bytes.size() / 2);
        std::ofstream(notAMovie) << "not a movie at all\n";
    }
    const SilentListener stalled;
    ASSERT_NE(stalled.port(), 0);
    const auto closedPort = fmt::format("rtmp://127.0.0.1:{}/live/test", [] {
        const SilentListener gone;
        return gone.port();
    }());
    struct Case {
        std::string name;
        std::string url;
        std::string clip;
        std::string reason;
    };
    const std::vector<Case> cases {
        { "not RTMP", fmt::format("http://127.0.0.1:{}/live/test", server->port()), movie, "not an RTMP URL" },
        { "unreachable", closedPort, movie, "cannot connect" },
        { "stalled", fmt::format("rtmp://127.0.0.1:{}/live/test", stalled.port()), movie, "cannot connect" },
        { "truncated", streamURL, truncated, "the clip is damaged" },
        { "not a movie", streamURL, notAMovie, "the clip is not a movie" },
        { "missing", streamURL, folder + "/missing.mp4", "the clip cannot be read" },
    };
    for (const auto& fault : cases) {
        const LogCapture log;
        const auto outcome = publishOneClip(std::make_shared<LiveClipUpload>(kLimits), fault.url, fault.clip);
        ASSERT_NE(outcome.error, nullptr) << fault.name;
        EXPECT_EQ(outcome.error->domain(), LiveClipUploadHandler::ErrorDomain) << fault.name;
        EXPECT_TRUE(outcome.error->localizedDescription().starts_with(fault.reason))
            << fault.name << ": " << outcome.error->localizedDescription();
        EXPECT_TRUE(loggedError(log, "Clip upload: clip 1 was not published: " + fault.reason)) << fault.name;
    }
    // The stalled server's connections were all given up, none left open.
    EXPECT_TRUE(stalled.allConnectionsClosed());
    // No publisher was left on the real server either, and a good clip
    // still goes out whole.
    EXPECT_EQ(sample::IngestStatistics::viewersOfStream(server->statisticsURL(), "test", 2s), std::nullopt);
    const auto good = publishOneClip(std::make_shared<LiveClipUpload>(kLimits), streamURL, movie);
    EXPECT_EQ(good.error, nullptr);
}

} // namespace
} // namespace lumora::test
