#include "tests/harness/Harness.h"

#include "platform/foundation/Date.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/foundation/PlatformThreads.h"

#include <algorithm>

namespace lumora::test {

namespace {
constexpr std::string_view kFrameworkDevicePath = "/System/Library/Frameworks/Lumora.framework";
// 14 November 2023 22:13:20 UTC: any fixed moment will do.
constexpr double kFixedNow = 1700000000.0;
} // namespace

std::string frameworkBundleDirectory()
{
    return LUMORA_FRAMEWORK_BUNDLE_DIR;
}

std::string fixturesDirectory()
{
    return LUMORA_TEST_FIXTURES_DIR;
}

void prepareDevice()
{
    auto& device = platform::host::SimulatedDevice::shared();
    device.reset();
    device.mountDirectory(std::string(kFrameworkDevicePath), frameworkBundleDirectory());
    device.freezeClock(platform::Date::dateWithTimeIntervalSince1970(kFixedNow));
}

bool runPendingDeliveries(std::chrono::milliseconds timeout)
{
    auto& device = platform::host::SimulatedDevice::shared();
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < deadline) {
        // A platform thread may be waiting for the MainQueue, so it keeps
        // being drained while the threads finish.
        const auto left
            = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (!platform::MainQueue::runUntil(
                [] { return platform::host::waitForPlatformThreadsIdle(std::chrono::milliseconds(0)); }, left)) {
            return false;
        }
        std::size_t ran = platform::MainQueue::drain();
        ran += device.runPendingTimers();
        if (ran == 0 && platform::host::waitForPlatformThreadsIdle(std::chrono::milliseconds(0))) {
            return true;
        }
    }
    return false;
}

LogCapture::LogCapture()
    : token_(platform::Log::addObserver([state = state_](const platform::Log::Entry& entry) {
          std::lock_guard lock(state->mutex);
          state->entries.push_back(entry);
      }))
{ }

std::vector<platform::Log::Entry> LogCapture::entries() const
{
    std::lock_guard lock(state_->mutex);
    return state_->entries;
}

std::vector<std::string> LogCapture::texts(std::optional<platform::Log::Level> level) const
{
    std::vector<std::string> result;
    for (const auto& entry : entries()) {
        if (!level || entry.level == *level) {
            result.push_back(entry.text);
        }
    }
    return result;
}

std::size_t LogCapture::count(std::string_view text) const
{
    const auto all = entries();
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [text](const auto& entry) { return entry.text == text; }));
}

bool LogCapture::contains(std::string_view text, platform::Log::Level level) const
{
    const auto all = entries();
    return std::any_of(
        all.begin(), all.end(), [&](const auto& entry) { return entry.text == text && entry.level == level; });
}

void LogCapture::clear()
{
    std::lock_guard lock(state_->mutex);
    state_->entries.clear();
}

} // namespace lumora::test
