#include "platform/extensions/ExtensionConnection.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/media/AudioSession.h"
#include "preview/LMPreviewViewController.h"
#include "preview/LMVideoEditorExtensionHostContext.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"
#include "tests/harness/VideoEditorExtension.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>

namespace lumora {
namespace {

using platform::Log;
using platform::host::SimulatedDevice;
using ::testing::ElementsAre;

using ActivityTypesOperation = LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes;
using DidFinishOperation = LMPreviewViewControllerDelegate::PreviewControllerDidFinish;

// Everything a delegate hears, in order, with whether it was on the MainQueue.
struct Heard {
    std::vector<std::string> events;
    std::vector<bool> onMainQueue;
    void add(std::string event)
    {
        events.push_back(std::move(event));
        onMainQueue.push_back(platform::MainQueue::isCurrent() && platform::DispatchQueue::current() != nullptr);
    }
};

std::string describe(const std::set<std::string>& types)
{
    std::string text = "types:";
    for (const auto& type : types) {
        text += type + ";";
    }
    return text;
}

class FullDelegate final : public ActivityTypesOperation, public DidFinishOperation {
public:
    void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& /*preview*/, const std::set<std::string>& types) override
    {
        heard.add(describe(types));
    }
    void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& /*preview*/) override
    {
        heard.add("finish");
    }
    Heard heard;
};

class TypesOnlyDelegate final : public ActivityTypesOperation {
public:
    void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& /*preview*/, const std::set<std::string>& types) override
    {
        heard.add(describe(types));
    }
    Heard heard;
};

class FinishOnlyDelegate final : public DidFinishOperation {
public:
    void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& /*preview*/) override
    {
        heard.add("finish");
    }
    Heard heard;
};

class EditorChannel : public ::testing::Test {
protected:
    void SetUp() override
    {
        test::installVideoEditorExtension();
        test::CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded;
        LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(
            platform::URL::fileURLWithPath("/tmp/movie.mp4"), loaded.callback());
        ASSERT_TRUE(loaded.wait());
        preview_ = std::get<0>(loaded.call());
        ASSERT_NE(preview_, nullptr);
        request_ = *test::latestEditorRequest();
    }

    // Sends the finish message as the editor and waits until `done` holds.
    void editorFinishes(
        const std::vector<std::string>& types, test::EditorRoute route, const std::function<bool()>& done)
    {
        test::sendAsEditor(request_, route, "extensionDidFinishWithActivityTypes:", { test::stringArray(types) });
        EXPECT_TRUE(test::runUntil(done));
    }

    std::shared_ptr<LMPreviewViewController> preview_;
    platform::host::SimulatedExtensions::Request request_;
};

TEST_F(EditorChannel, TheEditorsMessageTravelsContextHostPreviewAndReachesTheDelegateTypesFirst)
{
    const auto delegate = std::make_shared<FullDelegate>();
    preview_->setPreviewControllerDelegate(delegate);
    LMScreenRecorder::sharedRecorder()->setPreviousAudioCategory(std::string(platform::AudioSession::CategoryAmbient));
    const auto audioChanges = SimulatedDevice::shared().media().audioCategoryChangeCount();
    test::LogCapture logs;
    editorFinishes({ "share.mail", "save", "share.mail" }, test::EditorRoute::Context,
        [&] { return delegate->heard.events.size() == 2; });
    EXPECT_THAT(delegate->heard.events, ElementsAre("types:save;share.mail;", "finish"));
    EXPECT_THAT(delegate->heard.onMainQueue, ElementsAre(true, true));
    EXPECT_THAT(logs.texts(Log::Level::Ordinary),
        ElementsAre("LMVideoEditorExtensionHostContext:extensionsDidFinish",
            "LMVideoEditorHostViewController:extensionsDidFinish", "LMPreviewViewController:extensionDidFinish"));
    // Coming back from the editor puts the recorder's audio session back.
    EXPECT_EQ(SimulatedDevice::shared().media().audioCategoryChangeCount(), audioChanges + 1);
}

TEST_F(EditorChannel, TheEditorMayAlsoTellTheHostViewControllerDirectly)
{
    const auto delegate = std::make_shared<FullDelegate>();
    preview_->setPreviewControllerDelegate(delegate);
    test::LogCapture logs;
    editorFinishes({}, test::EditorRoute::ViewController, [&] { return delegate->heard.events.size() == 2; });
    EXPECT_THAT(delegate->heard.events, ElementsAre("types:", "finish"));
    EXPECT_FALSE(logs.contains("LMVideoEditorExtensionHostContext:extensionsDidFinish"));
    EXPECT_TRUE(logs.contains("LMVideoEditorHostViewController:extensionsDidFinish"));
}

TEST_F(EditorChannel, AnInProcessEditorNeedsNoAudioRestoreAndADelegateHearsOnlyTheOperationsItAnswers)
{
    LMScreenRecorder::sharedRecorder()->setPreviousAudioCategory(std::string(platform::AudioSession::CategoryAmbient));
    const auto audioChanges = SimulatedDevice::shared().media().audioCategoryChangeCount();
    const auto typesOnly = std::make_shared<TypesOnlyDelegate>();
    preview_->setPreviewControllerDelegate(typesOnly);
    preview_->videoEditor_didFinishWithActivityTypes(nullptr, { "a", "b", "a" });
    test::drainMainQueue();
    EXPECT_THAT(typesOnly->heard.events, ElementsAre("types:a;b;"));

    const auto finishOnly = std::make_shared<FinishOnlyDelegate>();
    preview_->setPreviewControllerDelegate(finishOnly);
    preview_->videoEditor_didFinishWithActivityTypes(nullptr, { "a" });
    test::drainMainQueue();
    EXPECT_THAT(finishOnly->heard.events, ElementsAre("finish"));

    // With no delegate at all nothing is even queued.
    preview_->setPreviewControllerDelegate(nullptr);
    preview_->videoEditor_didFinishWithActivityTypes(nullptr, { "a" });
    EXPECT_EQ(test::drainMainQueue(), 0U);
    EXPECT_EQ(SimulatedDevice::shared().media().audioCategoryChangeCount(), audioChanges);
}

TEST_F(EditorChannel, AMessageAfterThePreviewHasGoneStopsAtTheHostViewController)
{
    const auto host = preview_->hostViewController();
    const auto delegate = std::make_shared<FullDelegate>();
    preview_->setPreviewControllerDelegate(delegate);
    const std::weak_ptr<LMPreviewViewController> weakPreview = preview_;
    preview_.reset();
    // The platform's thread may hold the load's last references a moment longer.
    ASSERT_TRUE(test::runUntil([&] { return weakPreview.expired(); }));
    test::LogCapture logs;
    editorFinishes({ "save" }, test::EditorRoute::Context,
        [&] { return logs.contains("LMVideoEditorHostViewController:extensionsDidFinish"); });
    test::drainMainQueue();
    EXPECT_FALSE(logs.contains("LMPreviewViewController:extensionDidFinish"));
    EXPECT_TRUE(delegate->heard.events.empty());
}

TEST_F(EditorChannel, MalformedOrUnknownMessagesAreRefusedAndReportedToTheEditor)
{
    const auto delegate = std::make_shared<FullDelegate>();
    preview_->setPreviewControllerDelegate(delegate);
    test::LogCapture logs;
    test::CallbackRecorder<platform::ErrorRef> refused;
    auto mixed = std::make_shared<platform::Array>();
    mixed->emplace_back("save");
    mixed->emplace_back(7);
    test::sendAsEditor(
        request_, test::EditorRoute::Context, "extensionDidFinishWithActivityTypes:", { mixed }, refused.callback());
    test::sendAsEditor(
        request_, test::EditorRoute::Context, "extensionDidFinishWithActivityTypes:", {}, refused.callback());
    test::sendAsEditor(request_, test::EditorRoute::ViewController, "extensionDidCancel", {}, refused.callback());
    ASSERT_TRUE(refused.wait(3));
    // The two connections keep no order between each other.
    std::multiset<std::int64_t> codes;
    for (std::size_t call = 0; call < 3; ++call) {
        codes.insert(std::get<0>(refused.call(call))->code());
    }
    EXPECT_THAT(codes,
        ElementsAre(platform::ExtensionConnection::UnknownOperationErrorCode,
            platform::ExtensionConnection::MalformedMessageErrorCode,
            platform::ExtensionConnection::MalformedMessageErrorCode));
    EXPECT_EQ(logs.texts(Log::Level::Error).size(), 2U);
    test::drainMainQueue();
    EXPECT_TRUE(delegate->heard.events.empty());
}

TEST_F(EditorChannel, CallsTheEditorCannotTakeAreOnlyLogged)
{
    const auto context = preview_->hostViewController()->hostContext();
    test::LogCapture logs;
    // The editor vends nothing the host could call.
    context->extensionObjectProxy()->sendMessage("trimToDuration:", { 3.0 });
    ASSERT_TRUE(test::runUntil([&] { return logs.contains("error calling extension - 4100", Log::Level::Error); }));
    // Once the editor's process has gone, the connection itself is invalid.
    SimulatedDevice::shared().extensions().endRequest(request_.identifier);
    context->extensionObjectProxy()->sendMessage("trimToDuration:", { 3.0 });
    EXPECT_TRUE(test::runUntil([&] { return logs.contains("error calling extension - 4099", Log::Level::Error); }));
}

TEST_F(EditorChannel, ReleasingThePreviewReleasesTheWholeChannelAndEndsTheRequest)
{
    const std::weak_ptr<LMVideoEditorHostViewController> host = preview_->hostViewController();
    const std::weak_ptr<LMVideoEditorExtensionHostContext> context = preview_->hostViewController()->hostContext();
    preview_.reset();
    request_ = {};
    // The platform's thread may hold the load's last references a moment longer.
    EXPECT_TRUE(test::runUntil([&] { return host.expired(); }));
    EXPECT_TRUE(SimulatedDevice::shared().extensions().requests().empty());
    EXPECT_TRUE(context.expired());
}

} // namespace
} // namespace lumora
