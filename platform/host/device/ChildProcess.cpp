#include "platform/host/device/ChildProcess.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <mutex>
#include <poll.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitizerBuild = true;
// What a sanitizer's own bookkeeping adds to a process's memory (shadow
// pages, quarantined blocks, a binary several times larger), granted on top
// of the ceiling so that a sanitizer build lives under the same ceilings.
constexpr std::size_t kSanitizerAllowance = std::size_t { 256 } << 20U;
#else
constexpr bool kSanitizerBuild = false;
constexpr std::size_t kSanitizerAllowance = 0;
#endif

std::string readFile(const std::string& path)
{
    std::ifstream file(path);
    std::stringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

bool writeFile(const std::string& path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
    file.flush();
    return static_cast<bool>(file);
}

/// The number after `key` in a file of "key value" lines; 0 when absent.
std::size_t keyedNumber(const std::string& contents, std::string_view key)
{
    std::istringstream lines(contents);
    std::string name;
    std::size_t value = 0;
    while (lines >> name >> value) {
        if (name == key) {
            return value;
        }
    }
    return 0;
}

std::size_t number(const std::string& contents)
{
    try {
        return static_cast<std::size_t>(std::stoull(contents));
    } catch (...) {
        return 0;
    }
}

/// Where this process's memory control groups are: the kind and the folder
/// of this process's own group, under which a child group can be made.
struct GroupHome {
    ChildProcess::Ceiling kind = ChildProcess::Ceiling::None;
    std::string folder;
};

GroupHome findGroupHome()
{
    std::string unifiedMount;
    std::string memoryMount;
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        // "id parent major:minor root mountpoint options ... - type source superoptions"
        std::istringstream fields(line);
        std::string skip;
        std::string mountPoint;
        fields >> skip >> skip >> skip >> skip >> mountPoint;
        const auto separator = line.find(" - ");
        if (separator == std::string::npos) {
            continue;
        }
        std::istringstream tail(line.substr(separator + 3));
        std::string type;
        std::string source;
        std::string options;
        tail >> type >> source >> options;
        if (type == "cgroup2") {
            unifiedMount = mountPoint;
        } else if (type == "cgroup" && ("," + options + ",").find(",memory,") != std::string::npos) {
            memoryMount = mountPoint;
        }
    }
    std::string unifiedPath;
    std::string memoryPath;
    std::ifstream groups("/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);) {
        const auto first = line.find(':');
        const auto second = line.find(':', first + 1);
        if (first == std::string::npos || second == std::string::npos) {
            continue;
        }
        std::string controllers(",");
        controllers.append(line, first + 1, second - first - 1).push_back(',');
        const auto path = line.substr(second + 1);
        if (controllers == ",,") {
            unifiedPath = path;
        } else if (controllers.find(",memory,") != std::string::npos) {
            memoryPath = path;
        }
    }
    if (!unifiedMount.empty()) {
        const auto folder = unifiedMount + unifiedPath;
        if (readFile(folder + "/cgroup.subtree_control").find("memory") != std::string::npos) {
            return { ChildProcess::Ceiling::ControlGroupV2, folder };
        }
    }
    if (!memoryMount.empty() && ::access((memoryMount + memoryPath).c_str(), W_OK) == 0) {
        return { ChildProcess::Ceiling::ControlGroupV1, memoryMount + memoryPath };
    }
    return {};
}

// Never destroyed: a thread starting a process may still read it while the process exits.
const GroupHome& groupHome()
{
    static const auto* const home = new GroupHome(findGroupHome()); // NOLINT(cppcoreguidelines-owning-memory)
    return *home;
}

/// Removes the empty groups that processes which no longer run left behind
/// (one killed before it could remove the groups of its children).
void removeStaleGroups(const std::string& home)
{
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(home, error)) {
        const auto name = entry.path().filename().string();
        if (!name.starts_with("lumora-")) {
            continue;
        }
        const auto owner = std::strtol(name.c_str() + std::string_view("lumora-").size(), nullptr, 10);
        if (owner > 0 && owner != ::getpid() && ::kill(static_cast<pid_t>(owner), 0) != 0 && errno == ESRCH) {
            ::rmdir(entry.path().c_str());
        }
    }
}

/// Makes a group for one process with `ceiling` bytes; its folder, or empty.
std::string makeGroup(ChildProcess::Ceiling kind, const std::string& home, std::size_t ceiling)
{
    static std::once_flag swept;
    std::call_once(swept, [&home] { removeStaleGroups(home); });
    static std::atomic<std::uint64_t> counter { 0 };
    auto folder = fmt::format("{}/lumora-{}-{}", home, ::getpid(), counter.fetch_add(1));
    if (::mkdir(folder.c_str(), 0755) != 0) {
        return {};
    }
    const bool limited = kind == ChildProcess::Ceiling::ControlGroupV2
        ? writeFile(folder + "/memory.max", std::to_string(ceiling))
        : writeFile(folder + "/memory.limit_in_bytes", std::to_string(ceiling));
    if (!limited) {
        ::rmdir(folder.c_str());
        return {};
    }
    // No swap to escape into, where the machine has any.
    if (kind == ChildProcess::Ceiling::ControlGroupV2) {
        writeFile(folder + "/memory.swap.max", "0");
    } else {
        writeFile(folder + "/memory.memsw.limit_in_bytes", std::to_string(ceiling));
    }
    return folder;
}

void removeGroup(const std::string& folder)
{
    // A process the child left behind keeps the group alive: end it first.
    std::istringstream members(readFile(folder + "/cgroup.procs"));
    for (pid_t member = 0; members >> member;) {
        ::kill(member, SIGKILL);
    }
    for (int attempt = 0; attempt < 100 && ::rmdir(folder.c_str()) != 0 && errno == EBUSY; ++attempt) {
        std::this_thread::yield();
    }
}

} // namespace

std::string ChildProcess::Exit::description() const
{
    if (crossedCeiling) {
        return "crossed its memory ceiling";
    }
    if (signal) {
        return fmt::format("signal {}", *signal);
    }
    return fmt::format("exit status {}", status.value_or(-1));
}

std::string ChildProcess::megabytes(std::size_t bytes)
{
    return fmt::format("{:.1f} MB", static_cast<double>(bytes) / static_cast<double>(1U << 20U));
}

std::size_t ChildProcess::sanitizerAllowance()
{
    return kSanitizerAllowance;
}

std::unique_ptr<ChildProcess> ChildProcess::launch(const Launch& launch, std::string* failure)
{
    const auto fail = [failure](std::string why) -> std::unique_ptr<ChildProcess> {
        if (failure != nullptr) {
            *failure = std::move(why);
        }
        return nullptr;
    };
    std::unique_ptr<ChildProcess> child(new ChildProcess());
    std::string procs;
    struct rlimit dataLimit { };
    if (launch.memoryCeiling) {
        child->memoryCeiling_ = *launch.memoryCeiling + kSanitizerAllowance;
        const auto& home = groupHome();
        if (home.kind != Ceiling::None) {
            child->group_ = makeGroup(home.kind, home.folder, child->memoryCeiling_);
        }
        if (!child->group_.empty()) {
            child->ceiling_ = home.kind;
            procs = child->group_ + "/cgroup.procs";
        } else if (!kSanitizerBuild) {
            child->ceiling_ = Ceiling::ResourceLimit;
            dataLimit.rlim_cur = dataLimit.rlim_max = child->memoryCeiling_;
        }
    }

    // Everything the child needs is made before it exists: between fork and
    // exec it may only make calls that are safe in a copy of a threaded process.
    std::vector<std::string> words { launch.program };
    words.insert(words.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    std::array<int, 2> report {};
    if (::pipe2(report.data(), O_CLOEXEC) != 0) {
        return fail(fmt::format("no pipe: {}", std::system_category().message(errno)));
    }
    const bool limitData = child->ceiling_ == Ceiling::ResourceLimit;
    const char* procsPath = procs.empty() ? nullptr : procs.c_str();
    const auto descriptors = launch.descriptors;

    const pid_t pid = ::fork();
    if (pid == 0) {
        int problem = 0;
        if (procsPath != nullptr) {
            const int joined = ::open(procsPath, O_WRONLY | O_CLOEXEC); // NOLINT(cppcoreguidelines-pro-type-vararg)
            problem = joined < 0 || ::write(joined, "0", 1) != 1 ? errno : 0;
            if (joined >= 0) {
                ::close(joined);
            }
        }
        if (problem == 0 && limitData && ::setrlimit(RLIMIT_DATA, &dataLimit) != 0) {
            problem = errno;
        }
        // Out of the way first (a source may be another's target), then into place.
        constexpr int kParking = 512;
        for (std::size_t index = 0; problem == 0 && index < descriptors.size(); ++index) {
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg)
            if (::fcntl(descriptors[index].first, F_DUPFD_CLOEXEC, kParking + static_cast<int>(index)) < 0) {
                problem = errno;
            }
        }
        for (std::size_t index = 0; problem == 0 && index < descriptors.size(); ++index) {
            const int parked = kParking + static_cast<int>(index);
            if (::dup2(parked, descriptors[index].second) < 0) {
                problem = errno;
            }
        }
        if (problem == 0) {
            ::execve(argv[0], argv.data(), environ);
            problem = errno;
        }
        [[maybe_unused]] const auto told = ::write(report[1], &problem, sizeof problem);
        ::_exit(127);
    }
    ::close(report[1]);
    if (pid < 0) {
        ::close(report[0]);
        const auto why = fmt::format("fork failed: {}", std::system_category().message(errno));
        if (!child->group_.empty()) {
            removeGroup(child->group_);
        }
        return fail(why);
    }
    child->pid_ = pid;
    int problem = 0;
    ssize_t got = 0;
    do {
        got = ::read(report[0], &problem, sizeof problem);
    } while (got < 0 && errno == EINTR);
    ::close(report[0]);
    if (got > 0) {
        child->waitForExit(std::chrono::seconds(5));
        return fail(
            fmt::format("{} could not be started: {}", launch.program, std::system_category().message(problem)));
    }
    child->pidDescriptor_
        = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)); // NOLINT(cppcoreguidelines-pro-type-vararg)
    return child;
}

ChildProcess::~ChildProcess()
{
    if (!exit_ && pid_ > 0) {
        signal(SIGKILL);
        waitForExit(std::chrono::seconds(5));
    }
    if (pidDescriptor_ >= 0) {
        ::close(pidDescriptor_);
    }
    if (!group_.empty()) {
        removeGroup(group_);
    }
}

std::size_t ChildProcess::currentMemory() const
{
    if (exit_) {
        return 0;
    }
    if (ceiling_ == Ceiling::ControlGroupV2) {
        return number(readFile(group_ + "/memory.current"));
    }
    if (ceiling_ == Ceiling::ControlGroupV1) {
        return number(readFile(group_ + "/memory.usage_in_bytes"));
    }
    std::istringstream pages(readFile(fmt::format("/proc/{}/statm", pid_)));
    std::size_t size = 0;
    std::size_t resident = 0;
    pages >> size >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::size_t ChildProcess::currentResidentMemory() const
{
    if (exit_) {
        return 0;
    }
    if (ceiling_ == Ceiling::ControlGroupV2) {
        return keyedNumber(readFile(group_ + "/memory.stat"), "anon");
    }
    if (ceiling_ == Ceiling::ControlGroupV1) {
        return keyedNumber(readFile(group_ + "/memory.stat"), "total_rss");
    }
    // Without a group: the resident pages that are not a file's.
    std::istringstream pages(readFile(fmt::format("/proc/{}/statm", pid_)));
    std::size_t size = 0;
    std::size_t resident = 0;
    std::size_t shared = 0;
    pages >> size >> resident >> shared;
    return (resident - std::min(resident, shared)) * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

std::optional<ChildProcess::Exit> ChildProcess::waitForExit(std::chrono::milliseconds timeout)
{
    if (exit_ || pid_ <= 0) {
        return exit_;
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        int status = 0;
        struct rusage usage { };
        const pid_t ended = ::wait4(pid_, &status, WNOHANG, &usage);
        if (ended == pid_) {
            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-union-access): the C interface of wait4
            finish(status, static_cast<std::size_t>(usage.ru_maxrss) * 1024U);
            return exit_;
        }
        const auto left
            = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (ended < 0 && errno != EINTR) {
            Log::error("ChildProcess: waiting for process %i failed: %s", pid_, std::system_category().message(errno));
            return std::nullopt;
        }
        if (left.count() <= 0) {
            return std::nullopt;
        }
        if (pidDescriptor_ >= 0) {
            struct pollfd ready {
                pidDescriptor_, POLLIN, 0
            };
            ::poll(&ready, 1, static_cast<int>(left.count()));
        } else {
            // No process descriptors on this kernel: look again shortly.
            std::this_thread::sleep_for(std::min(left, std::chrono::milliseconds(1)));
        }
    }
}

void ChildProcess::signal(int signal) const
{
    if (!exit_ && pid_ > 0) {
        ::kill(pid_, signal);
    }
}

bool ChildProcess::setMemoryCeiling(std::size_t bytes)
{
    if (exit_ || pid_ <= 0) {
        return false;
    }
    const auto ceiling = bytes + kSanitizerAllowance;
    const auto text = std::to_string(ceiling);
    bool moved = false;
    switch (ceiling_) {
    case Ceiling::None:
        return false;
    case Ceiling::ControlGroupV2:
        moved = writeFile(group_ + "/memory.max", text);
        break;
    case Ceiling::ControlGroupV1: {
        // The limit with swap may never be below the one without: the order
        // of the two writes depends on the direction of the move.
        const auto memory = group_ + "/memory.limit_in_bytes";
        const auto withSwap = group_ + "/memory.memsw.limit_in_bytes";
        if (ceiling >= memoryCeiling_) {
            writeFile(withSwap, text);
            moved = writeFile(memory, text);
        } else {
            moved = writeFile(memory, text);
            writeFile(withSwap, text);
        }
        break;
    }
    case Ceiling::ResourceLimit: {
        const struct rlimit limit {
            ceiling, ceiling
        };
        moved = ::prlimit(pid_, RLIMIT_DATA, &limit, nullptr) == 0;
        break;
    }
    }
    if (moved) {
        memoryCeiling_ = ceiling;
    }
    return moved;
}

void ChildProcess::finish(int waitStatus, std::size_t maxResident)
{
    Exit exit;
    if (WIFEXITED(waitStatus)) {
        exit.status = WEXITSTATUS(waitStatus);
    } else if (WIFSIGNALED(waitStatus)) {
        exit.signal = WTERMSIG(waitStatus);
    }
    exit.peakMemory = maxResident;
    exit.memoryCeiling = memoryCeiling_;
    if (ceiling_ == Ceiling::ControlGroupV2) {
        exit.peakMemory = number(readFile(group_ + "/memory.peak"));
        exit.crossedCeiling = keyedNumber(readFile(group_ + "/memory.events"), "oom_kill") > 0;
    } else if (ceiling_ == Ceiling::ControlGroupV1) {
        exit.peakMemory = number(readFile(group_ + "/memory.max_usage_in_bytes"));
        exit.crossedCeiling = keyedNumber(readFile(group_ + "/memory.oom_control"), "oom_kill") > 0;
    }
    exit_ = exit;
}

} // namespace lumora::platform::host
