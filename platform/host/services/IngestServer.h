#pragma once

#include "platform/foundation/Noncopyable.h"

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace lumora::platform::host {

/// A live-streaming ingest server on the development machine: nginx with its
/// RTMP module, run as an ordinary child process of this one. Its
/// configuration, process id file, logs and temporary folders are written
/// into a folder the caller names; it listens on free loopback ports
/// (127.0.0.1 only) and touches no system service.
///
/// Broadcasters publish to `streamURL(key)` and players play the same URL;
/// `statisticsURL()` answers an XML page of the streams and their clients.
///
/// Stopping (or destroying) the server ends nginx and its worker processes,
/// which run in a process group of their own, and waits for them, bounded.
/// Should this process end first, even killed, the server is told to end
/// too: it is tied to the thread that started it, so start it on a thread
/// that outlives it (the main thread).
class IngestServer : private Noncopyable {
public:
    /// The RTMP application streams are published to.
    static constexpr std::string_view ApplicationName = "live";
    /// Where Debian installs nginx and its RTMP module.
    static constexpr std::string_view DefaultProgram = "/usr/sbin/nginx";
    static constexpr std::string_view DefaultModule = "/usr/lib/nginx/modules/ngx_rtmp_module.so";

    /// Starts a server whose files go into `folder` (made if missing) and
    /// waits, at most `timeout`, until it accepts connections. Null, with a
    /// log line naming the reason, when it cannot.
    static std::unique_ptr<IngestServer> start(
        const std::string& folder, std::chrono::milliseconds timeout = std::chrono::seconds(5));
    ~IngestServer();
    IngestServer(IngestServer&&) = delete;
    IngestServer& operator=(IngestServer&&) = delete;

    /// Ends the server and its workers; a second call does nothing.
    void stop();
    /// Whether the server process is still alive.
    [[nodiscard]] bool isRunning();

    /// The loopback port of the RTMP listener.
    [[nodiscard]] int port() const { return port_; }
    /// The URL a broadcaster publishes stream `key` to and a player plays it from.
    [[nodiscard]] std::string streamURL(std::string_view key) const;
    /// The URL of the server's statistics page (XML).
    [[nodiscard]] std::string statisticsURL() const;
    /// The folder holding the configuration and the server's log.
    [[nodiscard]] const std::string& folder() const { return folder_; }

private:
    IngestServer(std::string folder, pid_t pid, int port, int statisticsPort);

    std::string folder_;
    pid_t pid_;
    int port_;
    int statisticsPort_;
};

} // namespace lumora::platform::host
