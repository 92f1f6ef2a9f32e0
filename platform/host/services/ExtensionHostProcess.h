#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/host/device/ChildProcess.h"
#include "platform/host/transport/Message.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumora::platform::host {

class SharedPayloadRegion;
namespace transport {
class SocketConnection;
} // namespace transport

/// One extension run in a process of its own: the device's extension host
/// program (`lumora-extension-host`) with the extension's bundle, under the
/// memory ceiling of the extension's kind, started on the first request and
/// again after the process ended.
///
/// `perform` hands it one request and waits for the outcome. A request that
/// goes unanswered past the kind's deadline (the watchdog) ends the process;
/// so does anything else that keeps a request from ending: the process
/// crashing, being killed, crossing its ceiling, or answering with something
/// malformed. The request then fails with a log line saying why. When the
/// process ends, a log line gives its peak memory against its ceiling
/// (`lastExit` keeps it).
///
/// Payload bytes go through a block of shared memory handed to the process
/// once (`SharedPayloadRegion`); files go as open file descriptors, shown to
/// the extension in a folder the device removes when the process ends.
///
/// A process is started ahead of need (`ExtensionHostSpares`) when the
/// object is made, and again each time one is taken, so that a launch
/// finds the program running and only hands it the bundle.
class ExtensionHostProcess {
public:
    /// The memory ceiling and request deadline of an upload extension.
    static constexpr std::size_t UploadMemoryCeiling = std::size_t { 50 } << 20U;
    static constexpr std::chrono::milliseconds UploadRequestDeadline { 5000 };
    /// Bytes of the shared block for payloads.
    static constexpr std::size_t SharedMemorySize = std::size_t { 8 } << 20U;

    struct Settings {
        /// The extension's bundle folder (a host path).
        std::string bundlePath;
        /// The memory ceiling in bytes.
        std::size_t memoryCeiling = UploadMemoryCeiling;
        /// How long one request may go unanswered.
        std::chrono::milliseconds requestDeadline = UploadRequestDeadline;
        /// The program started; by default the one the build made.
        std::string program;
        /// Whether the device keeps a process of the program started ahead
        /// of need for it (`ExtensionHostSpares`); when not, every launch
        /// starts the program.
        bool startsAhead = true;
    };

    /// A file handed over with a request: where the extension finds it (a
    /// device path) and the file (a host path) opened for it to read.
    struct HandedFile {
        std::string devicePath;
        std::string hostPath;
    };

    /// What one request came to, for whoever watches the extension's work.
    struct RequestReport {
        /// From handing the request over to its outcome or failure (wall clock).
        std::chrono::nanoseconds latency {};
        /// How it ended; nullopt when it did not (`failure` says why).
        std::optional<ExtensionContext::Outcome> outcome;
        std::string failure;
    };
    /// Hears each request and what it came to, on the thread that performed it.
    using RequestObserver = std::function<void(const ExtensionItems& items, const RequestReport& report)>;

    /// `name` names the extension in log lines.
    ExtensionHostProcess(std::string name, Settings settings);
    ExtensionHostProcess(const ExtensionHostProcess&) = delete;
    ExtensionHostProcess& operator=(const ExtensionHostProcess&) = delete;
    ExtensionHostProcess(ExtensionHostProcess&&) = delete;
    ExtensionHostProcess& operator=(ExtensionHostProcess&&) = delete;
    ~ExtensionHostProcess();

    /// Sends one request with `items` and `files` and waits for how it ended;
    /// nullopt (and `failure` says why) when it did not end, in which case
    /// the process has ended too. A process that ended since the last request
    /// fails this one too; the request after starts a new process. One
    /// request at a time.
    std::optional<ExtensionContext::Outcome> perform(
        const ExtensionItems& items, const std::vector<HandedFile>& files = {}, std::string* failure = nullptr);
    /// Starts the process now unless it runs; false when it cannot start.
    bool start(std::string* failure = nullptr);

    void setMemoryCeiling(std::size_t bytes);
    /// The program to start from the next launch on.
    void setProgram(std::string program);
    /// Sets who hears each request once it has ended (null: nobody).
    void setRequestObserver(RequestObserver observer);
    void setRequestDeadline(std::chrono::milliseconds deadline);

    /// The program it starts.
    [[nodiscard]] std::string program() const;
    /// The running process's id, if one runs.
    [[nodiscard]] std::optional<pid_t> pid() const;
    /// The running process's own memory now (`ChildProcess::currentResidentMemory`); 0 when none runs.
    [[nodiscard]] std::size_t residentMemory() const;
    /// Sends `signal` to the running process; false when none runs.
    bool signal(int signal) const;
    /// How the last process ended, once one has.
    [[nodiscard]] std::optional<ChildProcess::Exit> lastExit() const;
    /// How many processes have been started.
    [[nodiscard]] std::size_t launches() const;
    /// Ends the running process (the next request starts another).
    void stop();

private:
    std::optional<ExtensionContext::Outcome> performRequest(
        const ExtensionItems& items, const std::vector<HandedFile>& files, std::string& why);
    bool startLocked(std::string* failure);
    /// Ends the process (killing it when `kill`) and notes how it ended.
    void endLocked(std::unique_lock<std::mutex>& lock, bool kill, const std::string& why);
    void received(std::uint64_t generation, transport::Message message);
    void closed(std::uint64_t generation, const std::string& reason);

    const std::string name_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Settings settings_;
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<transport::SocketConnection> connection_;
    std::unique_ptr<SharedPayloadRegion> region_;
    /// The folder the running process places handed-over files in.
    std::string filesFolder_;
    /// Tells one process's connection from the next one's.
    std::uint64_t generation_ = 0;
    bool connectionClosed_ = false;
    /// The latest connection whose end its thread has reported.
    std::uint64_t lastClosedGeneration_ = 0;
    std::string closeReason_;
    std::uint64_t nextRequest_ = 0;
    std::uint64_t awaited_ = 0;
    std::optional<transport::Message> reply_;
    /// Set once the awaited reply is in or the connection ended, for a
    /// sender that looks before it sleeps.
    std::atomic<bool> settled_ { false };
    std::optional<ChildProcess::Exit> lastExit_;
    std::size_t launches_ = 0;
    RequestObserver observer_;
};

} // namespace lumora::platform::host
