#pragma once

#include "platform/foundation/Noncopyable.h"
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lumora::platform {

/// A queue that runs tasks.
///
/// Ordering: a serial queue (the MainQueue and every queue made by
/// `makeSerial`) runs its tasks one at a time, in the order they were queued.
/// A global queue is concurrent: its tasks may run at the same time, on
/// several threads, in any order.
///
/// The MainQueue has no thread of its own: whoever owns the run loop (the
/// sample app, a test) drains it with `MainQueue::drain()` or
/// `MainQueue::runUntil()`. Everything the framework queues on the MainQueue
/// therefore runs at a moment the owner of the loop chooses.
class DispatchQueue : private platform::Noncopyable {
public:
    /// The priority of a global queue's tasks.
    enum class Priority : std::uint8_t { Default, Background };
    /// One unit of work.
    using Task = std::function<void()>;

    virtual ~DispatchQueue() = default;

    /// Queues `task` and returns at once.
    virtual void async(Task task) = 0;
    /// The queue's name, for logs and debugging.
    [[nodiscard]] virtual const std::string& label() const = 0;

    /// The queue whose task is running on the calling thread, or null.
    [[nodiscard]] static const DispatchQueue* current();

    /// The MainQueue, drained by the run loop's owner (see MainQueue).
    static DispatchQueue& main();
    /// The process-wide concurrent queue of `priority`.
    static DispatchQueue& global(Priority priority);
    /// A new serial queue that runs its tasks on platform threads.
    static std::shared_ptr<DispatchQueue> makeSerial(std::string label);

protected:
    /// Marks the calling thread as running a task of `queue` while alive.
    class CurrentScope {
    public:
        /// Marks the calling thread as running a task of `queue` (null: of none),
        /// until destroyed; scopes nest.
        explicit CurrentScope(const DispatchQueue* queue);
        CurrentScope(const CurrentScope&) = delete;
        CurrentScope& operator=(const CurrentScope&) = delete;
        CurrentScope(CurrentScope&&) = delete;
        CurrentScope& operator=(CurrentScope&&) = delete;
        ~CurrentScope();

    private:
        const DispatchQueue* previous_;
    };
};

/// The run loop of the MainQueue.
class MainQueue {
public:
    /// Runs queued MainQueue tasks, including those they queue in turn, until
    /// none is left. Returns how many ran.
    static std::size_t drain();

    /// Drains the MainQueue, waiting for work from other threads, until
    /// `condition` holds or `timeout` passes. Returns the condition's last answer.
    static bool runUntil(
        const std::function<bool()>& condition, std::chrono::milliseconds timeout = std::chrono::seconds(5));

    /// Whether the calling thread is running a MainQueue task.
    [[nodiscard]] static bool isCurrent();
};

} // namespace lumora::platform
