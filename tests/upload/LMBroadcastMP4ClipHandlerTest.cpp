#include "platform/formats/KeyedUnarchiver.h"
#include "platform/host/device/SimulatedDevice.h"
#include "tests/harness/Harness.h"
#include "tests/upload/UploadTestSupport.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::ExtensionItems;

ExtensionItems clipItems(bool finished = true)
{
    return { ExtensionRequest::labelledItem(LMBroadcastExtensionKeyMovieClipURL, Value("file:///clips/clip%201.mp4")),
        ExtensionRequest::labelledItem(
            LMBroadcastExtensionKeyExtensionUserInfo, Value(dictionary({ { "stream", Value("key") } }))),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyRequestedFinish, Value(finished)),
        ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionSandboxToken, Value("token-1")) };
}

// A request, begun, and its handler once the clip has reached it.
struct ClipRequest {
    explicit ClipRequest(ExtensionItems items) : request(std::move(items)) { request.beginWithHandler(handler); }
    std::vector<HookCall> clips(std::size_t count = 1) { return handler->log.waitFor(count); }

    std::shared_ptr<RecordingClipHandler> handler = std::make_shared<RecordingClipHandler>();
    ExtensionRequest request;
};

TEST(LMBroadcastHandler, ServiceInfoIsAppendedOnceAndTheBaseIgnoresRequests)
{
    const ExtensionRequest request({});
    auto handler = std::make_shared<LMBroadcastHandler>();
    handler->beginRequestWithExtensionContext(request.context());
    EXPECT_FALSE(handler->extensionContext());

    handler->setExtensionContext(request.context());
    handler->_completeRequestWithReturnItems({});
    EXPECT_TRUE(request.outcome()->returnedItems.empty());

    handler->updateServiceInfo(dictionary({ { "a", Value(1) } }));
    handler->updateServiceInfo(dictionary({ { "b", Value(2) } })); // replaces, no merge
    const auto own = ExtensionRequest::labelledItem("Own", Value(0));
    const ExtensionRequest second({});
    handler->setExtensionContext(second.context());
    handler->_completeRequestWithReturnItems({ own });
    handler->_completeRequestWithReturnItems({});
    const auto endings = second.endings();
    ASSERT_EQ(endings.size(), 2U);
    ASSERT_EQ(endings[0].returnedItems.size(), 2U);
    EXPECT_EQ(endings[0].returnedItems[0], own);
    EXPECT_EQ(ExtensionRequest::loadValueOfItem(endings[0].returnedItems, LMBroadcastExtensionKeyExtensionServiceInfo),
        Value(dictionary({ { "b", Value(2) } })));
    EXPECT_TRUE(endings[1].returnedItems.empty());
}

TEST(LMBroadcastMP4ClipHandler, TheClipArrivesOnceAllFourItemsHaveLoadedInAnyOrder)
{
    const auto values = clipItems();
    std::array<std::size_t, 4> order { 0, 1, 2, 3 };
    do {
        // Every load is held, and the test lets them finish in this order.
        std::array<HeldLoad, 4> loads;
        ExtensionItems items;
        for (std::size_t i = 0; i < 4; ++i) {
            items.push_back(
                ExtensionRequest::labelledItemWithLoader(values[i]->attributedTitle()->string(), loads[i].loader()));
        }
        ClipRequest clip(items);
        for (std::size_t step = 0; step < 4; ++step) {
            if (step == 3) {
                ASSERT_TRUE(runPendingDeliveries());
                EXPECT_TRUE(clip.handler->log.calls().empty());
            }
            loads[order[step]].finish(*ExtensionRequest::loadValueOfItem(
                { values[order[step]] }, values[order[step]]->attributedTitle()->string()));
        }
        const auto calls = clip.clips();
        ASSERT_EQ(calls.size(), 1U);
        ASSERT_TRUE(calls[0].url);
        EXPECT_EQ(calls[0].url->absoluteString(), "file:///clips/clip%201.mp4");
        EXPECT_EQ(calls[0].url->path(), "/clips/clip 1.mp4");
        EXPECT_EQ(Value(calls[0].setupInfo), Value(dictionary({ { "stream", Value("key") } })));
        EXPECT_TRUE(calls[0].finished);
        EXPECT_EQ(platform::host::SimulatedDevice::shared().consumedSandboxTokens().back(),
            std::optional<std::string>("token-1"));
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(LMBroadcastMP4ClipHandler, TheHookWaitsForTheLastItemAndUnknownTitlesCount)
{
    const HeldLoad held;
    auto items = clipItems(false);
    items.push_back(ExtensionRequest::labelledItem("SomethingElse", Value(1)));
    items[2] = ExtensionRequest::labelledItemWithLoader(LMBroadcastExtensionKeyRequestedFinish, held.loader());
    ClipRequest clip(items);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_TRUE(clip.handler->log.calls().empty());
    held.finish(Value(true));
    const auto calls = clip.clips();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_TRUE(calls[0].finished);
}

TEST(LMBroadcastMP4ClipHandler, AFailedLoadIsNotCountedAndBadValuesAreNotKept)
{
    const LogCapture logs;
    auto items = clipItems();
    items[3] = ExtensionRequest::labelledItemWithLoader(LMBroadcastExtensionKeyExtensionSandboxToken,
        [](const auto& completion) { completion({}, platform::Error::errorWithDomain("Test", 1)); });
    ClipRequest failed(items);
    ASSERT_TRUE(runPendingDeliveries());
    EXPECT_TRUE(failed.handler->log.calls().empty());
    EXPECT_TRUE(logs.contains("Error loading input item for type", platform::Log::Level::Error));

    items = clipItems();
    items[0] = ExtensionRequest::labelledItem(LMBroadcastExtensionKeyMovieClipURL, Value(42));
    items[3] = ExtensionRequest::labelledItem(LMBroadcastExtensionKeyExtensionSandboxToken, Value(Data()));
    ClipRequest wrong(items);
    const auto calls = wrong.clips();
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_FALSE(calls[0].url);
    EXPECT_TRUE(logs.contains("Ignoring movie clip URL that is not a string"));
    EXPECT_EQ(platform::host::SimulatedDevice::shared().consumedSandboxTokens().back(), std::nullopt);
}

TEST(LMBroadcastMP4ClipHandler, FinishingCompletesWithTheArchiveOrCancelsWithTheError)
{
    ClipRequest plain(clipItems());
    ASSERT_EQ(plain.clips().size(), 1U);
    plain.handler->updateServiceInfo(dictionary({ { "viewers", Value(3) } }));
    plain.handler->finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr, nullptr);
    auto outcome = plain.request.waitForOutcome();
    ASSERT_TRUE(outcome);
    ASSERT_EQ(outcome->returnedItems.size(), 1U);
    EXPECT_EQ(outcome->returnedItems[0]->attributedTitle()->string(), LMBroadcastExtensionKeyExtensionServiceInfo);

    ClipRequest configured(clipItems());
    ASSERT_EQ(configured.clips().size(), 1U);
    auto configuration = std::make_shared<LMBroadcastConfiguration>();
    configuration->setClipDuration(6.0);
    configured.handler->finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, nullptr);
    outcome = configured.request.waitForOutcome();
    ASSERT_TRUE(outcome);
    ASSERT_EQ(outcome->returnedItems.size(), 1U);
    const auto archive
        = ExtensionRequest::loadValueOfItem(outcome->returnedItems, LMBroadcastExtensionKeyBroadcastConfiguration);
    ASSERT_TRUE(archive && archive->isData());
    const auto decoded = platform::KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(
        *archive->data(), nullptr);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->clipDuration(), 6.0);

    const LogCapture logs;
    ClipRequest failing(clipItems());
    ASSERT_EQ(failing.clips().size(), 1U);
    failing.handler->updateServiceInfo(dictionary({ { "viewers", Value(3) } }));
    const auto error = platform::Error::errorWithDomain("Upload", 7);
    failing.handler->finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, error);
    outcome = failing.request.waitForOutcome();
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->error, error);
    EXPECT_TRUE(outcome->returnedItems.empty());
    EXPECT_TRUE(logs.contains("broadcast configuration = %@"));
}

} // namespace
} // namespace lumora::test
