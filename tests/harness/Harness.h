#pragma once

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace lumora::test {

/// The framework bundle as the build assembled it.
std::string frameworkBundleDirectory();
/// A folder of bundles and files the tests read.
std::string fixturesDirectory();

/// Puts the simulated device in the state every test starts from: reset, the
/// built framework bundle mounted where the framework looks for it, the clock
/// held still at a fixed date.
void prepareDevice();

/// Runs every queued MainQueue task, and those they queue in turn.
inline std::size_t drainMainQueue()
{
    return platform::MainQueue::drain();
}

/// Lets everything already set in motion finish, so that a test can assert
/// that something was never called: drains the MainQueue, waits for the
/// platform's threads and queues to be idle, advances the held clock past every
/// pending timer, and repeats until a round finds nothing left to run. Returns
/// false when work is still going after `timeout` (something that never settles).
bool runPendingDeliveries(std::chrono::milliseconds timeout = std::chrono::seconds(10));

/// Drains the MainQueue until `condition` holds, for at most `timeout`.
inline bool runUntil(
    const std::function<bool()>& condition, std::chrono::milliseconds timeout = std::chrono::seconds(5))
{
    return platform::MainQueue::runUntil(condition, timeout);
}

/// Records every log entry written while it lives, from any thread.
class LogCapture {
public:
    LogCapture();

    [[nodiscard]] std::vector<platform::Log::Entry> entries() const;
    /// The texts, in order, of entries of one level (any channel).
    [[nodiscard]] std::vector<std::string> texts(std::optional<platform::Log::Level> level = std::nullopt) const;
    [[nodiscard]] std::size_t count(std::string_view text) const;
    [[nodiscard]] bool contains(std::string_view text) const { return count(text) > 0; }
    [[nodiscard]] bool contains(std::string_view text, platform::Log::Level level) const;
    void clear();

private:
    struct State {
        mutable std::mutex mutex;
        std::vector<platform::Log::Entry> entries;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::shared_ptr<void> token_;
};

/// Turns a callback into values a test can wait for. `callback()` hands out a
/// function that records each call (from any thread); `wait()` drains the
/// MainQueue until a call has arrived.
template <class... Args> class CallbackRecorder {
public:
    using Call = std::tuple<std::decay_t<Args>...>;

    [[nodiscard]] std::function<void(Args...)> callback()
    {
        return [state = state_](Args... args) {
            std::lock_guard lock(state->mutex);
            state->calls.emplace_back(args...);
            state->threadWasMain.push_back(platform::MainQueue::isCurrent());
            state->changed.notify_all();
        };
    }

    [[nodiscard]] std::size_t callCount() const
    {
        std::lock_guard lock(state_->mutex);
        return state_->calls.size();
    }

    [[nodiscard]] bool wait(std::size_t calls = 1, std::chrono::milliseconds timeout = std::chrono::seconds(5))
    {
        return runUntil([this, calls] { return callCount() >= calls; }, timeout);
    }

    [[nodiscard]] Call call(std::size_t index = 0) const
    {
        std::lock_guard lock(state_->mutex);
        return state_->calls.at(index);
    }

    [[nodiscard]] bool calledOnMainQueue(std::size_t index = 0) const
    {
        std::lock_guard lock(state_->mutex);
        return state_->threadWasMain.at(index);
    }

private:
    struct State {
        mutable std::mutex mutex;
        std::condition_variable changed;
        std::vector<Call> calls;
        std::vector<bool> threadWasMain;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace lumora::test
