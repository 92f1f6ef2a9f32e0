#include "platform/host/services/ExtensionHostProcess.h"

#include "platform/extensions/Extension.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Log.h"
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/extensions/SharedPayloadRegion.h"
#include "platform/host/services/ExtensionHostSpares.h"
#include "platform/host/system/TemporaryFolder.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/SocketConnection.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#ifndef LUMORA_EXTENSION_HOST_PROGRAM
#define LUMORA_EXTENSION_HOST_PROGRAM "lumora-extension-host"
#endif

namespace lumora::platform::host {

using transport::FileHandle;
using transport::Message;
using transport::SocketConnection;

namespace {

// How long a process whose connection ended has to finish exiting on its own
// (a crash writing its core, say) before it is killed.
constexpr auto kExitGrace = std::chrono::milliseconds(500);
constexpr auto kReapLimit = std::chrono::seconds(5);
// How long a request's sender looks for the answer before it sleeps.
constexpr auto kLookForAnswer = std::chrono::microseconds(200);

} // namespace

ExtensionHostProcess::ExtensionHostProcess(std::string name, Settings settings)
    : name_(std::move(name)), settings_(std::move(settings))
{
    if (settings_.program.empty()) {
        settings_.program = LUMORA_EXTENSION_HOST_PROGRAM;
    }
    if (settings_.startsAhead) {
        ExtensionHostSpares::shared().prepare(settings_.program);
    }
}

ExtensionHostProcess::~ExtensionHostProcess()
{
    stop();
}

void ExtensionHostProcess::setMemoryCeiling(std::size_t bytes)
{
    std::lock_guard lock(mutex_);
    settings_.memoryCeiling = bytes;
}

void ExtensionHostProcess::setProgram(std::string program)
{
    std::lock_guard lock(mutex_);
    settings_.program = std::move(program);
    if (settings_.startsAhead) {
        ExtensionHostSpares::shared().prepare(settings_.program);
    }
}

std::string ExtensionHostProcess::program() const
{
    std::lock_guard lock(mutex_);
    return settings_.program;
}

void ExtensionHostProcess::setRequestObserver(RequestObserver observer)
{
    std::lock_guard lock(mutex_);
    observer_ = std::move(observer);
}

void ExtensionHostProcess::setRequestDeadline(std::chrono::milliseconds deadline)
{
    std::lock_guard lock(mutex_);
    settings_.requestDeadline = deadline;
}

std::optional<pid_t> ExtensionHostProcess::pid() const
{
    std::lock_guard lock(mutex_);
    return process_ ? std::optional(process_->pid()) : std::nullopt;
}

std::size_t ExtensionHostProcess::residentMemory() const
{
    std::lock_guard lock(mutex_);
    return process_ ? process_->currentResidentMemory() : 0;
}

bool ExtensionHostProcess::signal(int signal) const
{
    std::lock_guard lock(mutex_);
    if (!process_) {
        return false;
    }
    process_->signal(signal);
    return true;
}

std::optional<ChildProcess::Exit> ExtensionHostProcess::lastExit() const
{
    std::lock_guard lock(mutex_);
    return lastExit_;
}

std::size_t ExtensionHostProcess::launches() const
{
    std::lock_guard lock(mutex_);
    return launches_;
}

void ExtensionHostProcess::stop()
{
    std::unique_lock lock(mutex_);
    if (process_) {
        endLocked(lock, true, "stopped by the device");
    }
}

bool ExtensionHostProcess::start(std::string* failure)
{
    std::string ignored;
    std::unique_lock lock(mutex_);
    if (process_ != nullptr) {
        return true;
    }
    if (startLocked(failure != nullptr ? failure : &ignored)) {
        return true;
    }
    if (process_) {
        endLocked(lock, true, "it could not be started");
    }
    return false;
}

bool ExtensionHostProcess::startLocked(std::string* failure)
{
    if (!region_) {
        region_ = SharedPayloadRegion::create(SharedMemorySize);
        if (!region_) {
            *failure = "no shared memory for its payloads";
            return false;
        }
    }
    // A spare started ahead of need takes the extension, under its ceiling;
    // without one the program is started now.
    auto spare = ExtensionHostSpares::shared().launch(
        settings_.program, settings_.memoryCeiling, settings_.startsAhead, failure);
    if (!spare) {
        return false;
    }
    process_ = std::move(spare->process);
    ++launches_;
    const auto generation = ++generation_;
    connectionClosed_ = false;
    closeReason_.clear();
    connection_ = SocketConnection::open(spare->socket, fmt::format("extension {}", name_),
        { [this, generation](Message message) { received(generation, std::move(message)); },
            [this, generation](const std::string& reason) { closed(generation, reason); } });
    // Files handed over with requests are placed in a folder the device removes
    // when the process ends, however it ends.
    filesFolder_
        = fmt::format("{}/{}-{}", TemporaryFolder::named("lumora-extension-files"), process_->pid(), generation);
    std::error_code madeFolder;
    std::filesystem::create_directories(filesFolder_, madeFolder);
    Message load;
    load.kind = Message::Kind::Call;
    load.selector = ExtensionProtocol::LoadBundleSelector;
    load.arguments = { Value(settings_.bundlePath), Value(madeFolder ? std::string() : filesFolder_) };
    if (connection_->send(load) != SocketConnection::Sent::Queued) {
        *failure = "could not hand it its bundle";
        return false;
    }
    const int shared = ::fcntl(region_->descriptor(), F_DUPFD_CLOEXEC, 0); // NOLINT(cppcoreguidelines-pro-type-vararg)
    Message use;
    use.kind = Message::Kind::Call;
    use.selector = ExtensionProtocol::UseSharedMemorySelector;
    use.arguments.emplace_back(std::make_shared<FileHandle>(shared, FileHandle::Kind::SharedMemory));
    if (shared < 0 || connection_->send(use) != SocketConnection::Sent::Queued) {
        *failure = "could not hand it its shared memory";
        return false;
    }
    return true;
}

std::optional<ExtensionContext::Outcome> ExtensionHostProcess::perform(
    const ExtensionItems& items, const std::vector<HandedFile>& files, std::string* failure)
{
    std::string ignored;
    auto& why = failure != nullptr ? *failure : ignored;
    const auto began = std::chrono::steady_clock::now();
    auto outcome = performRequest(items, files, why);
    RequestObserver observer;
    {
        std::lock_guard lock(mutex_);
        observer = observer_;
    }
    if (observer) {
        observer(items, RequestReport { std::chrono::steady_clock::now() - began, outcome, why });
    }
    return outcome;
}

std::optional<ExtensionContext::Outcome> ExtensionHostProcess::performRequest(
    const ExtensionItems& items, const std::vector<HandedFile>& files, std::string& why)
{
    std::unique_lock lock(mutex_);
    // A process that ended since the last request took whatever state the
    // extension kept with it: this request fails; the next one starts anew.
    if (process_ && connectionClosed_) {
        why = fmt::format("its process ended after its last request ({})", closeReason_);
        endLocked(lock, false, why);
        return std::nullopt;
    }
    if (!process_ && !startLocked(&why)) {
        Log::error("Extension host: could not start %s: %s", name_, why);
        if (process_) {
            endLocked(lock, true, why);
        }
        return std::nullopt;
    }
    auto fileList = std::make_shared<Array>();
    for (const auto& file : files) {
        const int descriptor
            = ::open(file.hostPath.c_str(), O_RDONLY | O_CLOEXEC); // NOLINT(cppcoreguidelines-pro-type-vararg)
        if (descriptor < 0) {
            Log::error("Extension host: cannot open %s for %s", file.hostPath, name_);
            continue;
        }
        fileList->push_back(Value(std::make_shared<Dictionary>(Dictionary { { "path", Value(file.devicePath) },
            { "file", Value(std::make_shared<FileHandle>(descriptor, FileHandle::Kind::File)) } })));
    }
    region_->rewind();
    Message request;
    request.kind = Message::Kind::Request;
    request.number = ++nextRequest_;
    request.selector = ExtensionProtocol::BeginRequestSelector;
    request.arguments = { ExtensionProtocol::encodeItems(items, region_.get()), Value(std::move(fileList)) };
    awaited_ = request.number;
    reply_.reset();
    settled_.store(false, std::memory_order_relaxed);
    if (connection_->send(request) != SocketConnection::Sent::Queued) {
        why = "the request could not be sent";
        endLocked(lock, true, why);
        return std::nullopt;
    }
    const auto deadline = std::chrono::steady_clock::now() + settings_.requestDeadline;
    // An answer often comes within tens of microseconds: looking for it,
    // yielding, before sleeping spares the connection's thread a wake-up.
    lock.unlock();
    const auto lookUntil = std::chrono::steady_clock::now() + kLookForAnswer;
    while (!settled_.load(std::memory_order_acquire) && std::chrono::steady_clock::now() < lookUntil) {
        std::this_thread::yield();
    }
    lock.lock();
    if (!changed_.wait_until(lock, deadline, [this] { return reply_.has_value() || connectionClosed_; })) {
        why = fmt::format("it did not answer a request within {} ms", settings_.requestDeadline.count());
        Log::error("Extension host: %s %s; ending its process", name_, why);
        endLocked(lock, true, why);
        return std::nullopt;
    }
    if (!reply_) {
        why = fmt::format("its process ended during a request ({})", closeReason_);
        endLocked(lock, false, why);
        return std::nullopt;
    }
    const auto reply = std::exchange(reply_, std::nullopt);
    std::string refusal = "not one value";
    auto outcome
        = reply->arguments.size() == 1 ? ExtensionProtocol::decodeOutcome(reply->arguments[0], &refusal) : std::nullopt;
    if (!outcome) {
        why = fmt::format("it answered a request with malformed items ({})", refusal);
        Log::error("Extension host: %s %s; ending its process", name_, why);
        endLocked(lock, true, why);
        return std::nullopt;
    }
    // The extension's code threw, or the program refused the request: the
    // request failed in the extension's process, which carries on.
    if (outcome->error && outcome->error->domain() == Extension::ErrorDomain
        && outcome->error->code() == Extension::RequestFailedErrorCode) {
        why = fmt::format("its code failed a request ({})", outcome->error->localizedDescription());
        Log::error("Extension host: %s %s", name_, why);
        return std::nullopt;
    }
    return outcome;
}

void ExtensionHostProcess::endLocked(std::unique_lock<std::mutex>& lock, bool kill, const std::string& why)
{
    auto process = std::move(process_);
    auto connection = std::move(connection_);
    const auto folder = std::exchange(filesFolder_, std::string());
    const auto ending = generation_++;
    const auto ceiling = settings_.memoryCeiling;
    lock.unlock();
    if (connection) {
        connection->close(why);
    }
    std::optional<ChildProcess::Exit> exit;
    if (process) {
        if (!kill) {
            exit = process->waitForExit(kExitGrace);
        }
        if (!exit) {
            process->signal(SIGKILL);
            exit = process->waitForExit(kReapLimit);
        }
    }
    // The connection's thread may be telling this object about the end: it
    // is let go with the lock released, and this object waits until the
    // thread has told it, so that the thread never reaches it after it is gone.
    const bool hadConnection = connection != nullptr;
    connection.reset();
    process.reset();
    if (!folder.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    lock.lock();
    if (hadConnection
        && !changed_.wait_for(lock, kReapLimit, [this, ending] { return lastClosedGeneration_ >= ending; })) {
        Log::error("Extension host: the connection to %s did not end", name_);
    }
    if (exit) {
        Log::ordinary("Extension host: %s ended (%s, %s); peak memory %s of its %s ceiling", name_, exit->description(),
            why, ChildProcess::megabytes(exit->peakMemory),
            ChildProcess::megabytes(exit->memoryCeiling != 0 ? exit->memoryCeiling : ceiling));
        lastExit_ = exit;
    }
    connectionClosed_ = false;
    changed_.notify_all();
}

void ExtensionHostProcess::received(std::uint64_t generation, Message message)
{
    std::lock_guard lock(mutex_);
    // A connection being let go is closing anyway: what it still hands over is dropped.
    if (generation != generation_ || !connection_) {
        return;
    }
    if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::ReadySelector) {
        // A process started without its bundle is up; it has been given it already.
    } else if (message.kind == Message::Kind::Reply && message.number == awaited_ && !reply_) {
        awaited_ = 0;
        reply_ = std::move(message);
        settled_.store(true, std::memory_order_release);
        changed_.notify_all();
    } else {
        Log::error("Extension host: %s sent an unexpected message %s", name_, message.selector);
    }
    connection_->deliveryFinished();
}

void ExtensionHostProcess::closed(std::uint64_t generation, const std::string& reason)
{
    std::lock_guard lock(mutex_);
    lastClosedGeneration_ = std::max(lastClosedGeneration_, generation);
    changed_.notify_all();
    if (generation != generation_) {
        return;
    }
    connectionClosed_ = true;
    closeReason_ = reason;
    settled_.store(true, std::memory_order_release);
    changed_.notify_all();
}

} // namespace lumora::platform::host
