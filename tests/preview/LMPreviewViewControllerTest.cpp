#include "preview/LMPreviewViewController.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/Color.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/system/Application.h"
#include "platform/ui/Window.h"
#include "preview/LMVideoEditorExtensionHostContext.h"
#include "preview/LMVideoEditorExtensionKeys.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "tests/harness/Harness.h"
#include "tests/harness/VideoEditorExtension.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::Log;
using platform::URL;
using platform::host::SimulatedDevice;
using ::testing::ElementsAre;

class PreviewLoading : public ::testing::Test {
protected:
    void SetUp() override
    {
        test::installVideoEditorExtension();
        // A bundle whose display name differs from its plain name.
        SimulatedDevice::shared().setMainBundle(test::fixturesDirectory() + "/bundles/DisplayOnly.app");
    }

    // Loads a preview of `movie_` with the default class and waits for it.
    std::shared_ptr<LMPreviewViewController> loadPreview()
    {
        test::CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded;
        LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(movie_, loaded.callback());
        EXPECT_TRUE(loaded.wait());
        return loaded.callCount() > 0 ? std::get<0>(loaded.call()) : nullptr;
    }

    const URL movie_ = URL::fileURLWithPath("/private/var/mobile/Library/Lumora/clip.mp4");
};

TEST_F(PreviewLoading, MovieAloneSendsAppNameMovieAndBundleIdentifierInThatOrder)
{
    // The request lasts as long as the preview holds its editor.
    const auto preview = loadPreview();
    ASSERT_NE(preview, nullptr);
    const auto request = test::latestEditorRequest();
    ASSERT_TRUE(request);
    EXPECT_THAT(test::itemTitles(request->inputItems),
        ElementsAre("LMVideoEditorExtensionAppNameKey", "LMVideoEditorExtensionMovieURLKey",
            "LMVideoEditorExtensionBundleIdentifierKey"));
    EXPECT_EQ(test::loadItemValue(request->inputItems[0]), platform::Value("Display Bundle"));
    EXPECT_EQ(test::loadItemValue(request->inputItems[1]), platform::Value(movie_.path()));
    EXPECT_EQ(test::loadItemValue(request->inputItems[2]), platform::Value("com.example.display"));
}

TEST_F(PreviewLoading, OptionalItemsComeFirstInTheOrderAttachmentMessageColour)
{
    const auto attachment = URL::fileURLWithPath("/tmp/extra.txt");
    const auto tint = platform::Color::colorWithRed_green_blue_alpha(1, 0.5, 0, 1);
    test::CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded;
    LMPreviewViewController::
        loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
            movie_, attachment, std::string("Look at this"), tint, loaded.callback());
    ASSERT_TRUE(loaded.wait());
    const auto items = test::latestEditorRequest()->inputItems;
    EXPECT_THAT(test::itemTitles(items),
        ElementsAre("LMVideoEditorExtensionFileAttachmentKey", "LMVideoEditorExtensionOverrideShareMessageKey",
            "LMVideoEditorExtensionOverrideTintColorKey", "LMVideoEditorExtensionAppNameKey",
            "LMVideoEditorExtensionMovieURLKey", "LMVideoEditorExtensionBundleIdentifierKey"));
    EXPECT_EQ(test::loadItemValue(items[0]), platform::Value("/tmp/extra.txt"));
    EXPECT_EQ(test::loadItemValue(items[1]), platform::Value("Look at this"));
    // The colour object itself, not a copy.
    EXPECT_EQ(test::loadItemValue(items[2])->object(), tint);
}

TEST_F(PreviewLoading, CompletionComesOnTheMainQueueWithTheEditorEmbeddedAndWired)
{
    test::CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded;
    LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(movie_, loaded.callback());
    EXPECT_EQ(loaded.callCount(), 0U);
    ASSERT_TRUE(loaded.wait());
    EXPECT_TRUE(loaded.calledOnMainQueue());
    const auto preview = std::get<0>(loaded.call());
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(preview->movieURL(), movie_);
    EXPECT_EQ(preview->mode(), 0);

    const auto host = preview->hostViewController();
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->previewViewController(), preview);
    EXPECT_EQ(host->parentViewController(), preview);
    EXPECT_THAT(preview->childViewControllers(), ElementsAre(host));
    ASSERT_TRUE(host->isViewLoaded());
    EXPECT_EQ(host->viewIfLoaded()->superview(), preview->viewIfLoaded());
    EXPECT_EQ(host->viewIfLoaded()->frame(), preview->viewIfLoaded()->bounds());

    const auto request = test::latestEditorRequest();
    ASSERT_TRUE(request);
    EXPECT_EQ(host->requestIdentifier(), request->identifier);
    EXPECT_EQ(host->hostContext(), request->hostContext);
    ASSERT_NE(host->hostContext(), nullptr);
    EXPECT_EQ(host->hostContext()->hostViewController(), host);
}

TEST_F(PreviewLoading, AMissingEditorFailsAtOnceWithNoPreviewAndNoRequest)
{
    auto& extensions = SimulatedDevice::shared().extensions();
    const std::vector<std::pair<std::function<void()>, std::string>> cases {
        { [&] { extensions.uninstallExtension(std::string(LMVideoEditorExtensionIdentifier)); },
            "error getting extension: 2" },
        { [&] { extensions.setLookupError(platform::Error::errorWithDomain("db", 77)); },
            "error getting extension: 77" },
    };
    for (const auto& [arrange, expectedLog] : cases) {
        test::LogCapture logs;
        arrange();
        std::vector<std::shared_ptr<LMPreviewViewController>> received;
        LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(
            movie_, [&](const std::shared_ptr<LMPreviewViewController>& preview) { received.push_back(preview); });
        EXPECT_THAT(received, ElementsAre(nullptr)) << expectedLog;
        EXPECT_TRUE(logs.contains(expectedLog, Log::Level::Error));
        EXPECT_TRUE(extensions.requests().empty());
    }
}

TEST_F(PreviewLoading, AFailingEditorNeverCompletes)
{
    SimulatedDevice::shared().extensions().setInstantiationError(
        std::string(LMVideoEditorExtensionIdentifier), platform::Error::errorWithDomain("editor", 31));
    test::LogCapture logs;
    test::CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded;
    LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(movie_, loaded.callback());
    ASSERT_TRUE(test::runUntil([&] {
        return logs.contains("Error instantiating remote view controller for extension: 31", Log::Level::Error);
    }));
    test::drainMainQueue();
    EXPECT_EQ(loaded.callCount(), 0U);
    // Nothing holds the orphaned remote view controller, so the request ends.
    EXPECT_TRUE(test::runUntil([] { return SimulatedDevice::shared().extensions().requests().empty(); }));
}

// A class object that makes its own host view controller at once, on the
// calling thread, instead of asking the extension.
class ImmediateEditorClass final : public LMPreviewViewController::Class {
public:
    void viewControllerForExtension_inputItems_completionHandler(
        const std::shared_ptr<platform::Extension>& /*extension*/, const platform::ExtensionItems& inputItems,
        LMPreviewViewController::HostViewControllerHandler handler) const override
    {
        itemsSeen = inputItems.size();
        handler(host);
    }
    std::shared_ptr<LMVideoEditorHostViewController> host = std::make_shared<LMVideoEditorHostViewController>();
    mutable std::size_t itemsSeen = 0;
};

TEST_F(PreviewLoading, ASubclassClassObjectReplacesInstantiationYetTheEmbeddingStillWaitsForTheMainQueue)
{
    const ImmediateEditorClass editorClass;
    int calls = 0;
    std::shared_ptr<LMPreviewViewController> received;
    editorClass.loadPreviewViewControllerWithMovieURL_completion(
        movie_, [&](const std::shared_ptr<LMPreviewViewController>& preview) {
            ++calls;
            received = preview;
        });
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(editorClass.itemsSeen, 3U);
    test::drainMainQueue();
    ASSERT_EQ(calls, 1);
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(received->hostViewController(), editorClass.host);
    EXPECT_TRUE(SimulatedDevice::shared().extensions().requests().empty());
}

TEST_F(PreviewLoading, WhileOnScreenThePreviewShowsTheStatusBarAndLocksRotationThenPutsBothBack)
{
    auto& application = SimulatedDevice::shared().application();
    const auto window = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 320, 568 } });
    const auto root = std::make_shared<platform::ViewController>();
    window->setRootViewController(root);
    window->makeKeyAndVisible();
    const auto preview = loadPreview();
    ASSERT_NE(preview, nullptr);

    for (const bool hidden : { true, false }) {
        application.setStatusBarHidden(hidden);
        root->presentViewController_animated_completion(preview, false, nullptr);
        EXPECT_FALSE(application.isStatusBarHidden());
        EXPECT_EQ(preview->wasStatusBarHidden(), hidden);
        // The recorder's rotation lock is on the application's window meanwhile.
        EXPECT_TRUE(window->isInterfaceAutorotationDisabled());
        root->dismissViewControllerAnimated_completion(false, nullptr);
        EXPECT_EQ(application.isStatusBarHidden(), hidden);
        EXPECT_FALSE(window->isInterfaceAutorotationDisabled());
    }
    test::drainMainQueue();
}

} // namespace
} // namespace lumora
