#include "broadcast/LMBroadcastExtension.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/Extension.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/foundation/PlatformThreads.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/system/Bundle.h"
#include "platform/ui/ViewController.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::DictionaryRef;
using platform::ExtensionItems;
using platform::ItemProvider;
using platform::Value;
using platform::host::ExtensionRequest;

constexpr const char* kSetupExtension = "com.example.streamer.setup";

platform::host::SimulatedDevice& device()
{
    return platform::host::SimulatedDevice::shared();
}

std::vector<std::string> titlesOf(const ExtensionItems& items)
{
    std::vector<std::string> titles;
    for (const auto& item : items) {
        titles.push_back(item->attributedTitle() ? item->attributedTitle()->string() : "<none>");
    }
    return titles;
}

std::shared_ptr<ItemProvider> dataProvider(Value value)
{
    return std::make_shared<ItemProvider>(std::move(value), std::string(platform::TypeIdentifier::Data));
}

std::shared_ptr<platform::ExtensionContext> contextWithAttachments(
    std::vector<std::shared_ptr<ItemProvider>> attachments, ExtensionItems* returned = nullptr)
{
    auto item = std::make_shared<platform::ExtensionItem>();
    item->setAttachments(std::move(attachments));
    return std::make_shared<platform::ExtensionContext>(
        ExtensionItems { item }, [returned](const platform::ExtensionContext::Outcome& outcome) {
            if (returned != nullptr) {
                *returned = outcome.returnedItems;
            }
        });
}

using InfoRecorder = CallbackRecorder<const Value&, const Value&, const Value&>;

TEST(BroadcastExtension, CompletingReturnsTheFourLabelledItemsInTheirFixedOrder)
{
    device().setMainBundle(fixturesDirectory() + "/bundles/RecordingHost.app");
    ExtensionItems returned;
    const auto context = contextWithAttachments({}, &returned);
    auto configuration = std::make_shared<LMBroadcastConfiguration>();
    configuration->setClipDuration(2.5);
    const auto setupInfo
        = std::make_shared<const platform::Dictionary>(platform::Dictionary { { "channel", Value("main") } });
    const auto url = platform::URL::URLWithString("rtmp://live.example.com/abc");

    LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(
        context, url, configuration, setupInfo);

    EXPECT_EQ(titlesOf(returned),
        (std::vector<std::string> { "LMBroadcastExtensionKeyExtensionUserInfo",
            "LMBroadcastExtensionKeyExtensionBundleIdentifier", "LMBroadcastExtensionKeyBroadcastConfiguration",
            "kLMBroadcastExtensionKeyExtensionServiceURL" }));
    EXPECT_EQ(
        ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionUserInfo)->dictionary(), setupInfo);
    EXPECT_EQ(ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionServiceURL)->url(), url);
    EXPECT_EQ(*ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionBundleIdentifier),
        Value("com.example.recordinghost"));
    const auto archive = ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyBroadcastConfiguration);
    ASSERT_TRUE(archive && archive->data());
    platform::ErrorRef error;
    const auto decoded = platform::KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(
        *archive->data(), &error);
    ASSERT_TRUE(decoded) << (error ? error->localizedDescription() : "");
    EXPECT_EQ(decoded->clipDuration(), 2.5);
}

TEST(BroadcastExtension, AbsentArgumentsStillMakeFourItems)
{
    ExtensionItems returned;
    const auto context = contextWithAttachments({}, &returned);
    LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(
        context, std::nullopt, nullptr, nullptr);
    ASSERT_EQ(returned.size(), 4U);
    EXPECT_TRUE(ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionUserInfo)->isNull());
    EXPECT_TRUE(ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionServiceURL)->isNull());
}

TEST(BroadcastExtension, TheHostsInformationItemArrivesAsTheThirdArgument)
{
    const auto hostInfo = std::make_shared<const platform::Dictionary>(platform::Dictionary {
        { std::string(LMBroadcastExtensionKeyExtensionHostInfoBundleID), Value("com.example.recordinghost") } });
    InfoRecorder loaded;
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
        contextWithAttachments({ dataProvider(hostInfo) }), loaded.callback());
    ASSERT_TRUE(loaded.wait());
    const auto [first, second, third] = loaded.call();
    EXPECT_TRUE(first.isNull());
    EXPECT_TRUE(second.isNull());
    EXPECT_EQ(third.dictionary(), hostInfo);
    EXPECT_FALSE(loaded.calledOnMainQueue());
}

// Loads the test finishes one at a time, each delivered before the next.
struct HeldLoads {
    std::shared_ptr<ItemProvider> provider(const Value& value)
    {
        return std::make_shared<ItemProvider>(
            std::string(platform::TypeIdentifier::Data), [this, value](const ItemProvider::LoadCompletion& done) {
                const std::lock_guard lock(mutex);
                pending.emplace_back(value, done);
            });
    }
    void finish(const Value& value)
    {
        ASSERT_TRUE(platform::host::waitForPlatformThreadsIdle());
        ItemProvider::LoadCompletion done;
        {
            const std::lock_guard lock(mutex);
            for (const auto& [held, completion] : pending) {
                if (held == value) {
                    done = completion;
                }
            }
        }
        ASSERT_TRUE(done);
        done(value, nullptr);
        ASSERT_TRUE(platform::host::waitForPlatformThreadsIdle());
    }
    std::mutex mutex;
    std::vector<std::pair<Value, ItemProvider::LoadCompletion>> pending;
};

TEST(BroadcastExtension, ValuesArePlacedByArrivalAndRotated)
{
    HeldLoads loads;
    InfoRecorder loaded;
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
        contextWithAttachments({ loads.provider("A"), loads.provider("B"), loads.provider("C") }), loaded.callback());
    loads.finish("C");
    loads.finish("A");
    EXPECT_EQ(loaded.callCount(), 0U);
    loads.finish("B");
    ASSERT_TRUE(loaded.wait());
    EXPECT_EQ(loaded.call(), (InfoRecorder::Call { Value("A"), Value("B"), Value("C") }));
}

TEST(BroadcastExtension, MoreThanThreeValuesAreCountedAndTheRestDropped)
{
    InfoRecorder loaded;
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
        contextWithAttachments({ dataProvider(1), dataProvider(2), dataProvider(3), dataProvider(4) }),
        loaded.callback());
    ASSERT_TRUE(loaded.wait());
    ASSERT_TRUE(platform::host::waitForPlatformThreadsIdle());
    drainMainQueue();
    EXPECT_EQ(loaded.callCount(), 1U);
    // Whatever the arrival order, the three kept values are three of the four.
    const auto [first, second, third] = loaded.call();
    EXPECT_NE(first, second);
    EXPECT_NE(second, third);
    EXPECT_NE(first, third);
}

TEST(BroadcastExtension, MissingOrUnloadableInputNeverCompletes)
{
    LogCapture log;
    InfoRecorder loaded;
    const auto empty = std::make_shared<platform::ExtensionContext>(ExtensionItems {}, nullptr);
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(empty, loaded.callback());
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(contextWithAttachments({}), loaded.callback());
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(nullptr, loaded.callback());
    const auto notData = std::make_shared<ItemProvider>(Value("text"), "lumora.item.text");
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
        contextWithAttachments({ dataProvider(1), notData, dataProvider(2) }), loaded.callback());
    ASSERT_TRUE(platform::host::waitForPlatformThreadsIdle());
    drainMainQueue();
    EXPECT_EQ(loaded.callCount(), 0U);
    EXPECT_TRUE(log.entries().empty());
}

TEST(BroadcastExtension, ASetupExtensionCompletesAsItsOwnProcessOnTheDevice)
{
    device().setMainBundle(fixturesDirectory() + "/bundles/RecordingHost.app");
    device().extensions().installExtension(
        kSetupExtension, nullptr, [](const platform::host::ExtensionRequestSide& side) {
            auto context = side.context;
            LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
                context, [context](const Value& /*first*/, const Value& /*second*/, const Value& hostInfo) {
                    // Runs on a platform thread, still in the extension's process.
                    LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(context,
                        platform::URL::URLWithString("rtmp://live.example.com/abc"),
                        std::make_shared<LMBroadcastConfiguration>(), hostInfo.dictionary());
                });
            return std::make_shared<platform::ViewController>();
        });
    ASSERT_TRUE(device().extensions().setExtensionBundle(
        kSetupExtension, fixturesDirectory() + "/bundles/BroadcastSetup.appex"));

    const auto hostInfo = std::make_shared<const platform::Dictionary>(platform::Dictionary {
        { std::string(LMBroadcastExtensionKeyExtensionHostInfoBundleID), Value("com.example.recordinghost") } });
    const auto extension = platform::Extension::extensionWithIdentifier_error(kSetupExtension, nullptr);
    ASSERT_TRUE(extension);
    CallbackRecorder<std::string> requested;
    extension->instantiateViewControllerWithInputItems_connectionHandler(
        { ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionHostInfo, hostInfo) },
        [done = requested.callback()](const std::string& requestIdentifier,
            const std::shared_ptr<platform::RemoteViewController>& /*controller*/,
            const platform::ErrorRef& /*error*/) { done(requestIdentifier); });
    ASSERT_TRUE(requested.wait());
    const auto requestIdentifier = std::get<0>(requested.call());
    ASSERT_TRUE(runUntil([&] { return device().extensions().outcomeOfRequest(requestIdentifier).has_value(); }));

    const auto returned = device().extensions().outcomeOfRequest(requestIdentifier)->returnedItems;
    EXPECT_EQ(*ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionBundleIdentifier),
        Value("com.example.streamer.setup"));
    EXPECT_EQ(
        ExtensionRequest::loadValueOfItem(returned, LMBroadcastExtensionKeyExtensionUserInfo)->dictionary(), hostInfo);
    // The application's own process is untouched.
    EXPECT_EQ(platform::Bundle::mainBundle()->bundleIdentifier(), "com.example.recordinghost");
}

} // namespace
} // namespace lumora::test
