#pragma once

#include <mutex>
#include <utility>

namespace lumora::platform {

/// A value that several threads read and replace, behind a small lock of its
/// own. Shared and weak references that cross threads use it instead of the
/// standard library's atomic smart pointers: libstdc++ 12 releases their
/// internal lock with relaxed order after a load, so a store made afterwards
/// on another thread is not ordered after that load, which is a data race
/// under the language's memory model (and the race detector reports it).
///
/// A value that is replaced is destroyed after the lock is let go, so its
/// destructor may use the same value again.
template <typename T> class Synchronized {
public:
    Synchronized() = default;
    /// Holds `value`.
    explicit Synchronized(T value) : value_(std::move(value)) { }
    Synchronized(const Synchronized&) = delete;
    Synchronized& operator=(const Synchronized&) = delete;
    Synchronized(Synchronized&&) = delete;
    Synchronized& operator=(Synchronized&&) = delete;
    ~Synchronized() = default;

    /// A copy of the value.
    [[nodiscard]] T load() const
    {
        const std::lock_guard lock(mutex_);
        return value_;
    }

    /// Replaces the value.
    void store(T value)
    {
        // The old value goes at the end of this scope, after the lock.
        [[maybe_unused]] const T previous = exchange(std::move(value));
    }

    /// Replaces the value and hands back the one it had.
    T exchange(T value)
    {
        const std::lock_guard lock(mutex_);
        return std::exchange(value_, std::move(value));
    }

private:
    mutable std::mutex mutex_;
    T value_ {};
};

} // namespace lumora::platform
