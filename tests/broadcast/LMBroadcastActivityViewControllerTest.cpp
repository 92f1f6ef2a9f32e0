#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastActivityExtensionHostContext.h"
#include "broadcast/LMBroadcastActivityHostViewController.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/Extension.h"
#include "platform/formats/PropertyList.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/ImageContext.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/ui/PopoverPresentationController.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "recording/LumoraErrors.h"
#include "tests/harness/Harness.h"
#include "tests/harness/VideoEditorExtension.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumora {
namespace {

// Writes a small real PNG file, as an app's icon would be.
void writeIcon(const std::filesystem::path& path)
{
    const auto context = platform::ImageContext::beginImageContextWithOptions({ 2, 2 }, true, 1);
    ASSERT_TRUE(platform::host::Bitmap::ofImage(context->imageFromCurrentImageContext().get()).writePNG(path.string()));
}

using platform::Rect;
using platform::Value;
using platform::host::SimulatedDevice;
using platform::host::SimulatedExtensions;
using ::testing::ElementsAre;

using DidFinish
    = LMBroadcastActivityViewControllerDelegate::BroadcastActivityViewController_didFinishWithBroadcastController_error;

platform::URL url(const char* text)
{
    return *platform::URL::URLWithString(text);
}

// Stands in for the system picker: installed under the picker's identifier,
// naming the framework's host-side classes. A test plays the extension
// through the request.
void installPickerStandIn()
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::RemoteViewControllerClassAttribute)]
        = "LMBroadcastActivityHostViewController";
    (*attributes)[std::string(platform::Extension::HostContextClassAttribute)]
        = "LMBroadcastActivityExtensionHostContext";
    SimulatedDevice::shared().extensions().installExtension(
        std::string(LMBroadcastActivityViewControllerExtensionIdentifier), attributes,
        [](const platform::host::ExtensionRequestSide&) { return std::make_shared<platform::ViewController>(); });
}

class RecordingDelegate final : public DidFinish {
public:
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& picker,
        const std::shared_ptr<LMBroadcastController>& controller, const platform::ErrorRef& error) override
    {
        std::lock_guard lock(mutex);
        calls.push_back({ picker, controller, error });
    }
    struct Call {
        std::shared_ptr<LMBroadcastActivityViewController> picker;
        std::shared_ptr<LMBroadcastController> controller;
        platform::ErrorRef error;
    };
    std::size_t count()
    {
        std::lock_guard lock(mutex);
        return calls.size();
    }
    std::mutex mutex;
    std::vector<Call> calls;
};

// A delegate that does not answer the finish.
class SilentDelegate final : public LMBroadcastActivityViewControllerDelegate { };

// A presenter that remembers whether its reappearance was animated.
class Presenter final : public platform::ViewController {
public:
    void viewWillAppear(bool animated) override
    {
        ViewController::viewWillAppear(animated);
        appearances.push_back(animated);
    }
    std::vector<bool> appearances;
};

class Picker : public ::testing::Test {
protected:
    void SetUp() override { installPickerStandIn(); }

    // A picker keeps the load's handler, and the recorder that handler feeds
    // keeps the picker: break that cycle, which only the tests make.
    void TearDown() override
    {
        for (const auto& loaded : loaded_) {
            if (const auto picker = loaded.lock()) {
                picker->setDidFinishHandler(nullptr);
            }
        }
    }

    std::shared_ptr<LMBroadcastActivityViewController> load()
    {
        test::CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, platform::ErrorRef> loaded;
        LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
        EXPECT_TRUE(loaded.wait());
        EXPECT_EQ(std::get<1>(loaded.call()), nullptr);
        EXPECT_TRUE(loaded.calledOnMainQueue());
        request_ = *test::latestEditorRequest();
        loaded_.push_back(std::get<0>(loaded.call()));
        return std::get<0>(loaded.call());
    }

    void sendFinish(Value launchURL, Value broadcastURL, Value bundleID, Value cancelled,
        platform::ExtensionConnection::ErrorHandler onError = {})
    {
        test::sendAsEditor(request_, test::EditorRoute::Context,
            "extensionDidFinishWithLaunchURL:broadcastURL:extensionBundleID:cancelled:",
            { std::move(launchURL), std::move(broadcastURL), std::move(bundleID), std::move(cancelled) },
            std::move(onError));
    }

    // Asks the host how the picker is presented, over the remote view's connection.
    std::tuple<std::int64_t, Rect, std::uint64_t> presentationInfo()
    {
        test::CallbackRecorder<std::int64_t, Rect, std::uint64_t> info;
        test::sendAsEditor(request_, test::EditorRoute::ViewController, "presentationInfoWithCompletion:",
            { LMBroadcastActivityCommunicationHostProtocol::makePresentationInfoReplyBlock(info.callback()) });
        EXPECT_TRUE(info.wait());
        return info.call();
    }

    SimulatedExtensions::Request request_;
    std::vector<std::weak_ptr<LMBroadcastActivityViewController>> loaded_;
};

TEST_F(Picker, LoadsOnTheMainQueueWithTheExtensionEmbeddedAndTheHostInformationSent)
{
    // An application bundle with a name, an icon named by its primary icon entry, and the icon's image.
    const auto bundleDir = std::filesystem::temp_directory_path() / ("picker-app-" + std::to_string(::getpid()));
    std::filesystem::create_directories(bundleDir);
    auto primary = std::make_shared<platform::Dictionary>();
    (*primary)[std::string(platform::Bundle::IconFilesKey)]
        = std::make_shared<platform::Array>(platform::Array { Value("AppIcon60x60"), Value("AppIcon76x76") });
    auto icons = std::make_shared<platform::Dictionary>();
    (*icons)[std::string(platform::Bundle::PrimaryIconKey)] = primary;
    auto info = std::make_shared<platform::Dictionary>();
    (*info)[std::string(platform::Bundle::IdentifierKey)] = "com.example.caster";
    (*info)[std::string(platform::Bundle::DisplayNameKey)] = "Caster";
    (*info)[std::string(platform::Bundle::IconsKey)] = icons;
    ASSERT_TRUE(platform::PropertyList::writeValueToFile(
        info, (bundleDir / "Info.plist").string(), platform::PropertyList::Format::XML));
    writeIcon(bundleDir / "AppIcon60x60@2x.png");
    SimulatedDevice::shared().setMainBundle(bundleDir.string());

    const auto picker = load();
    ASSERT_NE(picker, nullptr);
    const auto host = picker->hostViewController();
    ASSERT_NE(host, nullptr);
    EXPECT_EQ(host->broadcastActivityViewController(), picker);
    EXPECT_EQ(host->parentViewController(), picker);
    EXPECT_EQ(host->view()->superview(), picker->view());
    EXPECT_EQ(host->view()->frame(), picker->view()->bounds());
    EXPECT_EQ(picker->modalPresentationStyle(), platform::ViewController::ModalPresentationOverCurrentContext);
    EXPECT_TRUE(picker->didFinishHandler());

    ASSERT_EQ(request_.inputItems.size(), 1U);
    EXPECT_THAT(test::itemTitles(request_.inputItems), ElementsAre("LMBroadcastExtensionKeyExtensionHostInfo"));
    const auto value = test::loadItemValue(request_.inputItems.front());
    ASSERT_TRUE(value && value->dictionary());
    const auto& hostInfo = *value->dictionary();
    EXPECT_EQ(hostInfo.stringForKey(LMBroadcastExtensionKeyExtensionHostInfoAppName), "Caster");
    EXPECT_EQ(hostInfo.stringForKey(LMBroadcastExtensionKeyExtensionHostInfoBundleID), "com.example.caster");
    const auto icon = hostInfo.valueForKey(LMBroadcastExtensionKeyExtensionHostInfoAppIcon).objectAs<platform::Image>();
    ASSERT_NE(icon, nullptr);
    EXPECT_EQ(icon->name(), "AppIcon60x60");
    std::filesystem::remove_all(bundleDir);
}

TEST_F(Picker, IconNamesComeFromAStringEntryOrTheFirstIconFileAndAnUnnamedAppSendsAnEmptyName)
{
    const auto bundleDir = std::filesystem::temp_directory_path() / ("picker-icons-" + std::to_string(::getpid()));
    std::filesystem::create_directories(bundleDir);
    writeIcon(bundleDir / "Plain.png");
    const auto loadWithPrimaryIcon = [&](Value primaryIcon) {
        auto icons = std::make_shared<platform::Dictionary>();
        (*icons)[std::string(platform::Bundle::PrimaryIconKey)] = std::move(primaryIcon);
        auto info = std::make_shared<platform::Dictionary>();
        (*info)[std::string(platform::Bundle::IdentifierKey)] = "com.example.nameless";
        (*info)[std::string(platform::Bundle::IconsKey)] = icons;
        EXPECT_TRUE(platform::PropertyList::writeValueToFile(
            info, (bundleDir / "Info.plist").string(), platform::PropertyList::Format::XML));
        SimulatedDevice::shared().setMainBundle(bundleDir.string());
        load();
        return *test::loadItemValue(request_.inputItems.front())->dictionary();
    };
    const auto fromString = loadWithPrimaryIcon("Plain");
    EXPECT_EQ(
        fromString.valueForKey(LMBroadcastExtensionKeyExtensionHostInfoAppIcon).objectAs<platform::Image>()->name(),
        "Plain");
    EXPECT_EQ(fromString.stringForKey(LMBroadcastExtensionKeyExtensionHostInfoAppName), "");

    auto emptyFiles = std::make_shared<platform::Dictionary>();
    (*emptyFiles)[std::string(platform::Bundle::IconFilesKey)] = std::make_shared<platform::Array>();
    const auto fromEmptyList = loadWithPrimaryIcon(emptyFiles);
    EXPECT_FALSE(fromEmptyList.contains(LMBroadcastExtensionKeyExtensionHostInfoAppIcon));
    EXPECT_EQ(fromEmptyList.size(), 2U);
    std::filesystem::remove_all(bundleDir);
}

TEST_F(Picker, AFailedLookupAnswersOnceAtOnceAndAFailedLaunchOnlyLogs)
{
    SimulatedDevice::shared().extensions().setLookupError(
        platform::Error::errorWithDomain(std::string(platform::Extension::ErrorDomain), 77));
    test::CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, platform::ErrorRef> failed;
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(failed.callback());
    ASSERT_EQ(failed.callCount(), 1U); // synchronously, before anything ran
    EXPECT_EQ(std::get<0>(failed.call()), nullptr);
    EXPECT_EQ(std::get<1>(failed.call())->code(), 77);
    test::drainMainQueue();
    EXPECT_EQ(failed.callCount(), 1U);

    SimulatedDevice::shared().extensions().setLookupError(nullptr);
    SimulatedDevice::shared().extensions().setInstantiationError(
        std::string(LMBroadcastActivityViewControllerExtensionIdentifier),
        platform::Error::errorWithDomain(std::string(platform::Extension::ErrorDomain), 4));
    test::LogCapture logs;
    test::CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, platform::ErrorRef> never;
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(never.callback());
    ASSERT_TRUE(
        test::runUntil([&] { return logs.contains("Error instantiating remote view controller for extension: 4"); }));
    test::drainMainQueue();
    EXPECT_EQ(never.callCount(), 0U);
}

TEST_F(Picker, TheFinishOpensTheLaunchURLAndHandsOverACancellationOrANewController)
{
    const auto picker = load();
    const auto delegate = std::make_shared<RecordingDelegate>();
    picker->setDelegate(delegate);

    sendFinish(url("caster://back"), nullptr, nullptr, true);
    ASSERT_TRUE(test::runUntil([&] { return delegate->count() == 1; }));
    EXPECT_EQ(delegate->calls[0].picker, picker);
    EXPECT_EQ(delegate->calls[0].controller, nullptr);
    ASSERT_NE(delegate->calls[0].error, nullptr);
    EXPECT_EQ(delegate->calls[0].error->code(), -5801);
    EXPECT_EQ(delegate->calls[0].error->localizedDescription(), "The user declined application recording");
    EXPECT_THAT(SimulatedDevice::shared().application().openedURLs(), ElementsAre(url("caster://back")));

    sendFinish(nullptr, url("rtmp://live.example/abc"), "com.example.service.upload", false);
    ASSERT_TRUE(test::runUntil([&] { return delegate->count() == 2; }));
    const auto& controller = delegate->calls[1].controller;
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(delegate->calls[1].error, nullptr);
    EXPECT_EQ(controller->broadcastExtensionBundleID(), "com.example.service.upload");
    EXPECT_EQ(controller->broadcastURL(), url("rtmp://live.example/abc"));

    // Absent values are handed over as they are; wrong kinds are refused back to the extension.
    sendFinish(nullptr, nullptr, nullptr, false);
    ASSERT_TRUE(test::runUntil([&] { return delegate->count() == 3; }));
    EXPECT_FALSE(delegate->calls[2].controller->broadcastURL());
    EXPECT_FALSE(delegate->calls[2].controller->broadcastExtensionBundleID());
    test::CallbackRecorder<platform::ErrorRef> refused;
    sendFinish("not a url", nullptr, nullptr, false, refused.callback());
    sendFinish(nullptr, nullptr, 42, 1, refused.callback());
    ASSERT_TRUE(refused.wait(2));
    EXPECT_EQ(std::get<0>(refused.call(0))->code(), platform::ExtensionConnection::MalformedMessageErrorCode);
    test::drainMainQueue();
    EXPECT_EQ(delegate->count(), 3U);
    EXPECT_EQ(SimulatedDevice::shared().application().openedURLs().size(), 1U);
}

TEST_F(Picker, WithoutAnAnsweringDelegateOrPickerOnlyTheLaunchURLIsOpened)
{
    auto picker = load();
    const auto opened = [] { return SimulatedDevice::shared().application().openedURLs().size(); };
    const auto before = opened();
    const auto silent = std::make_shared<SilentDelegate>();
    picker->setDelegate(silent);
    sendFinish(url("caster://one"), nullptr, nullptr, false);
    ASSERT_TRUE(test::runUntil([&] { return opened() == before + 1; }));

    const auto delegate = std::make_shared<RecordingDelegate>();
    picker->setDelegate(delegate);
    const auto host = picker->hostViewController();
    const std::weak_ptr<LMBroadcastActivityViewController> weakPicker = picker;
    // The stored handler is this test's recorder, which holds the picker.
    picker->setDidFinishHandler(nullptr);
    picker.reset();
    ASSERT_TRUE(test::runUntil([&] { return weakPicker.expired(); }));
    sendFinish(url("caster://two"), nullptr, nullptr, true);
    ASSERT_TRUE(test::runUntil([&] { return opened() == before + 2; }));
    test::drainMainQueue();
    EXPECT_EQ(delegate->count(), 0U);
}

TEST_F(Picker, PresentationInfoFollowsThePopoverAndItsSourceViewsSuperview)
{
    const auto picker = load();
    EXPECT_EQ(presentationInfo(), std::make_tuple(std::int64_t { 6 }, Rect::zero(), std::uint64_t { 0 }));

    picker->setModalPresentationStyle(platform::ViewController::ModalPresentationPopover);
    const auto first = picker->popoverPresentationController();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->presentedViewController(), picker->hostViewController());
    EXPECT_EQ(first->presentingViewController(), picker);
    picker->setModalPresentationStyle(platform::ViewController::ModalPresentationPopover);
    EXPECT_NE(picker->popoverPresentationController(), first);
    EXPECT_EQ(picker->modalPresentationStyle(), platform::ViewController::ModalPresentationOverCurrentContext);

    // A source view with no superview: no rectangle, the picker's own style, the proxy's arrow.
    const auto popover = picker->popoverPresentationController();
    const auto button = std::make_shared<platform::View>(Rect { { 5, 5 }, { 40, 20 } });
    popover->setSourceView(button);
    popover->setSourceRect(Rect { { 0, 0 }, { 40, 20 } });
    popover->setArrowDirection(platform::PopoverPresentationController::ArrowDirectionDown);
    EXPECT_EQ(presentationInfo(), std::make_tuple(std::int64_t { 6 }, Rect::zero(), std::uint64_t { 2 }));

    // Inside a window, the rectangle is converted from the superview's space, not the button's own.
    const auto window = std::make_shared<platform::Window>(Rect { { 0, 0 }, { 320, 480 } });
    const auto toolbar = std::make_shared<platform::View>(Rect { { 10, 400 }, { 300, 44 } });
    window->addSubview(toolbar);
    toolbar->addSubview(button);
    EXPECT_EQ(
        presentationInfo(), std::make_tuple(std::int64_t { 7 }, Rect { { 10, 400 }, { 40, 20 } }, std::uint64_t { 2 }));
}

TEST_F(Picker, DismissingNeverAnimatesAndStillCompletes)
{
    const auto picker = load();
    picker->setModalPresentationStyle(platform::ViewController::ModalPresentationFullScreen);
    const auto presenter = std::make_shared<Presenter>();
    const auto window = std::make_shared<platform::Window>(Rect { { 0, 0 }, { 320, 480 } });
    window->setRootViewController(presenter);
    window->makeKeyAndVisible();
    presenter->presentViewController_animated_completion(picker, true, nullptr);
    presenter->appearances.clear();
    bool completed = false;
    picker->dismissViewControllerAnimated_completion(true, [&] { completed = true; });
    test::drainMainQueue();
    EXPECT_TRUE(completed);
    EXPECT_THAT(presenter->appearances, ElementsAre(false));
    EXPECT_EQ(presenter->presentedViewController(), nullptr);
}

TEST_F(Picker, ACallTheExtensionCannotTakeIsLoggedAndAContextWithoutViewControllerDropsMessages)
{
    const auto picker = load();
    const auto context = std::dynamic_pointer_cast<LMBroadcastActivityExtensionHostContext>(request_.hostContext);
    ASSERT_NE(context, nullptr);
    EXPECT_EQ(context->hostViewController(), picker->hostViewController());
    test::LogCapture logs;
    SimulatedDevice::shared().extensions().endRequest(request_.identifier);
    context->extensionObjectProxy()->sendMessage("anything", {});
    ASSERT_TRUE(test::runUntil([&] { return !logs.texts(platform::Log::Level::Error).empty(); }));
    EXPECT_THAT(logs.texts(platform::Log::Level::Error), ElementsAre("error calling extension - 4099"));

    // Once the host view controller has gone, neither message goes further.
    context->setHostViewController(nullptr);
    const auto openedBefore = SimulatedDevice::shared().application().openedURLs().size();
    bool answered = false;
    context->presentationInfoWithCompletion([&](std::int64_t, Rect, std::uint64_t) { answered = true; });
    context->extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
        url("caster://x"), std::nullopt, std::nullopt, true);
    EXPECT_FALSE(answered);
    EXPECT_EQ(SimulatedDevice::shared().application().openedURLs().size(), openedBefore);
}

} // namespace
} // namespace lumora
