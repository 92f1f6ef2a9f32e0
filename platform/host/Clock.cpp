#include "platform/Clock.h"

#include "platform/DispatchQueue.h"
#include "platform/host/HostClock.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace lumora::platform {

namespace {

struct Timer {
    std::function<void()> task;
    std::shared_ptr<bool> cancelled;
};

struct ClockState {
    std::mutex mutex;
    std::optional<double> frozenNow; // seconds since 1970 while held still
    double frozenUptime = 0; // uptime while held still
    // Deadlines are in uptime seconds; equal deadlines fire in scheduling order.
    std::multimap<double, Timer> timers;
    std::thread ticker;
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

double realUptime()
{
    using namespace std::chrono;
    static const auto start = steady_clock::now();
    return duration<double>(steady_clock::now() - start).count();
}

// Queues on the MainQueue every timer whose deadline is at or before `uptime`.
void fireDue(double uptime)
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
            if (!*timer.cancelled) {
                timer.task();
            }
        });
    }
}

} // namespace

Date Clock::now()
{
    std::lock_guard lock(state().mutex);
    return Date::dateWithTimeIntervalSince1970(state().frozenNow.value_or(realNow()));
}

double Clock::uptime()
{
    std::lock_guard lock(state().mutex);
    return state().frozenNow ? state().frozenUptime : realUptime();
}

std::shared_ptr<void> Clock::scheduleAfter(double delay, std::function<void()> task)
{
    auto cancelled = std::make_shared<bool>(false);
    const double deadline = uptime() + std::max(0.0, delay);
    bool frozen = false;
    {
        std::lock_guard lock(state().mutex);
        state().timers.emplace(deadline, Timer { std::move(task), cancelled });
        frozen = state().frozenNow.has_value();
    }
    if (!frozen) {
        // A running clock fires its timers from a helper thread at their deadline.
        std::thread([deadline] {
            const double wait = deadline - realUptime();
            if (wait > 0) {
                std::this_thread::sleep_for(std::chrono::duration<double>(wait));
            }
            bool stillRunning = false;
            {
                std::lock_guard lock(state().mutex);
                stillRunning = !state().frozenNow.has_value();
            }
            if (stillRunning) {
                fireDue(realUptime());
            }
        }).detach();
    }
    // The cancellation flag is only touched on the MainQueue, where timers run.
    return { nullptr, [cancelled](void* /*unused*/) { *cancelled = true; } };
}

namespace host {

void HostClock::freeze(Date date)
{
    std::lock_guard lock(state().mutex);
    if (!state().frozenNow) {
        state().frozenUptime = realUptime();
    }
    state().frozenNow = date.timeIntervalSince1970();
}

void HostClock::release()
{
    {
        std::lock_guard lock(state().mutex);
        state().frozenNow.reset();
    }
    fireDue(realUptime());
}

void HostClock::advance(double seconds)
{
    double uptime = 0;
    {
        std::lock_guard lock(state().mutex);
        if (!state().frozenNow) {
            return;
        }
        *state().frozenNow += seconds;
        state().frozenUptime += seconds;
        uptime = state().frozenUptime;
    }
    fireDue(uptime);
}

bool HostClock::isFrozen()
{
    std::lock_guard lock(state().mutex);
    return state().frozenNow.has_value();
}

} // namespace host

} // namespace lumora::platform
