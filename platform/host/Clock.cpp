#include "platform/Clock.h"

#include "platform/DispatchQueue.h"
#include "platform/host/HostClock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace lumora::platform {

namespace {

using Nanoseconds = std::int64_t;

Nanoseconds toNanoseconds(double seconds)
{
    return std::llround(seconds * 1e9);
}

double toSeconds(Nanoseconds nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e9;
}

struct Timer {
    std::function<void()> task;
    std::shared_ptr<std::atomic<bool>> cancelled;
};

struct ClockState {
    std::mutex mutex;
    // While the clock is held still: the date it was held at, how far it has
    // been advanced since, and the uptime it stands at. Time is counted in
    // whole nanoseconds, so that advancing by 0.19 and then 0.31 seconds
    // reaches a timer set 0.5 seconds ahead exactly.
    std::optional<double> frozenBase; // seconds since 1970
    Nanoseconds frozenOffset = 0;
    Nanoseconds frozenUptime = 0;
    // Deadlines in uptime nanoseconds; equal deadlines fire in scheduling order.
    std::multimap<Nanoseconds, Timer> timers;
};

ClockState& state()
{
    static ClockState instance;
    return instance;
}

double realNow()
{
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count();
}

Nanoseconds realUptime()
{
    using namespace std::chrono;
    static const auto start = steady_clock::now();
    return duration_cast<nanoseconds>(steady_clock::now() - start).count();
}

// The uptime the clock stands at; the caller holds the state's mutex.
Nanoseconds uptimeLocked()
{
    return state().frozenBase ? state().frozenUptime : realUptime();
}

// Queues on the MainQueue every timer whose deadline is at or before `uptime`.
void fireDue(Nanoseconds uptime)
{
    std::vector<Timer> due;
    {
        std::lock_guard lock(state().mutex);
        auto& timers = state().timers;
        const auto end = timers.upper_bound(uptime);
        for (auto it = timers.begin(); it != end; ++it) {
            due.push_back(std::move(it->second));
        }
        timers.erase(timers.begin(), end);
    }
    for (auto& timer : due) {
        DispatchQueue::main().async([timer = std::move(timer)] {
            if (!timer.cancelled->load()) {
                timer.task();
            }
        });
    }
}

} // namespace

Date Clock::now()
{
    std::lock_guard lock(state().mutex);
    if (state().frozenBase) {
        return Date::dateWithTimeIntervalSince1970(*state().frozenBase + toSeconds(state().frozenOffset));
    }
    return Date::dateWithTimeIntervalSince1970(realNow());
}

double Clock::uptime()
{
    std::lock_guard lock(state().mutex);
    return toSeconds(uptimeLocked());
}

std::shared_ptr<void> Clock::scheduleAfter(double delay, std::function<void()> task)
{
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    Nanoseconds deadline = 0;
    bool frozen = false;
    {
        std::lock_guard lock(state().mutex);
        deadline = uptimeLocked() + toNanoseconds(std::max(0.0, delay));
        state().timers.emplace(deadline, Timer { std::move(task), cancelled });
        frozen = state().frozenBase.has_value();
    }
    if (!frozen) {
        // A running clock fires its timers from a helper thread at their deadline.
        std::thread([deadline] {
            const Nanoseconds wait = deadline - realUptime();
            if (wait > 0) {
                std::this_thread::sleep_for(std::chrono::nanoseconds(wait));
            }
            bool stillRunning = false;
            {
                std::lock_guard lock(state().mutex);
                stillRunning = !state().frozenBase.has_value();
            }
            if (stillRunning) {
                fireDue(realUptime());
            }
        }).detach();
    }
    return { nullptr, [cancelled](void* /*unused*/) { cancelled->store(true); } };
}

namespace host {

void HostClock::freeze(Date date)
{
    std::lock_guard lock(state().mutex);
    if (!state().frozenBase) {
        state().frozenUptime = realUptime();
    }
    state().frozenBase = date.timeIntervalSince1970();
    state().frozenOffset = 0;
}

void HostClock::release()
{
    {
        std::lock_guard lock(state().mutex);
        state().frozenBase.reset();
    }
    fireDue(realUptime());
}

void HostClock::advance(double seconds)
{
    Nanoseconds uptime = 0;
    {
        std::lock_guard lock(state().mutex);
        if (!state().frozenBase) {
            return;
        }
        const Nanoseconds step = toNanoseconds(seconds);
        state().frozenOffset += step;
        state().frozenUptime += step;
        uptime = state().frozenUptime;
    }
    fireDue(uptime);
}

bool HostClock::isFrozen()
{
    std::lock_guard lock(state().mutex);
    return state().frozenBase.has_value();
}

} // namespace host

} // namespace lumora::platform
