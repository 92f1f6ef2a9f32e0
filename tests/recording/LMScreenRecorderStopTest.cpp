#include "recording/LMScreenRecorder.h"

#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/host/services/SimulatedPhotoLibrary.h"
#include "platform/media/AudioSession.h"
#include "preview/LMPreviewViewController.h"
#include "recording/LMDaemonProxy.h"
#include "tests/harness/VideoEditorExtension.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::URL;
using PreviewRef = std::shared_ptr<LMPreviewViewController>;

class LMScreenRecorderStop : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        installVideoEditorExtension();
        // Restoring a real category makes every restore of the audio session countable.
        recorder->setPreviousAudioCategory(std::string(platform::AudioSession::CategoryPlayback));
    }

    void start(bool systemRecording = false)
    {
        if (systemRecording) {
            recorder->startRecordingWithMicrophoneEnabled_windowToRecord_systemRecording_handler(
                false, nullptr, true, nullptr);
        } else {
            recorder->startRecordingWithHandler(nullptr);
        }
        ASSERT_TRUE(recorder->isRecording());
        audioRestoresBefore = device().media().audioCategoryChangeCount();
        logs.clear();
    }
    int audioRestores() const { return device().media().audioCategoryChangeCount() - audioRestoresBefore; }
    std::size_t unlocks() const { return logs.count("enabling autorotation"); }

    const std::shared_ptr<LMScreenRecorder> recorder = LMScreenRecorder::sharedRecorder();
    LogCapture logs;
    int audioRestoresBefore = 0;
    const ErrorRef serviceError = platform::Error::errorWithDomain("service", 42);
};

TEST_F(LMScreenRecorderStop, StopYieldsAPreviewOfTheCannedMovieShownAsAPopoverOnATablet)
{
    for (const auto idiom : { platform::UserInterfaceIdiom::Phone, platform::UserInterfaceIdiom::Tablet }) {
        device().hardware().setUserInterfaceIdiom(idiom);
        start();
        CallbackRecorder<PreviewRef, ErrorRef> stopped;
        recorder->stopRecordingWithHandler(stopped.callback());
        EXPECT_FALSE(recorder->isRecording());
        EXPECT_EQ(appWindow->interfaceAutorotationDisabledCount(), 0);
        EXPECT_EQ(audioRestores(), 1);
        ASSERT_TRUE(stopped.wait());
        const auto [preview, error] = stopped.call();
        EXPECT_EQ(error, nullptr);
        ASSERT_NE(preview, nullptr);
        EXPECT_EQ(preview->movieURL()->path(), frameworkBundleDirectory() + "/srecorder.mp4");
        EXPECT_EQ(preview->modalPresentationStyle(), idiom == platform::UserInterfaceIdiom::Tablet ? 7 : 0);
    }
}

TEST_F(LMScreenRecorderStop, EveryStopWhileNotRecordingIsIgnoredWithoutAnAnswer)
{
    const auto delegate = std::make_shared<RecordingDelegate>();
    recorder->setDelegate(delegate);
    int answers = 0;
    recorder->stopRecordingWithHandler([&](const PreviewRef&, const ErrorRef&) { ++answers; });
    recorder->stopRecordingWithVideoURLHandler([&](const std::optional<URL>&, const ErrorRef&) { ++answers; });
    recorder->stopRecordingAndSaveToCameraRoll([&](const std::optional<std::string>&, const ErrorRef&) { ++answers; });
    recorder->stopBroadcastWithHandler([&](const platform::DictionaryRef&, const ErrorRef&) { ++answers; });
    LMDaemonProxy::daemonProxy()->stopRecordingWithError_movieURL(serviceError, std::nullopt);
    drainMainQueue();
    EXPECT_EQ(answers, 0);
    EXPECT_TRUE(delegate->stops.empty());
    EXPECT_TRUE(service().requests().empty());
    EXPECT_TRUE(logs.contains("LMDaemonProxy: stopRecordingWithError:movieURL:"));
}

// What each stop resets, during a system recording (which never locked rotation).
TEST_F(LMScreenRecorderStop, StopPathsDifferInRotationUnlockSystemRecordingResetAndAudioRestores)
{
    struct Path {
        const char* name;
        std::function<void()> stop;
        std::size_t unlocks;
        bool systemRecordingAfter;
        int audioRestores;
    };
    const std::vector<Path> paths {
        { "preview", [&] { recorder->stopRecordingWithHandler(nullptr); }, 0, false, 1 },
        { "url", [&] { recorder->stopRecordingWithVideoURLHandler(nullptr); }, 1, true, 1 },
        { "save", [&] { recorder->stopRecordingAndSaveToCameraRoll(nullptr); }, 0, false, 1 },
        { "announced", [&] { recorder->stopRecordingWithError_movieURL(nullptr, std::nullopt); }, 0, true, 1 },
        { "url, failing",
            [&] {
                service().setStopAnswer(std::nullopt, serviceError);
                recorder->stopRecordingWithVideoURLHandler([](const std::optional<URL>&, const ErrorRef&) {});
            },
            1, true, 2 },
    };
    for (const auto& path : paths) {
        recorder->setSystemRecording(false);
        start(true);
        path.stop();
        EXPECT_FALSE(recorder->isRecording()) << path.name;
        EXPECT_EQ(unlocks(), path.unlocks) << path.name;
        EXPECT_EQ(recorder->systemRecording(), path.systemRecordingAfter) << path.name;
        EXPECT_EQ(audioRestores(), path.audioRestores) << path.name;
        drainMainQueue();
    }
    // The save ends with a discard; wait for it so no save outlives the test.
    EXPECT_TRUE(runUntil([] { return requestCount("discardRecordingWithHandler:") == 1; }));
}

TEST_F(LMScreenRecorderStop, ServiceAnswersReachTheCallbacksUnchanged)
{
    service().setStopAnswer(std::nullopt, serviceError);
    start();
    CallbackRecorder<PreviewRef, ErrorRef> preview;
    recorder->stopRecordingWithHandler(preview.callback());
    ASSERT_EQ(preview.callCount(), 1U);
    EXPECT_EQ(std::get<1>(preview.call()), serviceError);
    EXPECT_TRUE(logs.contains("LMScreenRecorder: stop recording error: 42"));

    start();
    CallbackRecorder<std::optional<URL>, ErrorRef> url;
    recorder->stopRecordingWithVideoURLHandler(url.callback());
    ASSERT_EQ(url.callCount(), 1U);
    EXPECT_EQ(url.call(), std::make_tuple(std::optional<URL>(), serviceError));

    start();
    CallbackRecorder<platform::DictionaryRef, ErrorRef> broadcast;
    recorder->stopBroadcastWithHandler(broadcast.callback());
    ASSERT_EQ(broadcast.callCount(), 1U);
    EXPECT_EQ(broadcast.call(), std::make_tuple(platform::DictionaryRef(), ErrorRef()));
    // A released broadcast controller stops with no handler, which is then not called.
    start();
    recorder->stopBroadcastWithHandler(nullptr);
    EXPECT_FALSE(recorder->isRecording());

    service().setStopAnswer(URL::fileURLWithPath("/tmp/movie.mp4"), nullptr);
    start();
    recorder->stopRecordingWithVideoURLHandler(url.callback());
    ASSERT_EQ(url.callCount(), 2U);
    EXPECT_EQ(url.call(1), std::make_tuple(std::optional(URL::fileURLWithPath("/tmp/movie.mp4")), ErrorRef()));

    // Neither a movie nor an error, and no broadcast to end: nobody is told.
    service().setStopAnswer(std::nullopt, nullptr);
    start();
    recorder->stopRecordingWithHandler(preview.callback());
    recorder->stopBroadcastWithHandler(nullptr);
    drainMainQueue();
    EXPECT_EQ(preview.callCount(), 1U);
}

TEST_F(LMScreenRecorderStop, StopAndSaveReportsSuccessWithTheSavedPathEvenWhenTheSaveFailsThenDiscards)
{
    for (const bool saveFails : { false, true }) {
        device().photoLibrary().reset();
        if (saveFails) {
            device().photoLibrary().setSaveError(serviceError);
        }
        start();
        CallbackRecorder<std::optional<std::string>, ErrorRef> saved;
        recorder->stopRecordingAndSaveToCameraRoll(saved.callback());
        EXPECT_FALSE(recorder->isRecording());
        const auto stop = service().requestsNamed("stopRecordingWithStartClipDuration:endClipDuration:handler:");
        ASSERT_EQ(stop.size(), saveFails ? 2U : 1U);
        EXPECT_EQ(stop.back().arguments, (std::vector<platform::Value> { 0.0, 0.0 }));
        EXPECT_EQ(recorder->systemRecordingQuickPanelEndClipEndTime(), platform::Clock::now());
        ASSERT_TRUE(saved.wait());
        EXPECT_EQ(
            saved.call(), std::make_tuple(std::optional(frameworkBundleDirectory() + "/srecorder.mp4"), ErrorRef()));
        EXPECT_EQ(device().photoLibrary().savedMovies().size(), saveFails ? 0U : 1U);
        EXPECT_EQ(requestCount("discardRecordingWithHandler:"), saveFails ? 2U : 1U);
    }
}

TEST_F(LMScreenRecorderStop, StopAndSaveOfASystemRecordingCutsTheQuickPanelTimes)
{
    start(true);
    const auto now = platform::Clock::now();
    recorder->setSystemRecordingQuickPanelStartClipStartTime(now.dateByAddingTimeInterval(-30));
    recorder->setSystemRecordingQuickPanelStartClipEndTime(now.dateByAddingTimeInterval(-28.5));
    recorder->setSystemRecordingQuickPanelEndClipStartTime(now.dateByAddingTimeInterval(-2));
    recorder->stopRecordingAndSaveToCameraRoll(nullptr);
    // Without an end date the start pair measures nothing.
    start(true);
    recorder->setSystemRecordingQuickPanelStartClipEndTime(std::nullopt);
    recorder->stopRecordingAndSaveToCameraRoll(nullptr);
    const auto stops = service().requestsNamed("stopRecordingWithStartClipDuration:endClipDuration:handler:");
    ASSERT_EQ(stops.size(), 2U);
    EXPECT_EQ(stops[0].arguments, (std::vector<platform::Value> { 1.5, 2.0 }));
    EXPECT_EQ(stops[1].arguments, (std::vector<platform::Value> { 0.0, 2.0 }));
    EXPECT_TRUE(runUntil([] { return requestCount("discardRecordingWithHandler:") == 2; }));
}

TEST_F(LMScreenRecorderStop, AFailedStopAndSaveTellsTheCallerOrWithNoCallerStillSavesAndDiscards)
{
    service().setStopAnswer(std::nullopt, serviceError);
    start();
    CallbackRecorder<std::optional<std::string>, ErrorRef> saved;
    recorder->stopRecordingAndSaveToCameraRoll(saved.callback());
    ASSERT_EQ(saved.callCount(), 1U);
    EXPECT_EQ(saved.call(), std::make_tuple(std::optional<std::string>(), serviceError));
    start();
    recorder->stopRecordingAndSaveToCameraRoll(nullptr);
    EXPECT_TRUE(runUntil([] { return requestCount("discardRecordingWithHandler:") == 1; }));
    EXPECT_EQ(saved.callCount(), 1U);
}

TEST_F(LMScreenRecorderStop, DiscardIsRefusedWhileRecordingAndOtherwiseGoesToTheService)
{
    start();
    recorder->discardRecordingWithHandler([] {});
    EXPECT_EQ(requestCount("discardRecordingWithHandler:"), 0U);
    recorder->stopRecordingWithVideoURLHandler(nullptr);
    recorder->discardRecordingWithHandler([] {});
    EXPECT_EQ(requestCount("discardRecordingWithHandler:"), 1U);
}

// Keeps the previews it is handed.
class StopDelegate final
    : public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController {
public:
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const ErrorRef& error,
        const PreviewRef& preview) override
    {
        stops.emplace_back(error, preview);
    }
    std::vector<std::pair<ErrorRef, PreviewRef>> stops;
};

TEST_F(LMScreenRecorderStop, AStopTheServiceAnnouncesReachesTheDelegateWithAPreviewWhenThereIsAMovie)
{
    const auto delegate = std::make_shared<StopDelegate>();
    recorder->setDelegate(delegate);
    start();
    const auto movie = URL::fileURLWithPath("/tmp/announced.mp4");
    LMDaemonProxy::daemonProxy()->stopRecordingWithError_movieURL(serviceError, movie);
    EXPECT_FALSE(recorder->isRecording());
    ASSERT_TRUE(runUntil([&] { return !delegate->stops.empty(); }));
    const auto& [error, preview] = delegate->stops[0];
    EXPECT_EQ(error, serviceError);
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(preview->movieURL(), movie);
    EXPECT_EQ(preview->previewControllerDelegate(), std::shared_ptr<LMPreviewViewControllerDelegate>(recorder));

    start();
    LMDaemonProxy::daemonProxy()->stopRecordingWithError_movieURL(nullptr, std::nullopt);
    ASSERT_EQ(delegate->stops.size(), 2U);
    EXPECT_EQ(delegate->stops[1], std::make_pair(ErrorRef(), PreviewRef()));

    // A delegate that does not listen gets no preview loaded for it.
    recorder->setDelegate(nullptr);
    start();
    LMDaemonProxy::daemonProxy()->stopRecordingWithError_movieURL(nullptr, movie);
    drainMainQueue();
    EXPECT_EQ(logs.count("LMVideoPreviewViewController:loadPreviewViewControllerWithCompletion"), 0U);
}

} // namespace
} // namespace lumora::test
