#include "platform/foundation/Clock.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/foundation/HostClock.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

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

// A timer's place in the queue: its deadline in uptime nanoseconds, then the
// order it was set in, so that equal deadlines fire in scheduling order.
using TimerKey = std::pair<Nanoseconds, std::uint64_t>;

struct Timer {
    std::function<void()> task;
    // The clock's reset count when the timer was set: a reset cancels it even
    // after it has been queued on the MainQueue.
    std::uint64_t epoch = 0;
};

struct ClockState {
    std::mutex mutex;
    std::condition_variable changed;
    // While the clock is held still: the date it was held at, how far it has
    // been advanced since, and the uptime it stands at. Time is counted in
    // whole nanoseconds, so that advancing by 0.19 and then 0.31 seconds
    // reaches a timer set 0.5 seconds ahead exactly.
    std::optional<double> frozenBase; // seconds since 1970
    Nanoseconds frozenOffset = 0;
    Nanoseconds frozenUptime = 0;
    // Added to the real uptime while the clock runs, so that releasing a clock
    // that was advanced carries on from where it stood.
    Nanoseconds runningOffset = 0;
    std::map<TimerKey, Timer> timers;
    std::uint64_t nextSequence = 0;
    std::uint64_t epoch = 0;
    bool timerThreadStarted = false;
};

ClockState& state()
{
    // Never destroyed: a timer handle may be released while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* instance = new ClockState();
    return *instance;
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
    auto& clock = state();
    return clock.frozenBase ? clock.frozenUptime : realUptime() + clock.runningOffset;
}

// Takes out every timer whose deadline is at or before `uptime`, in deadline
// order; the caller holds the state's mutex.
std::vector<Timer> takeDueLocked(Nanoseconds uptime)
{
    auto& timers = state().timers;
    std::vector<Timer> due;
    const auto end = timers.upper_bound(TimerKey { uptime, UINT64_MAX });
    for (auto it = timers.begin(); it != end; ++it) {
        due.push_back(std::move(it->second));
    }
    timers.erase(timers.begin(), end);
    return due;
}

void queueOnMain(std::vector<Timer> due)
{
    for (auto& timer : due) {
        DispatchQueue::main().async([timer = std::move(timer)] {
            bool current = false;
            {
                std::lock_guard lock(state().mutex);
                current = timer.epoch == state().epoch;
            }
            if (current) {
                timer.task();
            }
        });
    }
}

// The one thread that fires the timers of a running clock at their deadlines.
// A held clock fires its timers from `advance` instead.
void runTimers()
{
    auto& clock = state();
    std::unique_lock lock(clock.mutex);
    for (;;) {
        if (clock.frozenBase || clock.timers.empty()) {
            clock.changed.wait(lock);
            continue;
        }
        const Nanoseconds wait = clock.timers.begin()->first.first - uptimeLocked();
        if (wait > 0) {
            clock.changed.wait_for(lock, std::chrono::nanoseconds(wait));
            continue;
        }
        auto due = takeDueLocked(uptimeLocked());
        lock.unlock();
        queueOnMain(std::move(due));
        lock.lock();
    }
}

// Wakes the timer thread, starting it the first time; the caller holds the state's mutex.
void wakeTimerThreadLocked()
{
    auto& clock = state();
    if (!clock.timerThreadStarted) {
        clock.timerThreadStarted = true;
        std::thread(runTimers).detach();
    }
    clock.changed.notify_all();
}

// Moves a held clock forward and queues the timers that fall due.
void advanceHeld(Nanoseconds step)
{
    auto& clock = state();
    std::vector<Timer> due;
    {
        std::lock_guard lock(clock.mutex);
        if (!clock.frozenBase) {
            return;
        }
        step = std::max<Nanoseconds>(0, step);
        clock.frozenOffset += step;
        clock.frozenUptime += step;
        due = takeDueLocked(clock.frozenUptime);
    }
    queueOnMain(std::move(due));
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
    auto& clock = state();
    TimerKey key;
    {
        std::lock_guard lock(clock.mutex);
        key = { uptimeLocked() + toNanoseconds(std::max(0.0, delay)), clock.nextSequence++ };
        clock.timers.emplace(key, Timer { std::move(task), clock.epoch });
        if (!clock.frozenBase) {
            wakeTimerThreadLocked();
        }
    }
    // Cancelling takes the timer out of the queue; one already queued on the
    // MainQueue has fired.
    return { nullptr, [key](void* /*unused*/) {
                std::function<void()> cancelled;
                std::lock_guard lock(state().mutex);
                if (const auto it = state().timers.find(key); it != state().timers.end()) {
                    // Destroyed after the lock is let go, in case it owns the
                    // last reference to something that sets timers itself.
                    cancelled = std::move(it->second.task);
                    state().timers.erase(it);
                }
            } };
}

namespace host {

void HostClock::freeze(Date date)
{
    auto& clock = state();
    std::lock_guard lock(clock.mutex);
    if (!clock.frozenBase) {
        clock.frozenUptime = uptimeLocked();
    }
    clock.frozenBase = date.timeIntervalSince1970();
    clock.frozenOffset = 0;
}

void HostClock::release()
{
    auto& clock = state();
    std::vector<Timer> due;
    {
        std::lock_guard lock(clock.mutex);
        if (!clock.frozenBase) {
            return;
        }
        clock.runningOffset = std::max(clock.runningOffset, clock.frozenUptime - realUptime());
        clock.frozenBase.reset();
        due = takeDueLocked(uptimeLocked());
        wakeTimerThreadLocked();
    }
    queueOnMain(std::move(due));
}

void HostClock::advance(double seconds)
{
    advanceHeld(toNanoseconds(seconds));
}

bool HostClock::isFrozen()
{
    std::lock_guard lock(state().mutex);
    return state().frozenBase.has_value();
}

std::size_t HostClock::advanceThroughTimers(std::size_t limit)
{
    auto& clock = state();
    std::size_t fired = 0;
    while (fired < limit) {
        Nanoseconds step = 0;
        {
            std::lock_guard lock(clock.mutex);
            if (!clock.frozenBase || clock.timers.empty()) {
                return fired;
            }
            step = std::max<Nanoseconds>(0, clock.timers.begin()->first.first - clock.frozenUptime);
        }
        advanceHeld(step);
        fired += MainQueue::drain();
    }
    return fired;
}

void HostClock::reset()
{
    auto& clock = state();
    std::map<TimerKey, Timer> cancelled;
    {
        std::lock_guard lock(clock.mutex);
        cancelled.swap(clock.timers);
        ++clock.epoch;
        if (clock.frozenBase) {
            clock.runningOffset = std::max(clock.runningOffset, clock.frozenUptime - realUptime());
            clock.frozenBase.reset();
        }
    }
    // The cancelled tasks are destroyed here, outside the lock.
}

} // namespace host

} // namespace lumora::platform
