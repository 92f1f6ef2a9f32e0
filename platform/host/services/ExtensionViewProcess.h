#pragma once

#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/host/device/ChildProcess.h"
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/transport/Message.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

class ExtensionRelay;
namespace transport {
class SocketConnection;
} // namespace transport

/// One request of an extension that shows a view controller (a broadcast
/// setup extension, the video editor), run in a process of its own: the
/// device's extension host program with the extension's bundle, under the
/// memory ceiling of its kind, for as long as the request lasts.
///
/// `begin` starts the process and the extension's side of the request and
/// waits, at most the kind's start deadline (the watchdog), for the
/// extension to start. From then on the request's two connections cross
/// between the processes (`ExtensionRelay`), and the extension's completion
/// or cancellation comes back as the request's outcome. When the process
/// ends before `stop` (a crash, a kill, its ceiling) or sends something
/// malformed (it is then killed), the request fails: a log line says why,
/// another gives the process's peak memory against its ceiling.
class ExtensionViewProcess final : public std::enable_shared_from_this<ExtensionViewProcess> {
public:
    /// The memory ceiling and start deadline of a setup extension and of a video editor.
    static constexpr std::size_t ViewMemoryCeiling = std::size_t { 120 } << 20U;
    static constexpr std::chrono::milliseconds StartDeadline { 5000 };

    struct Settings {
        /// The extension's bundle folder (a host path).
        std::string bundlePath;
        std::size_t memoryCeiling = ViewMemoryCeiling;
        /// How long the extension may take to start its side of the request.
        std::chrono::milliseconds startDeadline = StartDeadline;
        /// The program started; by default the one the build made.
        std::string program;
    };

    /// What the request starts with.
    struct Start {
        std::string requestIdentifier;
        ExtensionItems items;
        /// Files handed over, each a device path the extension finds it at
        /// and the host path of the file opened for it.
        std::vector<std::pair<std::string, std::string>> files;
        /// What the host's side of the request offers.
        ExtensionProtocol::Offer hostOffer;
        /// The ends, paired with the host's, that stand for the extension's side.
        std::shared_ptr<ExtensionConnection> auxiliary;
        std::shared_ptr<ExtensionConnection> view;
        /// Hears each picture (PNG) of what the extension drew; on a platform thread.
        std::function<void(const Data& picture)> drew;
    };
    /// How the extension ended the request; on a platform thread.
    using Ended = std::function<void(const ExtensionContext::Outcome& outcome)>;
    /// The request failed, and why; on a platform thread, once.
    using Failed = std::function<void(const std::string& why)>;

    /// `name` names the extension in log lines.
    /// Has the device start a process of `program` (empty: the one the build
    /// made) ahead of need (`ExtensionHostSpares`), which the next request's
    /// process then is; each request taken starts the next spare.
    static void startAhead(const std::string& program);

    ExtensionViewProcess(std::string name, Settings settings);
    ExtensionViewProcess(const ExtensionViewProcess&) = delete;
    ExtensionViewProcess& operator=(const ExtensionViewProcess&) = delete;
    ExtensionViewProcess(ExtensionViewProcess&&) = delete;
    ExtensionViewProcess& operator=(ExtensionViewProcess&&) = delete;
    ~ExtensionViewProcess();

    /// Starts the process and the request; true once the extension has
    /// started its side. Otherwise (`failure` says why) the process has ended.
    /// Once only.
    bool begin(const Start& start, Ended ended, Failed failed, std::string* failure = nullptr);
    /// Ends the request's process (the request ended on the host's side); no failure is reported.
    void stop();

    /// The running process's id, if one runs.
    [[nodiscard]] std::optional<pid_t> pid() const;
    /// Sends `signal` to the running process; false when none runs.
    bool signal(int signal) const;
    /// How the process ended, once it has.
    [[nodiscard]] std::optional<ChildProcess::Exit> lastExit() const;

private:
    void received(transport::Message message);
    void closed(const std::string& reason);
    /// Something malformed arrived: the process is killed and the request fails.
    void refuseLocked(const std::string& why);
    /// The process ended during the request: reaps it and reports the failure, on another thread.
    void reportFailureLocked();
    /// Ends the process (killing it when `kill`) and notes how it ended.
    void endLocked(std::unique_lock<std::mutex>& lock, bool kill, const std::string& why);

    const std::string name_;
    const Settings settings_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<transport::SocketConnection> connection_;
    std::shared_ptr<ExtensionRelay> relay_;
    Ended ended_;
    Failed failed_;
    std::function<void(const Data& picture)> drew_;
    std::optional<transport::Message> beginReply_;
    bool started_ = false;
    bool stopping_ = false;
    bool connectionClosed_ = false;
    bool closeReported_ = true;
    bool failureReported_ = false;
    std::string closeReason_;
    std::string refusal_;
    std::optional<ExtensionContext::Outcome> heldOutcome_;
    std::optional<ChildProcess::Exit> lastExit_;
};

} // namespace lumora::platform::host
