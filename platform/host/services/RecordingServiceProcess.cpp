#include "platform/host/services/RecordingServiceProcess.h"

#include "platform/host/system/TemporaryFolder.h"

#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// NOLINTNEXTLINE(readability-redundant-declaration,cppcoreguidelines-avoid-non-const-global-variables)
extern char** environ;

namespace lumora::platform::host {

namespace {

#ifndef LUMORA_RECORDING_SERVICE_PROGRAM
#define LUMORA_RECORDING_SERVICE_PROGRAM "lumora-recording-service"
#endif

// The descriptors the program finds its socket and its stall notice on.
constexpr int kSocketDescriptor = 3;
constexpr int kStallDescriptor = 4;
constexpr int kCaptureDescriptor = 5;
constexpr std::string_view kFrameworkDevicePath = "/System/Library/Frameworks/Lumora.framework";

// The host folder behind the process's movie folder.
const std::string& moviesFolder()
{
    return TemporaryFolder::named("lumora-recording-service-process");
}

// A copy of `descriptor` above the descriptors the program expects, so that
// placing it there is always a real copy (one that clears close-on-exec).
int above(int descriptor)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): fcntl is variadic.
    const int copy = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 10);
    ::close(descriptor);
    return copy;
}

} // namespace

int RecordingServiceProcess::connect()
{
    std::lock_guard lock(mutex_);
    killLocked();
    const auto program = program_.empty() ? std::string(LUMORA_RECORDING_SERVICE_PROGRAM) : program_;
    std::array<int, 2> sockets { -1, -1 };
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        Log::error("Recording service: no socket pair");
        return -1;
    }
    const int childSocket = above(sockets[1]);
    std::array<int, 2> captureSockets { -1, -1 };
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, captureSockets.data()) != 0) {
        Log::error("Recording service: no socket pair");
        ::close(sockets[0]);
        ::close(childSocket);
        return -1;
    }
    const int childCapture = above(captureSockets[1]);
    std::array<int, 2> stall { -1, -1 };
    if (!stallSelector_.empty() && ::pipe2(stall.data(), O_CLOEXEC) == 0) {
        stall[1] = above(stall[1]);
    }

    auto& device = SimulatedDevice::shared();
    std::error_code ignored;
    std::filesystem::create_directories(moviesFolder(), ignored);
    device.mountDirectory(std::string(MoviesDirectory), moviesFolder());
    const auto movie = device.resolvePath(std::string(kFrameworkDevicePath) + "/srecorder.mp4");

    std::vector<std::string> arguments { program, "--socket", std::to_string(kSocketDescriptor), "--capture-socket",
        std::to_string(kCaptureDescriptor), "--movie", movie, "--movies-folder", moviesFolder(),
        "--movies-device-folder", std::string(MoviesDirectory) };
    if (holdFrameSlots_) {
        arguments.insert(arguments.end(), { "--hold-frame-slots", "1" });
    }
    if (diskQuota_) {
        arguments.insert(arguments.end(), { "--quota", std::to_string(*diskQuota_) });
    }
    posix_spawn_file_actions_t actions {};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, childSocket, kSocketDescriptor);
    posix_spawn_file_actions_adddup2(&actions, childCapture, kCaptureDescriptor);
    if (stall[1] >= 0) {
        posix_spawn_file_actions_adddup2(&actions, stall[1], kStallDescriptor);
        arguments.insert(arguments.end(),
            { "--stall-before-reply", stallSelector_, "--stall-fd", std::to_string(kStallDescriptor) });
    }
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (auto& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    pid_t pid = -1;
    const int spawned = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(childSocket);
    ::close(childCapture);
    if (stall[1] >= 0) {
        ::close(stall[1]);
    }
    if (spawned != 0) {
        Log::error("Recording service: %s could not be started", program);
        ::close(sockets[0]);
        ::close(captureSockets[0]);
        if (stall[0] >= 0) {
            ::close(stall[0]);
        }
        return -1;
    }
    pid_ = pid;
    stallPipe_ = stall[0];
    capture_ = RecordingServiceCapture::open(captureSockets[0], { .framesPerSecond = framesPerSecond_ });
    ++launches_;
    return sockets[0];
}

void RecordingServiceProcess::setProgram(std::string path)
{
    std::lock_guard lock(mutex_);
    program_ = std::move(path);
}

void RecordingServiceProcess::setDiskQuota(std::optional<std::uint64_t> bytes)
{
    std::lock_guard lock(mutex_);
    diskQuota_ = bytes;
}

void RecordingServiceProcess::setCaptureFramesPerSecond(int framesPerSecond)
{
    std::lock_guard lock(mutex_);
    framesPerSecond_ = framesPerSecond;
}

void RecordingServiceProcess::holdFrameSlots(bool hold)
{
    std::lock_guard lock(mutex_);
    holdFrameSlots_ = hold;
}

std::shared_ptr<RecordingServiceCapture> RecordingServiceProcess::capture() const
{
    std::lock_guard lock(mutex_);
    return capture_;
}

void RecordingServiceProcess::stallBeforeReplyingTo(std::string selector)
{
    std::lock_guard lock(mutex_);
    stallSelector_ = std::move(selector);
}

bool RecordingServiceProcess::waitUntilStalled(std::chrono::milliseconds timeout)
{
    int pipe = -1;
    {
        std::lock_guard lock(mutex_);
        pipe = stallPipe_;
    }
    if (pipe < 0) {
        return false;
    }
    pollfd polled { pipe, POLLIN, 0 };
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (true) {
        const auto left
            = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return false;
        }
        const int ready = ::poll(&polled, 1, static_cast<int>(left.count()));
        if (ready > 0) {
            char notice = 0;
            return ::read(pipe, &notice, 1) == 1;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

bool RecordingServiceProcess::kill()
{
    std::lock_guard lock(mutex_);
    return killLocked();
}

bool RecordingServiceProcess::killLocked()
{
    bool killed = false;
    if (pid_ > 0) {
        ::kill(pid_, SIGKILL);
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) { }
        // A process that had already ended on its own was not running.
        killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        pid_ = -1;
    }
    if (stallPipe_ >= 0) {
        ::close(stallPipe_);
        stallPipe_ = -1;
    }
    return killed;
}

std::optional<pid_t> RecordingServiceProcess::pid() const
{
    std::lock_guard lock(mutex_);
    return pid_ > 0 ? std::optional(pid_) : std::nullopt;
}

std::size_t RecordingServiceProcess::launches() const
{
    std::lock_guard lock(mutex_);
    return launches_;
}

void RecordingServiceProcess::reset()
{
    std::lock_guard lock(mutex_);
    killLocked();
    program_.clear();
    stallSelector_.clear();
    diskQuota_.reset();
    framesPerSecond_ = ScreenCapture::FramesPerSecond;
    holdFrameSlots_ = false;
    if (capture_) {
        capture_->close();
        capture_.reset();
    }
    launches_ = 0;
}

} // namespace lumora::platform::host
