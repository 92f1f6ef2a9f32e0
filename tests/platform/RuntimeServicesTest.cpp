#include "platform/foundation/Clock.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/system/Bundle.h"
#include "platform/system/NotificationCenter.h"
#include "tests/harness/Harness.h"

#include <atomic>
#include <gtest/gtest.h>

namespace lumora::platform {
namespace {

TEST(Log, FormatsThePublishedPlaceholders)
{
    EXPECT_EQ(Log::format("code %i", { Log::Arg(-5803) }), "code -5803");
    // "%i" is a 32-bit int: wider values keep their low 32 bits.
    EXPECT_EQ(Log::format("%i", { Log::Arg(std::int64_t { 0x1'0000'0005 }) }), "5");
    EXPECT_EQ(
        Log::format("%@ and %s, 100%%", { Log::Arg("this"), Log::Arg(std::string("that")) }), "this and that, 100%");
    // A placeholder without an argument is written as it stands.
    EXPECT_EQ(Log::format("broadcast configuration = %@", {}), "broadcast configuration = %@");
}

TEST(Log, ObserversSeeLevelsAndChannelsUntilTheyGo)
{
    test::LogCapture capture;
    Log::ordinary("one %i", 1);
    Log::error("two");
    Log::console("three");
    const auto entries = capture.entries();
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].level, Log::Level::Ordinary);
    EXPECT_EQ(entries[1].level, Log::Level::Error);
    EXPECT_EQ(entries[2].channel, Log::Channel::Console);
}

TEST(NotificationCenter, ObserversAreHeldWeaklyAndRemovable)
{
    auto& center = NotificationCenter::defaultCenter();
    auto kept = std::make_shared<Object>();
    auto dropped = std::make_shared<Object>();
    int keptCalls = 0;
    int droppedCalls = 0;
    center.addObserver(kept, "Changed", [&](const Notification&) { ++keptCalls; });
    center.addObserver(dropped, "Changed", [&](const Notification&) { ++droppedCalls; });
    center.postNotificationName("Changed");
    dropped.reset();
    center.postNotificationName("Changed");
    center.postNotificationName("Other");
    EXPECT_EQ(keptCalls, 2);
    EXPECT_EQ(droppedCalls, 1);
    EXPECT_EQ(center.observerCount("Changed"), 1U);
    center.removeObserver(kept.get());
    center.postNotificationName("Changed");
    EXPECT_EQ(keptCalls, 2);
}

TEST(NotificationCenter, AnObserverRemovedDuringDeliveryIsNotCalled)
{
    auto& center = NotificationCenter::defaultCenter();
    auto first = std::make_shared<Object>();
    auto second = std::make_shared<Object>();
    int secondCalls = 0;
    center.addObserver(first, "N", [&](const Notification&) { center.removeObserver(second.get()); });
    center.addObserver(second, "N", [&](const Notification&) { ++secondCalls; });
    center.postNotificationName("N");
    EXPECT_EQ(secondCalls, 0);
}

TEST(DispatchQueue, MainQueueRunsOnlyWhenDrainedAndInOrder)
{
    std::vector<int> order;
    DispatchQueue::main().async([&] {
        order.push_back(1);
        DispatchQueue::main().async([&] { order.push_back(3); });
    });
    DispatchQueue::main().async([&] { order.push_back(2); });
    EXPECT_TRUE(order.empty());
    EXPECT_EQ(test::drainMainQueue(), 3U);
    EXPECT_EQ(order, (std::vector<int> { 1, 2, 3 }));
}

TEST(DispatchQueue, SerialQueuesRunOneTaskAtATimeInOrder)
{
    const auto queue = DispatchQueue::makeSerial("com.lumora.test.serial");
    constexpr int kTasks = 200;
    std::vector<int> order;
    std::atomic<int> running { 0 };
    std::atomic<bool> overlapped { false };
    std::atomic<int> done { 0 };
    for (int i = 0; i < kTasks; ++i) {
        queue->async([&, i] {
            if (running.fetch_add(1) != 0) {
                overlapped = true;
            }
            EXPECT_EQ(DispatchQueue::current(), queue.get());
            order.push_back(i);
            running.fetch_sub(1);
            done.fetch_add(1);
        });
    }
    ASSERT_TRUE(test::runUntil([&] { return done.load() == kTasks; }));
    EXPECT_FALSE(overlapped);
    for (int i = 0; i < kTasks; ++i) {
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
    }
}

TEST(Clock, TimersFireWhenTheHeldClockIsAdvancedPastThem)
{
    auto& device = host::SimulatedDevice::shared();
    const Date start = Clock::now();
    std::vector<std::string> fired;
    auto late = Clock::scheduleAfter(0.5, [&] { fired.emplace_back("late"); });
    auto early = Clock::scheduleAfter(0.2, [&] { fired.emplace_back("early"); });
    auto cancelled = Clock::scheduleAfter(0.3, [&] { fired.emplace_back("cancelled"); });
    cancelled.reset();

    device.advanceClock(0.19);
    test::drainMainQueue();
    EXPECT_TRUE(fired.empty());
    device.advanceClock(0.31);
    test::drainMainQueue();
    EXPECT_EQ(fired, (std::vector<std::string> { "early", "late" }));
    EXPECT_DOUBLE_EQ(Clock::now().timeIntervalSinceDate(start), 0.5);
}

TEST(Clock, ReleasingCarriesUptimeOnAndFiresTimersSetWhileHeld)
{
    auto& device = host::SimulatedDevice::shared();
    std::vector<std::string> fired;
    auto soon = Clock::scheduleAfter(0.05, [&] { fired.emplace_back("soon"); });
    auto later = Clock::scheduleAfter(3600, [&] { fired.emplace_back("later"); });
    device.advanceClock(0.01);
    const double held = Clock::uptime();

    device.releaseClock();
    EXPECT_GE(Clock::uptime(), held);
    // The running clock reaches the timer set while it was held.
    ASSERT_TRUE(test::runUntil([&] { return !fired.empty(); }));
    EXPECT_EQ(fired, (std::vector<std::string> { "soon" }));
    EXPECT_GE(Clock::uptime(), held + 0.04);
}

TEST(Clock, AResetCancelsPendingAndQueuedTimersAndSettlingRunsEveryTimer)
{
    auto& device = host::SimulatedDevice::shared();
    std::vector<std::string> fired;
    auto queued = Clock::scheduleAfter(1, [&] { fired.emplace_back("queued"); });
    auto pending = Clock::scheduleAfter(2, [&] { fired.emplace_back("pending"); });
    device.advanceClock(1); // queued on the MainQueue, not yet run
    test::prepareDevice();
    EXPECT_TRUE(test::runPendingDeliveries());
    EXPECT_TRUE(fired.empty());

    // A timer that sets another: settling advances the held clock through both.
    std::shared_ptr<void> second;
    auto first = Clock::scheduleAfter(10, [&] {
        fired.emplace_back("first");
        second = Clock::scheduleAfter(20, [&] { fired.emplace_back("second"); });
    });
    const double start = Clock::uptime();
    EXPECT_TRUE(test::runPendingDeliveries());
    EXPECT_EQ(fired, (std::vector<std::string> { "first", "second" }));
    EXPECT_DOUBLE_EQ(Clock::uptime() - start, 30);
}

TEST(Bundle, PreferredLocalizationsFollowTheUsersOrderAndMatchOnLanguage)
{
    const std::vector<std::string> offered { "de", "en", "fr", "fr-CA", "pt-BR" };
    EXPECT_EQ(Bundle::preferredLocalizationsFromArray(offered, { "fr-CA", "en" }),
        (std::vector<std::string> { "fr-CA", "fr", "en" }));
    EXPECT_EQ(Bundle::preferredLocalizationsFromArray(offered, { "pt_PT" }), (std::vector<std::string> { "pt-BR" }));
    EXPECT_TRUE(Bundle::preferredLocalizationsFromArray(offered, { "it", "ja" }).empty());
    EXPECT_TRUE(Bundle::preferredLocalizationsFromArray({}, { "en" }).empty());
}

TEST(Bundle, LocalizedStringsComeFromThePreferredTableAndAreAbsentWhenMissing)
{
    const Bundle framework(test::frameworkBundleDirectory());
    host::SimulatedDevice::shared().setPreferredLanguages({ "de" });
    EXPECT_EQ(framework.localizedStringForKey("PREVIEW_DONE", std::nullopt, "Localizable"), "Fertig");
    EXPECT_EQ(framework.localizedStringForKey("MISSING", std::nullopt, "Localizable"), std::nullopt);
    EXPECT_EQ(framework.localizedStringForKey("MISSING", std::string("fallback"), "Localizable"), "fallback");
    // No language in common: the development region answers.
    host::SimulatedDevice::shared().setPreferredLanguages({ "sv" });
    EXPECT_EQ(framework.localizedStringForKey("PREVIEW_DONE", std::nullopt, ""), "Done");
}

} // namespace
} // namespace lumora::platform
