#include "recording/LMExtensions.h"

#include "recording/LMDaemonProxy.h"

#include "platform/host/device/SimulatedDevice.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>
#include <latch>
#include <thread>

namespace lumora {
namespace {

using platform::host::SimulatedDevice;

class LMExtensionsTest : public ::testing::Test {
protected:
    static std::shared_ptr<platform::Bundle> install(const std::string& name)
    {
        return SimulatedDevice::shared().installBundle(test::fixturesDirectory() + "/bundles/" + name);
    }
};

TEST_F(LMExtensionsTest, AppNameFallsBackFromLocalizedDisplayNameToDisplayNameToBundleNameToEmpty)
{
    EXPECT_EQ(LMExtensions::_lmLocalizedAppName(*install("LocalizedApp.app")), "Localized Display");
    EXPECT_EQ(LMExtensions::_lmLocalizedAppName(*install("DisplayOnly.app")), "Display Only");
    EXPECT_EQ(LMExtensions::_lmLocalizedAppName(*install("NameOnly.app")), "Name Only");
    EXPECT_EQ(LMExtensions::_lmLocalizedAppName(*install("Nameless.app")), "");
}

TEST_F(LMExtensionsTest, LocalizedDisplayNameFollowsTheUsersLanguage)
{
    const auto bundle = install("LocalizedApp.app");
    SimulatedDevice::shared().setPreferredLanguages({ "fr-CA", "en" });
    EXPECT_EQ(LMExtensions::_lmLocalizedAppName(*bundle), "Affichage localisé");
}

TEST_F(LMExtensionsTest, AppNameByIdentifierIsAbsentOnlyForUnknownBundles)
{
    install("Nameless.app");
    install("NameOnly.app");
    EXPECT_EQ(LMExtensions::_lmLocalizedAppNameFromBundleID("com.example.nameonly"), "Name Only");
    // A known bundle without any name is "", not absent.
    EXPECT_EQ(LMExtensions::_lmLocalizedAppNameFromBundleID("com.example.nameless"), "");
    EXPECT_EQ(LMExtensions::_lmLocalizedAppNameFromBundleID("com.example.missing"), std::nullopt);
}

TEST_F(LMExtensionsTest, FrameworkStringsComeInTheLanguageTheAppIsLocalizedIn)
{
    install("FrenchApp.app");
    install("GermanAndFrenchApp.app");
    // The user reads German first, but the French-only app decides the language.
    SimulatedDevice::shared().setPreferredLanguages({ "de", "fr" });
    EXPECT_EQ(
        LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.example.french"),
        "Arrêter l’enregistrement");
    EXPECT_EQ(LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID(
                  "STOP_RECORDING", "com.example.germanfrench"),
        "Aufnahme beenden");
    EXPECT_EQ(LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("NO_SUCH_KEY", "com.example.french"),
        std::nullopt);
}

TEST_F(LMExtensionsTest, AnAppLanguageTheFrameworkLacksYieldsAbsentNotTheFallback)
{
    install("ItalianApp.app");
    SimulatedDevice::shared().setPreferredLanguages({ "it", "en" });
    EXPECT_EQ(
        LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.example.italian"),
        std::nullopt);
}

TEST_F(LMExtensionsTest, WithoutALanguageInCommonTheFrameworksOrdinaryLocalizationAnswers)
{
    install("ItalianApp.app");
    SimulatedDevice::shared().setPreferredLanguages({ "ja", "en" });
    // No bundle at all, and a bundle that shares no language with the user.
    EXPECT_EQ(LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.example.none"),
        "収録を停止");
    EXPECT_EQ(
        LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.example.italian"),
        "収録を停止");
    EXPECT_EQ(LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("NO_SUCH_KEY", "com.example.none"),
        std::nullopt);
}

TEST_F(LMExtensionsTest, FrameworkBundleIsCreatedOnceForConcurrentFirstCallers)
{
    constexpr int kThreads = 8;
    std::latch start(kThreads);
    std::vector<std::shared_ptr<platform::Bundle>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            seen[static_cast<std::size_t>(i)] = LMExtensions::_lmFrameworkBundle();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    ASSERT_NE(seen.front(), nullptr);
    for (const auto& bundle : seen) {
        EXPECT_EQ(bundle.get(), seen.front().get());
    }
    EXPECT_EQ(seen.front()->bundleIdentifier(), "com.lumora.Lumora");
}

TEST_F(LMExtensionsTest, FrameworkBundleIsNeverLookedUpAgain)
{
    const auto first = LMExtensions::_lmFrameworkBundle();
    // Even if the framework moved, the first answer stands.
    SimulatedDevice::shared().mountDirectory(
        std::string(LMExtensions::FrameworkBundlePath), test::fixturesDirectory() + "/bundles/NameOnly.app");
    EXPECT_EQ(LMExtensions::_lmFrameworkBundle().get(), first.get());
}

} // namespace
} // namespace lumora

namespace lumora {
namespace {

TEST(LMExtensionsWithoutFramework, AMissingFrameworkStaysMissingAndStopsAnswerWithoutAMovie)
{
    platform::host::SimulatedDevice::shared().reset(); // nothing mounted at the framework's path
    EXPECT_EQ(LMExtensions::_lmFrameworkBundle(), nullptr);

    platform::host::SimulatedDevice::shared().mountDirectory(
        std::string(LMExtensions::FrameworkBundlePath), test::frameworkBundleDirectory());
    EXPECT_EQ(LMExtensions::_lmFrameworkBundle(), nullptr);
    EXPECT_EQ(LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.example"),
        std::nullopt);

    int calls = 0;
    LMDaemonProxy::daemonProxy()->stopRecordingWithStartClipDuration_endClipDuration_handler(
        0, 0, [&](const std::optional<platform::URL>& url, const platform::ErrorRef& error) {
            ++calls;
            EXPECT_EQ(url, std::nullopt);
            EXPECT_EQ(error, nullptr);
        });
    EXPECT_EQ(calls, 1);
}

} // namespace
} // namespace lumora
