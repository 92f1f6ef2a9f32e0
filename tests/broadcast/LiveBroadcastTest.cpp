#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/Clock.h"
#include "platform/graphics/Color.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/system/FileManager.h"
#include "platform/ui/View.h"
#include "recording/LMDaemonProxy.h"
#include "tests/harness/MovieProbe.h"
#include "tests/recording/RecorderFixture.h"
#include "tests/upload/UploadTestSupport.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedRecordingService;
using ::testing::ElementsAre;

constexpr const char* kSetupExtension = "com.example.caster.setup";
constexpr const char* kUploadExtension = "com.example.caster.upload";
constexpr const char* kClipSetupExtension = "com.example.clipper.setup";
constexpr const char* kClipUploadExtension = "com.example.clipper.upload";

/// What the application heard, in order, from any thread.
class Heard {
public:
    void add(std::string what)
    {
        std::lock_guard lock(mutex_);
        heard_.push_back(std::move(what));
    }
    std::vector<std::string> all() const
    {
        std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> heard_;
};

class PickerDelegate final : public LMBroadcastActivityViewControllerDelegate::
                                 BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    explicit PickerDelegate(std::shared_ptr<Heard> heard) : heard_(std::move(heard)) { }
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& controller, const ErrorRef& error) override
    {
        heard_->add("picker finished");
        recorder.callback()(controller, error);
    }
    CallbackRecorder<std::shared_ptr<LMBroadcastController>, ErrorRef> recorder;

private:
    std::shared_ptr<Heard> heard_;
};

class ControllerDelegate final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo {
public:
    explicit ControllerDelegate(std::shared_ptr<Heard> heard) : heard_(std::move(heard)) { }
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& /*controller*/, const DictionaryRef& serviceInfo) override
    {
        heard_->add(fmt::format("service info: {} viewers", serviceInfo->valueForKey("viewers").int64Value()));
        recorder.callback()(serviceInfo);
    }
    CallbackRecorder<DictionaryRef> recorder;

private:
    std::shared_ptr<Heard> heard_;
};

/// The service's upload extension: every request gets a handler of its own,
/// all telling one log; on resuming it reports its audience.
class CasterHandler final : public LMBroadcastSampleHandler {
public:
    explicit CasterHandler(std::shared_ptr<HookLog> log) : log_(std::move(log)) { }
    void broadcastStartedWithSetupInfo(const DictionaryRef& setupInfo) override { log_->record("started", setupInfo); }
    void broadcastPaused() override { log_->record("paused"); }
    void broadcastResumed() override
    {
        updateServiceInfo(dictionary({ { "viewers", Value(std::int64_t { 12 }) } }));
        log_->record("resumed");
    }
    void broadcastFinished() override { log_->record("finished"); }
    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        log_->record("sample", nullptr, sample, type);
    }

private:
    std::shared_ptr<HookLog> log_;
};

/// How the clip service's upload extension ends the request of one clip.
struct ClipReply {
    enum class Kind : std::uint8_t { Plain, Configuration, Malformed, Cancel };
    Kind kind = Kind::Plain;
    double clipDuration = 0.0;
};

/// The clip service's upload extension: each clip's handler notes the device
/// time and the size of the file it was given, then ends the request as the
/// test scripted for that clip (in the order the clips arrive).
class ClipperHandler final : public LMBroadcastMP4ClipHandler {
public:
    ClipperHandler(std::shared_ptr<HookLog> log, std::shared_ptr<const std::vector<ClipReply>> replies)
        : log_(std::move(log)), replies_(std::move(replies))
    { }
    void processMP4ClipWithURL_setupInfo_finished(
        const std::optional<platform::URL>& url, const DictionaryRef& setupInfo, bool finished) override
    {
        // The extension reads the clip through the platform, by its device path.
        const auto bytes = url ? platform::FileManager::defaultManager()->contentsAtPath(url->path()) : std::nullopt;
        const auto clip = log_->calls().size();
        log_->record(fmt::format("{:.1f} s, {} bytes", platform::Clock::uptime(),
                         bytes ? static_cast<std::int64_t>(bytes->length()) : -1),
            setupInfo, nullptr, 0, url, finished);
        const auto reply = clip < replies_->size() ? (*replies_)[clip] : ClipReply {};
        switch (reply.kind) {
        case ClipReply::Kind::Plain:
            finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr, nullptr);
            break;
        case ClipReply::Kind::Configuration: {
            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            configuration->setClipDuration(reply.clipDuration);
            updateServiceInfo(dictionary({ { "viewers", Value(std::int64_t { 7 }) } }));
            finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, nullptr);
            break;
        }
        case ClipReply::Kind::Malformed:
            extensionContext()->completeRequestReturningItems_completionHandler(
                { ExtensionRequest::labelledItem(
                    LMBroadcastExtensionKeyBroadcastConfiguration, Value(Data(std::vector<std::uint8_t>(64, 0xEE)))) },
                nullptr);
            break;
        case ClipReply::Kind::Cancel:
            finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(
                nullptr, platform::Error::errorWithDomain("com.example.clipper", 3, nullptr));
            break;
        }
    }

private:
    std::shared_ptr<HookLog> log_;
    std::shared_ptr<const std::vector<ClipReply>> replies_;
};

class LiveBroadcastTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        LMDaemonProxy::daemonProxy()->setConnection(service().clientConnection());
        installSetupExtension();
        service().installUploadExtension(kUploadExtension, SimulatedRecordingService::UploadKind::SampleBuffer,
            [log = hooks] { return std::make_shared<CasterHandler>(log); });
    }
    void TearDown() override
    {
        RecorderTest::TearDown();
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        // Lets the device's connections go while the platform's threads still run.
        prepareDevice();
    }

    // Completes its request at once with a URL, a configuration and setup information.
    static void installSetupExtension(const char* identifier = kSetupExtension,
        const char* uploadExtension = kUploadExtension, double clipDuration = 0.0)
    {
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = uploadExtension;
        device().extensions().installExtension(
            identifier, attributes, [clipDuration](const platform::host::ExtensionRequestSide& request) {
                auto configuration = std::make_shared<LMBroadcastConfiguration>();
                configuration->setClipDuration(clipDuration);
                LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(request.context,
                    platform::URL::URLWithString("rtmp://live.example/main"), configuration,
                    dictionary({ { "channel", Value("main") } }));
                return std::make_shared<platform::ViewController>();
            });
    }

    // Loads and shows the picker, chooses `setupExtension` and returns the
    // broadcast controller, with the test's delegate.
    std::shared_ptr<LMBroadcastController> chooseInPicker(const char* setupExtension)
    {
        CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, ErrorRef> loaded;
        LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
        EXPECT_TRUE(loaded.wait());
        const auto picker = std::get<0>(loaded.call());
        if (picker == nullptr) {
            return nullptr;
        }
        // The picker keeps the load's handler, and the recorder behind that
        // handler keeps the picker: break that cycle, which only the test makes.
        picker->setDidFinishHandler(nullptr);
        const auto pickerDelegate = std::make_shared<PickerDelegate>(heard);
        picker->setDelegate(pickerDelegate);
        EXPECT_TRUE(device().broadcastPicker().chooseService(setupExtension));
        EXPECT_TRUE(pickerDelegate->recorder.wait());
        const auto controller = std::get<0>(pickerDelegate->recorder.call());
        if (controller != nullptr) {
            controller->setDelegate(controllerDelegate);
        }
        return controller;
    }

    // Lets `count` payload intervals pass on the device clock.
    static void letPayloadIntervalsPass(int count)
    {
        for (int tick = 0; tick < count; ++tick) {
            device().advanceClock(SimulatedRecordingService::PayloadInterval);
            drainMainQueue();
        }
    }

    std::shared_ptr<HookLog> hooks = std::make_shared<HookLog>();
    std::shared_ptr<Heard> heard = std::make_shared<Heard>();
    std::shared_ptr<ControllerDelegate> controllerDelegate = std::make_shared<ControllerDelegate>(heard);
};

std::vector<std::string> hookNames(const std::vector<HookCall>& calls)
{
    std::vector<std::string> names;
    for (const auto& call : calls) {
        names.push_back(
            call.hook == "sample" ? (call.type == LMBroadcastSampleTypeAudioApp ? "app" : "mic") : call.hook);
    }
    return names;
}

TEST_F(LiveBroadcastTest, TheChosenServicesUploadExtensionReceivesTheBroadcastFromPickerToFinish)
{
    const auto controller = chooseInPicker(kSetupExtension);
    ASSERT_NE(controller, nullptr);

    LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
    CallbackRecorder<ErrorRef> started;
    controller->startBroadcastWithHandler([this, done = started.callback()](const ErrorRef& error) {
        heard->add("started");
        done(error);
    });
    ASSERT_TRUE(started.wait());
    EXPECT_EQ(std::get<0>(started.call()), nullptr);

    // Nothing but the start until the device clock moves.
    ASSERT_EQ(hooks->waitFor(1).size(), 1U);
    letPayloadIntervalsPass(2);
    ASSERT_EQ(hooks->waitFor(5).size(), 5U);
    controller->pauseBroadcast();
    letPayloadIntervalsPass(3); // paused: nothing is sent
    ASSERT_EQ(hooks->waitFor(6).size(), 6U);
    controller->resumeBroadcast();
    ASSERT_TRUE(controllerDelegate->recorder.wait());
    EXPECT_EQ(controller->serviceInfo(), std::get<0>(controllerDelegate->recorder.call()));
    letPayloadIntervalsPass(1);
    ASSERT_EQ(hooks->waitFor(9).size(), 9U);

    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler([this, done = finished.callback()](const ErrorRef& error) {
        heard->add("finished");
        done(error);
    });
    ASSERT_TRUE(finished.wait());
    const auto calls = hooks->waitFor(10);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_FALSE(service().isBroadcasting());

    EXPECT_THAT(hookNames(hooks->calls()),
        ElementsAre("started", "app", "mic", "app", "mic", "paused", "resumed", "app", "mic", "finished"));
    ASSERT_NE(calls[0].setupInfo, nullptr);
    EXPECT_EQ(calls[0].setupInfo->stringForKey("channel"), "main");
    // Each kind of audio runs on in time across the pause, a payload interval apiece.
    std::vector<double> appTimes;
    for (const auto& call : calls) {
        if (call.hook == "sample" && call.type == LMBroadcastSampleTypeAudioApp) {
            ASSERT_NE(call.sample, nullptr);
            appTimes.push_back(call.sample->presentationTimeStamp().seconds());
        }
    }
    EXPECT_THAT(appTimes, ElementsAre(0.0, 0.1, 0.2));
    EXPECT_THAT(heard->all(), ElementsAre("picker finished", "started", "service info: 12 viewers", "finished"));
}

class LiveClipBroadcastTest : public LiveBroadcastTest {
protected:
    void SetUp() override
    {
        LiveBroadcastTest::SetUp();
        std::string pattern = (std::filesystem::temp_directory_path() / "lumora-clips-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        clipFolder = pattern;
        device().mountDirectory(std::string(SimulatedRecordingService::ClipDirectory), clipFolder);
        installSetupExtension(kClipSetupExtension, kClipUploadExtension, 2.0);
        service().installUploadExtension(kClipUploadExtension, SimulatedRecordingService::UploadKind::MovieClip,
            [log = hooks, replies = replies] { return std::make_shared<ClipperHandler>(log, replies); });
    }
    void TearDown() override
    {
        LiveBroadcastTest::TearDown();
        std::error_code ignored;
        std::filesystem::remove_all(clipFolder, ignored);
    }

    // Moves the device clock on by `seconds` and runs the timers that came due.
    static void letTimePass(double seconds)
    {
        device().advanceClock(seconds);
        drainMainQueue();
    }

    static bool logged(const LogCapture& log, std::string_view prefix)
    {
        return runUntil([&log, prefix] {
            const auto texts = log.texts(platform::Log::Level::Error);
            return std::any_of(
                texts.begin(), texts.end(), [prefix](const std::string& text) { return text.starts_with(prefix); });
        });
    }

    std::string clipFolder;
    std::shared_ptr<std::vector<ClipReply>> replies = std::make_shared<std::vector<ClipReply>>();
};

TEST_F(LiveClipBroadcastTest, ClipsAreCutOnLiveDeviceTimeAndTheExtensionsRepliesSteerTheCutting)
{
    // The first clip's reply shortens the clips to come to one second; the
    // second reply is garbage; the last clip is cancelled by the extension.
    *replies = { { ClipReply::Kind::Configuration, 1.0 }, { ClipReply::Kind::Malformed }, { ClipReply::Kind::Cancel } };
    const LogCapture log;
    const auto controller = chooseInPicker(kClipSetupExtension);
    ASSERT_NE(controller, nullptr);
    const double start = platform::Clock::uptime();
    CallbackRecorder<ErrorRef> started;
    controller->startBroadcastWithHandler(started.callback());
    ASSERT_TRUE(started.wait());

    letTimePass(1.5);
    letTimePass(0.5); // the setup's two seconds: the first clip
    ASSERT_EQ(hooks->waitFor(1).size(), 1U);
    ASSERT_TRUE(controllerDelegate->recorder.wait());
    letTimePass(0.5);
    controller->pauseBroadcast();
    letTimePass(5.0); // paused time does not count
    controller->resumeBroadcast();
    letTimePass(0.5); // one second live since the first clip: the second
    ASSERT_EQ(hooks->waitFor(2).size(), 2U);
    ASSERT_TRUE(
        logged(log, "Recording service: ignoring a malformed broadcast configuration returned with movie clip 2"));
    letTimePass(0.5);
    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler(finished.callback());
    ASSERT_TRUE(finished.wait());
    ASSERT_EQ(hooks->waitFor(3).size(), 3U);
    ASSERT_TRUE(logged(log, "Recording service: the upload extension cancelled movie clip 3"));
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_FALSE(service().isBroadcasting());

    const auto movieBytes = std::filesystem::file_size(frameworkBundleDirectory() + "/srecorder.mp4");
    const auto calls = hooks->calls();
    std::vector<std::string> clips;
    std::vector<bool> finishFlags;
    std::vector<std::optional<std::string>> tokens;
    for (const auto& call : calls) {
        clips.push_back(call.hook);
        finishFlags.push_back(call.finished);
        ASSERT_NE(call.setupInfo, nullptr);
        EXPECT_EQ(call.setupInfo->stringForKey("channel"), "main");
        ASSERT_TRUE(call.url.has_value());
        EXPECT_TRUE(call.url->path().starts_with(SimulatedRecordingService::ClipDirectory));
        tokens.emplace_back(SimulatedRecordingService::readTokenForFile(call.url->path()));
    }
    EXPECT_THAT(clips,
        ElementsAre(fmt::format("{:.1f} s, {} bytes", start + 2.0, movieBytes),
            fmt::format("{:.1f} s, {} bytes", start + 8.0, movieBytes),
            fmt::format("{:.1f} s, {} bytes", start + 8.5, movieBytes)));
    EXPECT_THAT(finishFlags, ElementsAre(false, false, true));
    EXPECT_EQ(device().consumedSandboxTokens(), tokens);
    EXPECT_NE(calls[0].url, calls[1].url);
    EXPECT_THAT(heard->all(), ElementsAre("picker finished", "service info: 7 viewers"));
}

TEST_F(LiveClipBroadcastTest, ASetupWithoutAClipDurationIsCutAtTheDefaultAndAStopCutsTheLastClip)
{
    constexpr const char* kUnsetSetupExtension = "com.example.clipper.unset-setup";
    installSetupExtension(kUnsetSetupExtension, kClipUploadExtension, 0.0);
    const auto controller = chooseInPicker(kUnsetSetupExtension);
    ASSERT_NE(controller, nullptr);
    const double start = platform::Clock::uptime();
    controller->startBroadcastWithHandler(nullptr);
    letTimePass(SimulatedRecordingService::DefaultClipDuration - 0.5);
    letTimePass(0.5);
    ASSERT_EQ(hooks->waitFor(1).size(), 1U);
    controller->finishBroadcastWithHandler(nullptr);
    ASSERT_EQ(hooks->waitFor(2).size(), 2U);
    ASSERT_TRUE(runPendingDeliveries());

    const auto calls = hooks->calls();
    ASSERT_EQ(calls.size(), 2U);
    const auto movieBytes = std::filesystem::file_size(frameworkBundleDirectory() + "/srecorder.mp4");
    const auto cutAtDefault
        = fmt::format("{:.1f} s, {} bytes", start + SimulatedRecordingService::DefaultClipDuration, movieBytes);
    EXPECT_EQ(calls[0].hook, cutAtDefault);
    EXPECT_FALSE(calls[0].finished);
    EXPECT_EQ(calls[1].hook, cutAtDefault); // cut at once by the stop, empty as it is
    EXPECT_TRUE(calls[1].finished);
}

TEST_F(LiveClipBroadcastTest, AClipThatFallsDueAsTheRecordingPausesIsCutOnce)
{
    const auto controller = chooseInPicker(kClipSetupExtension);
    ASSERT_NE(controller, nullptr);
    const double start = platform::Clock::uptime();
    controller->startBroadcastWithHandler(nullptr);
    drainMainQueue();
    // The clip falls due, and the app pauses and resumes before its timer has run.
    device().advanceClock(2.0);
    controller->pauseBroadcast();
    controller->resumeBroadcast();
    drainMainQueue();
    ASSERT_EQ(hooks->waitFor(1).size(), 1U); // the handler notes the time: let it do so before the clock moves
    letTimePass(0.5);
    controller->finishBroadcastWithHandler(nullptr);
    ASSERT_EQ(hooks->waitFor(2).size(), 2U);
    ASSERT_TRUE(runPendingDeliveries());

    const auto movieBytes = std::filesystem::file_size(frameworkBundleDirectory() + "/srecorder.mp4");
    std::vector<std::pair<std::string, bool>> clips;
    for (const auto& call : hooks->calls()) {
        clips.emplace_back(call.hook, call.finished);
    }
    EXPECT_THAT(clips,
        ElementsAre(std::pair(fmt::format("{:.1f} s, {} bytes", start + 2.0, movieBytes), false),
            std::pair(fmt::format("{:.1f} s, {} bytes", start + 2.5, movieBytes), true)));
}

TEST_F(LiveClipBroadcastTest, WhileTheServiceRecordsTheScreenEachClipIsAMovieOfWhatTheAppShowedMeanwhile)
{
    device().screens().setMainScreen({ { 0, 0 }, { 64, 48 } }, 1);
    const auto canvas = std::make_shared<platform::View>(platform::Rect { { 0, 0 }, { 320, 568 } });
    appWindow->addSubview(canvas);
    canvas->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(1, 0, 0, 1));
    service().setRecordsScreen(true);
    const auto controller = chooseInPicker(kClipSetupExtension);
    ASSERT_NE(controller, nullptr);
    controller->startBroadcastWithHandler(nullptr);
    drainMainQueue();
    letTimePass(2.0); // the first clip, red throughout
    ASSERT_EQ(hooks->waitFor(1).size(), 1U);
    canvas->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(0, 0, 1, 1));
    letTimePass(1.0);
    controller->finishBroadcastWithHandler(nullptr);
    ASSERT_EQ(hooks->waitFor(2).size(), 2U);
    ASSERT_TRUE(runPendingDeliveries());

    const auto calls = hooks->calls();
    ASSERT_EQ(calls.size(), 2U);
    const std::vector<std::pair<double, MovieContents::Colour>> expected { { 2.0, { 255, 0, 0 } },
        { 1.0, { 0, 0, 255 } } };
    for (std::size_t clip = 0; clip < calls.size(); ++clip) {
        ASSERT_TRUE(calls[clip].url.has_value());
        const auto movie = decodeMovie(device().resolvePath(calls[clip].url->path()));
        ASSERT_TRUE(movie) << "clip " << clip + 1;
        EXPECT_EQ(movie->width, 64);
        EXPECT_NEAR(movie->duration, expected[clip].first, 0.1) << "clip " << clip + 1;
        ASSERT_FALSE(movie->frames.empty());
        // A clip starts on the picture of the moment it was opened: the
        // second one on the red the first ended with.
        EXPECT_TRUE(closeColours(movie->frames.front().centre, { 255, 0, 0 })) << "clip " << clip + 1;
        EXPECT_TRUE(closeColours(movie->frames.back().centre, expected[clip].second)) << "clip " << clip + 1;
    }
}

} // namespace
} // namespace lumora::test
