#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace lumora::platform::host {

/// A process of the device's own (an extension's or a system service's),
/// started from a program file and kept under a memory ceiling that the
/// kernel enforces, as a device keeps each extension under the ceiling of its
/// kind: crossing it ends the process.
///
/// The ceiling is a memory control group made for the process: cgroup v2's
/// `memory.max` where the machine's unified hierarchy offers the memory
/// controller, otherwise cgroup v1's `memory.limit_in_bytes` where the v1
/// memory controller is mounted writable. Without either it is a resource
/// limit on the data segment, which a sanitizer build cannot live under (it
/// reserves terabytes of shadow memory), so that build runs without one.
/// The group also measures the process's peak memory; without a group the
/// peak is the kernel's maximum resident set size of the process.
///
/// Destroying the object kills a process still running and reaps it.
class ChildProcess {
public:
    /// How the ceiling is enforced.
    enum class Ceiling : std::uint8_t { None, ControlGroupV2, ControlGroupV1, ResourceLimit };

    /// How the process ended.
    struct Exit {
        /// The exit status, when it exited.
        std::optional<int> status;
        /// The signal that ended it, when one did.
        std::optional<int> signal;
        /// True when the kernel ended it for crossing its memory ceiling.
        bool crossedCeiling = false;
        /// Its peak memory in bytes (resident, or charged to its group).
        std::size_t peakMemory = 0;
        /// The ceiling it ran under (`memoryCeiling()`); 0 without one.
        std::size_t memoryCeiling = 0;

        /// How it ended, in words: "crossed its memory ceiling", "signal 9", "exit status 1".
        [[nodiscard]] std::string description() const;
    };

    /// `bytes` in megabytes with one decimal, for log lines and reports ("7.9 MB").
    static std::string megabytes(std::size_t bytes);

    /// What to start.
    struct Launch {
        /// The program file and its arguments (without the program's name).
        std::string program;
        std::vector<std::string> arguments;
        /// Descriptors of this process handed to the child: each first one
        /// appears in the child under the second number (3 or above).
        std::vector<std::pair<int, int>> descriptors;
        /// The memory ceiling in bytes; none when absent.
        std::optional<std::size_t> memoryCeiling;
    };

    /// What a sanitizer build grants a process on top of the ceiling asked
    /// for (the sanitizer's own memory); 0 in other builds.
    static std::size_t sanitizerAllowance();

    /// Starts the process; null (and `failure` says why) when it cannot.
    static std::unique_ptr<ChildProcess> launch(const Launch& launch, std::string* failure = nullptr);

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess(ChildProcess&&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] Ceiling ceiling() const { return ceiling_; }
    /// The ceiling in force, in bytes: the one asked for, plus a fixed
    /// allowance for the sanitizer's own memory in a sanitizer build; 0 without one.
    [[nodiscard]] std::size_t memoryCeiling() const { return memoryCeiling_; }
    /// The memory the process holds now, in bytes (resident, or charged to
    /// its group); 0 once it has ended.
    [[nodiscard]] std::size_t currentMemory() const;
    /// The process's own memory now, in bytes: what it allocated and
    /// touched, without the cache of files it read or wrote, which its group
    /// is charged for too (and which the kernel reclaims before the ceiling
    /// is crossed); 0 once it has ended.
    [[nodiscard]] std::size_t currentResidentMemory() const;

    /// Waits, at most `timeout`, for the process to end; how it ended, or
    /// nullopt while it still runs. Once it has ended every call answers the same.
    std::optional<Exit> waitForExit(std::chrono::milliseconds timeout);
    /// Sends `signal` to the process if it still runs.
    void signal(int signal) const;
    /// Moves the running process's ceiling to `bytes` (plus the sanitizer
    /// allowance), as `Launch::memoryCeiling` would have set it: a process
    /// started ahead of need is given the ceiling of the extension it then
    /// runs. False when the process runs under no ceiling or it cannot be moved.
    bool setMemoryCeiling(std::size_t bytes);

private:
    ChildProcess() = default;
    void finish(int waitStatus, std::size_t maxResident);

    pid_t pid_ = -1;
    int pidDescriptor_ = -1;
    Ceiling ceiling_ = Ceiling::None;
    std::size_t memoryCeiling_ = 0;
    std::string group_;
    std::optional<Exit> exit_;
};

} // namespace lumora::platform::host
