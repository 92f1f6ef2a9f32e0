#include "support/LMStoreManager.h"

#include "platform/foundation/Clock.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedStoreCatalogue.h"
#include "platform/system/StoreLookup.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::Dictionary;
using platform::StoreLookupItem;
using platform::Value;
using platform::host::SimulatedDevice;
using platform::host::SimulatedStoreCatalogue;
using Record = std::shared_ptr<LMStoreInfo>;

SimulatedStoreCatalogue& catalogue()
{
    return SimulatedDevice::shared().storeCatalogue();
}

// Looks `bundleID` up and waits for the one call back, which must come on the MainQueue.
Record lookUp(const std::string& bundleID)
{
    test::CallbackRecorder<Record> done;
    LMStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(bundleID, done.callback());
    EXPECT_TRUE(done.wait());
    test::drainMainQueue();
    EXPECT_EQ(done.callCount(), 1U);
    EXPECT_TRUE(done.calledOnMainQueue());
    return std::get<0>(done.call());
}

TEST(LMStoreManagerTest, ReadsTheCatalogueEntryOfTheIdentifier)
{
    catalogue().addEntry("com.example.game",
        { .displayName = "Rocket Race",
            .artistName = "Example Games",
            .genreNames = std::vector<std::string> { "Games", "Action" },
            .shortProductPageURL = "https://store.example/r" });
    const auto info = lookUp("com.example.game");
    ASSERT_TRUE(info);
    EXPECT_EQ(info->bundleID(), "com.example.game");
    EXPECT_EQ(info->appName(), "Rocket Race");
    EXPECT_EQ(info->author(), "Example Games");
    EXPECT_EQ(info->itemURL(), "https://store.example/r");
    const auto dictionary = info->dictionary();
    EXPECT_EQ(dictionary->size(), 5U);
    EXPECT_EQ(dictionary->stringForKey("LMStoreInfoCategoriesKey"), "Games,Action");
    EXPECT_EQ(dictionary->stringForKey("LMStoreInfoAuthorKey"), "Example Games");

    const auto requests = catalogue().requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].keyProfile, "product");
    EXPECT_EQ(requests[0].localizationStyle, 1);
    EXPECT_EQ(requests[0].bundleIdentifiers,
        Value(std::make_shared<platform::Array>(platform::Array { Value("com.example.game") })));
}

TEST(LMStoreManagerTest, FallsBackWhenTheCatalogueHasNothingOrFails)
{
    SimulatedDevice::shared().installBundle(test::fixturesDirectory() + "/bundles/DisplayOnly.app");
    const auto check = [](const Record& info, const std::optional<std::string>& name) {
        ASSERT_TRUE(info);
        EXPECT_EQ(info->appName(), name);
        EXPECT_EQ(info->author(), "");
        EXPECT_EQ(info->itemURL(), "");
        EXPECT_FALSE(info->categories());
        EXPECT_FALSE(info->dictionary()->contains("LMStoreInfoCategoriesKey"));
    };
    check(lookUp("com.example.display"), "Display Only");
    check(lookUp("com.example.unknown"), std::nullopt);
    EXPECT_EQ(lookUp("com.example.unknown")->dictionary()->size(), 3U);

    catalogue().addEntry("com.example.display",
        { .displayName = "Store Name",
            .artistName = "Someone",
            .genreNames = std::nullopt,
            .shortProductPageURL = std::nullopt });
    catalogue().setFailure(platform::Error::errorWithDomain("StoreErrorDomain", -1));
    check(lookUp("com.example.display"), "Display Only");

    // Properties of the wrong kind read as missing.
    catalogue().setFailure(nullptr);
    catalogue().addEntryWithProperties("com.example.display",
        std::make_shared<Dictionary>(Dictionary { { std::string(StoreLookupItem::DisplayNameProperty), Value(7) },
            { std::string(StoreLookupItem::ArtistNameProperty), Value(true) },
            { std::string(StoreLookupItem::GenreNamesProperty), Value("Games") } }));
    check(lookUp("com.example.display"), "Display Only");
}

TEST(LMStoreManagerTest, ADelayedAnswerComesWhenTheDeviceClockGetsThere)
{
    catalogue().addEntry("com.example.game",
        { .displayName = "Rocket Race",
            .artistName = std::nullopt,
            .genreNames = std::vector<std::string> {},
            .shortProductPageURL = std::nullopt });
    catalogue().setResponseDelay(2.0);
    test::CallbackRecorder<Record> done;
    LMStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
        "com.example.game", done.callback());
    SimulatedDevice::shared().advanceClock(1.9);
    test::drainMainQueue();
    EXPECT_EQ(done.callCount(), 0U);
    SimulatedDevice::shared().advanceClock(0.1);
    ASSERT_TRUE(done.wait());
    const auto info = std::get<0>(done.call());
    EXPECT_EQ(info->appName(), "Rocket Race");
    // An empty genre list is a list, but gives no categories text.
    EXPECT_EQ(info->categories(), std::vector<std::string> {});
    EXPECT_FALSE(info->dictionary()->contains("LMStoreInfoCategoriesKey"));
}

TEST(LMStoreInfoTest, DictionaryHoldsOnlyThePresentFields)
{
    LMStoreInfo info;
    info.setBundleID("com.example.only");
    const auto dictionary = info.dictionary();
    EXPECT_EQ(*dictionary, (Dictionary { { "LMStoreInfoBundleIDKey", Value("com.example.only") } }));
    info.setCategories(std::vector<std::string> { "Games" });
    EXPECT_EQ(info.dictionary()->stringForKey("LMStoreInfoCategoriesKey"), "Games");
    // Each call makes a new dictionary.
    EXPECT_NE(info.dictionary(), info.dictionary());
}

} // namespace
} // namespace lumora
