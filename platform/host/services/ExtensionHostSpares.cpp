#include "platform/host/services/ExtensionHostSpares.h"

#include "platform/foundation/Log.h"
#include "platform/host/services/ExtensionHostProcess.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

// The descriptor number the program finds its socket under.
constexpr int kChildSocket = 3;

} // namespace

ExtensionHostSpares& ExtensionHostSpares::shared()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* const spares = new ExtensionHostSpares();
    static const bool endedAtExit = [] {
        // Spares are processes of the device's, made for this application: they end with it.
        return std::atexit([] { shared().clear(); }) == 0;
    }();
    (void)endedAtExit;
    return *spares;
}

void ExtensionHostSpares::prepare(const std::string& program)
{
    {
        std::lock_guard lock(mutex_);
        auto& entry = entries_[program];
        if (closed_ || entry.spare || entry.starting) {
            return;
        }
        entry.starting = true;
    }
    std::thread([this, program] { start(program); }).detach();
}

std::optional<ExtensionHostSpares::Spare> ExtensionHostSpares::startProgram(
    const std::string& program, std::size_t memoryCeiling, std::string* failure)
{
    std::array<int, 2> sockets {};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        *failure = "no socket to it";
        return std::nullopt;
    }
    ChildProcess::Launch launch;
    launch.program = program;
    launch.arguments = { "--socket", std::to_string(kChildSocket) };
    launch.descriptors = { { sockets[1], kChildSocket } };
    launch.memoryCeiling = memoryCeiling;
    auto process = ChildProcess::launch(launch, failure);
    ::close(sockets[1]);
    if (!process) {
        ::close(sockets[0]);
        return std::nullopt;
    }
    return Spare { std::move(process), sockets[0] };
}

std::optional<ExtensionHostSpares::Spare> ExtensionHostSpares::launch(
    const std::string& program, std::size_t memoryCeiling, bool takeSpare, std::string* failure)
{
    auto spare = takeSpare ? take(program) : std::nullopt;
    if (spare && spare->process->ceiling() != ChildProcess::Ceiling::None
        && !spare->process->setMemoryCeiling(memoryCeiling)) {
        Log::error("Extension host: a spare of %s could not be given its ceiling; starting the program anew", program);
        end(std::move(*spare));
        spare.reset();
    }
    return spare ? std::move(spare) : startProgram(program, memoryCeiling, failure);
}

void ExtensionHostSpares::start(const std::string& program)
{
    std::string failure;
    auto started = startProgram(program, ExtensionHostProcess::UploadMemoryCeiling, &failure);
    if (!started) {
        Log::error("Extension host: could not start a spare of %s: %s", program, failure);
    }
    std::unique_lock lock(mutex_);
    auto& entry = entries_[program];
    entry.starting = false;
    if (started && !closed_) {
        entry.spare = std::exchange(started, std::nullopt);
    }
    changed_.notify_all();
    lock.unlock();
    if (started) {
        end(std::move(*started));
    }
}

std::optional<ExtensionHostSpares::Spare> ExtensionHostSpares::take(const std::string& program)
{
    std::optional<Spare> spare;
    {
        std::lock_guard lock(mutex_);
        const auto found = entries_.find(program);
        if (found == entries_.end() || !found->second.spare) {
            return std::nullopt;
        }
        spare = std::exchange(found->second.spare, std::nullopt);
    }
    prepare(program);
    // One that ended while it waited (killed from outside, say) is no use.
    if (spare->process->waitForExit(std::chrono::milliseconds(0))) {
        end(std::move(*spare));
        return std::nullopt;
    }
    return spare;
}

bool ExtensionHostSpares::waitUntilReady(const std::string& program, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::unique_lock lock(mutex_);
    const auto started = [this, &program] {
        const auto found = entries_.find(program);
        return found != entries_.end() && (found->second.spare || !found->second.starting);
    };
    if (!changed_.wait_until(lock, deadline, started)) {
        return false;
    }
    const auto& entry = entries_.find(program)->second;
    if (!entry.spare) {
        return false;
    }
    // The spare's first words are that it is ready: its socket becomes
    // readable. Watched through a copy, so that it may be taken meanwhile.
    const int watched = ::fcntl(entry.spare->socket, F_DUPFD_CLOEXEC, 0); // NOLINT(cppcoreguidelines-pro-type-vararg)
    lock.unlock();
    if (watched < 0) {
        return false;
    }
    struct pollfd said {
        watched, POLLIN, 0
    };
    const auto left
        = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    const bool ready = ::poll(&said, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) == 1;
    ::close(watched);
    return ready;
}

void ExtensionHostSpares::clear()
{
    std::vector<Spare> ending;
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        for (auto& [program, entry] : entries_) {
            if (entry.spare) {
                ending.push_back(std::move(*entry.spare));
                entry.spare.reset();
            }
        }
    }
    for (auto& spare : ending) {
        end(std::move(spare));
    }
}

void ExtensionHostSpares::end(Spare spare)
{
    // Destroying the process kills and reaps it and removes its group; its
    // socket is closed after, so that it never hears its connection end.
    spare.process.reset();
    ::close(spare.socket);
}

} // namespace lumora::platform::host
