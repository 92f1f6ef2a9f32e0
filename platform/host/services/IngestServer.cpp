#include "platform/host/services/IngestServer.h"

#include "platform/foundation/Log.h"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace lumora::platform::host {

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(10);
constexpr auto kStopTimeout = std::chrono::seconds(3);

sockaddr_in loopbackAddress(int port)
{
    sockaddr_in address {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A loopback port nothing listens on right now (0 when none can be had). The
// port is free again when nginx binds it; a process that takes it in between
// makes the start fail, which the caller sees.
int freeLoopbackPort()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return 0;
    }
    auto address = loopbackAddress(0);
    socklen_t length = sizeof address;
    int port = 0;
    // NOLINTBEGIN(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface takes generic addresses
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0
        && ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        port = ntohs(address.sin_port);
    }
    // NOLINTEND(cppcoreguidelines-pro-type-reinterpret-cast)
    ::close(socket);
    return port;
}

bool acceptsConnections(int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return false;
    }
    const auto address = loopbackAddress(port);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the socket interface takes generic addresses
    const bool accepted = ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return accepted;
}

std::string configuration(const std::filesystem::path& folder, int port, int statisticsPort)
{
    const auto in = [&folder](const char* name) { return (folder / name).string(); };
    return fmt::format(R"(# Written by the ingest server's launcher; rewritten at every start.
daemon off;
master_process on;
worker_processes 1;
pid {pid};
error_log {log} warn;
load_module {module};

events {{
    worker_connections 128;
}}

rtmp {{
    server {{
        listen 127.0.0.1:{port};
        chunk_size 4096;
        application {application} {{
            live on;
            record off;
            # A player that joins starts on a key frame.
            wait_key on;
            # A publisher that sends nothing for this long is let go.
            drop_idle_publisher 30s;
        }}
    }}
}}

http {{
    access_log off;
    client_body_temp_path {body};
    proxy_temp_path {proxy};
    fastcgi_temp_path {fastcgi};
    uwsgi_temp_path {uwsgi};
    scgi_temp_path {scgi};
    server {{
        listen 127.0.0.1:{statisticsPort};
        location /stat {{
            rtmp_stat all;
        }}
    }}
}}
)",
        fmt::arg("pid", in("nginx.pid")), fmt::arg("log", in("error.log")),
        fmt::arg("module", IngestServer::DefaultModule), fmt::arg("port", port),
        fmt::arg("application", IngestServer::ApplicationName), fmt::arg("body", in("body")),
        fmt::arg("proxy", in("proxy")), fmt::arg("fastcgi", in("fastcgi")), fmt::arg("uwsgi", in("uwsgi")),
        fmt::arg("scgi", in("scgi")), fmt::arg("statisticsPort", statisticsPort));
}

// Runs nginx in a process group of its own, so that its workers can be ended
// with it, with no terminal of ours and told to end when this process does.
pid_t spawnServer(const std::filesystem::path& folder, const std::filesystem::path& conf)
{
    std::vector<std::string> arguments { std::string(IngestServer::DefaultProgram), "-e",
        (folder / "error.log").string(), "-p", folder.string(), "-c", conf.string() };
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        // Only calls that are safe between fork and exec from here on.
        ::setpgid(0, 0);
        ::prctl(PR_SET_PDEATHSIG, SIGTERM); // NOLINT(cppcoreguidelines-pro-type-vararg): the system's interface
        if (::getppid() != parent) {
            ::_exit(1);
        }
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg, hicpp-signed-bitwise): the system's interface
        const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        if (nothing >= 0) {
            ::dup2(nothing, STDIN_FILENO);
            ::dup2(nothing, STDOUT_FILENO);
            ::dup2(nothing, STDERR_FILENO);
        }
        ::execv(argv.front(), argv.data());
        ::_exit(127);
    }
    if (pid > 0) {
        // Also set here, so that a stop right after the start finds the group.
        ::setpgid(pid, pid);
    }
    return pid > 0 ? pid : 0;
}

// Reaps `pid` if it has ended; true when it has.
bool reaped(pid_t pid)
{
    int status = 0;
    const pid_t result = ::waitpid(pid, &status, WNOHANG);
    return result == pid || (result < 0 && errno == ECHILD);
}

} // namespace

std::unique_ptr<IngestServer> IngestServer::start(const std::string& folder, std::chrono::milliseconds timeout)
{
    std::error_code error;
    if (!std::filesystem::exists(DefaultProgram, error) || !std::filesystem::exists(DefaultModule, error)) {
        Log::error("Ingest server: nginx or its RTMP module is not installed (scripts/install-deps.sh)");
        return nullptr;
    }
    const std::filesystem::path root(folder);
    for (const char* sub : { "body", "proxy", "fastcgi", "uwsgi", "scgi" }) {
        std::filesystem::create_directories(root / sub, error);
    }
    const int port = freeLoopbackPort();
    const int statisticsPort = freeLoopbackPort();
    if (port == 0 || statisticsPort == 0 || port == statisticsPort) {
        Log::error("Ingest server: no free loopback port");
        return nullptr;
    }
    const auto conf = root / "nginx.conf";
    {
        std::ofstream file(conf, std::ios::trunc);
        file << configuration(root, port, statisticsPort);
        if (!file) {
            Log::error("Ingest server: cannot write %s", conf.string());
            return nullptr;
        }
    }
    const pid_t pid = spawnServer(root, conf);
    if (pid == 0) {
        Log::error("Ingest server: cannot start %s", std::string(DefaultProgram));
        return nullptr;
    }
    std::unique_ptr<IngestServer> server(new IngestServer(folder, pid, port, statisticsPort));
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!acceptsConnections(port) || !acceptsConnections(statisticsPort)) {
        if (!server->isRunning() || std::chrono::steady_clock::now() >= deadline) {
            Log::error("Ingest server: nginx did not start listening on port %i (see %s)", port,
                (root / "error.log").string());
            return nullptr;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
    return server;
}

IngestServer::IngestServer(std::string folder, pid_t pid, int port, int statisticsPort)
    : folder_(std::move(folder)), pid_(pid), port_(port), statisticsPort_(statisticsPort)
{ }

IngestServer::~IngestServer()
{
    stop();
}

void IngestServer::stop()
{
    if (pid_ == 0) {
        return;
    }
    // TERM is nginx's fast shutdown: the master ends its workers and then itself.
    ::kill(-pid_, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + kStopTimeout;
    bool ended = reaped(pid_);
    while (!ended && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(kPollInterval);
        ended = reaped(pid_);
    }
    if (!ended) {
        Log::error("Ingest server: nginx did not stop; killing it");
        ::kill(-pid_, SIGKILL);
        int status = 0;
        ::waitpid(pid_, &status, 0);
    }
    pid_ = 0;
}

bool IngestServer::isRunning()
{
    if (pid_ == 0) {
        return false;
    }
    if (reaped(pid_)) {
        // The master is gone; its workers go with its group.
        ::kill(-pid_, SIGKILL);
        pid_ = 0;
        return false;
    }
    return true;
}

std::string IngestServer::streamURL(std::string_view key) const
{
    return fmt::format("rtmp://127.0.0.1:{}/{}/{}", port_, ApplicationName, key);
}

std::string IngestServer::statisticsURL() const
{
    return fmt::format("http://127.0.0.1:{}/stat", statisticsPort_);
}

} // namespace lumora::platform::host
