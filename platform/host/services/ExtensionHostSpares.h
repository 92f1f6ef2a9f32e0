#pragma once

#include "platform/host/device/ChildProcess.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lumora::platform::host {

/// Extension host processes started ahead of need, as a device keeps a
/// process warm for the next extension it launches. Starting the program,
/// moving it into a memory control group of its own (which alone costs the
/// kernel over ten milliseconds with the v1 controller) and loading its
/// libraries takes tens of milliseconds that an extension's first request
/// then does not wait for.
///
/// A spare runs the extension host program without an extension: it says
/// it is ready and waits for the bundle it is given. One spare is kept per
/// program; `take` hands it over and starts the next one on a thread of its
/// own. Spares run under the upload extension's ceiling until they are
/// taken and given the ceiling of their extension. Those still waiting when
/// the process exits are ended then.
class ExtensionHostSpares {
public:
    /// A started spare: its process and the device's end of its socket.
    struct Spare {
        std::unique_ptr<ChildProcess> process;
        int socket = -1;
    };

    /// The device's spares (never destroyed: the threads that start them may outlive `main`).
    static ExtensionHostSpares& shared();

    /// Starts a spare of `program` on a thread of its own, unless one is
    /// waiting or being started.
    void prepare(const std::string& program);
    /// The spare of `program` if one has started and still runs, and starts
    /// the next; nullopt otherwise.
    std::optional<Spare> take(const std::string& program);
    /// A process of `program` for an extension under `memoryCeiling`, waiting
    /// for its bundle: the spare when `takeSpare` and one waits (given that
    /// ceiling; the next spare is then started), else one started now.
    /// nullopt (and `failure` says why) when none could be started.
    std::optional<Spare> launch(
        const std::string& program, std::size_t memoryCeiling, bool takeSpare, std::string* failure);
    /// Waits, at most `timeout`, until a spare of `program` has started and
    /// said it is ready. False on timeout.
    [[nodiscard]] bool waitUntilReady(const std::string& program, std::chrono::milliseconds timeout);
    /// Ends every waiting spare and starts no more; those being started end
    /// once they have. The process calls it as it exits.
    void clear();

private:
    struct Entry {
        std::optional<Spare> spare;
        bool starting = false;
    };

    ExtensionHostSpares() = default;
    void start(const std::string& program);
    /// Starts `program` without a bundle under `memoryCeiling`.
    static std::optional<Spare> startProgram(
        const std::string& program, std::size_t memoryCeiling, std::string* failure);
    static void end(Spare spare);

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Entry, std::less<>> entries_;
    bool closed_ = false;
};

} // namespace lumora::platform::host
