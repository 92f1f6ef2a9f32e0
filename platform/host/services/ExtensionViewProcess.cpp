#include "platform/host/services/ExtensionViewProcess.h"

#include "platform/foundation/Error.h"
#include "platform/foundation/Log.h"
#include "platform/host/extensions/ExtensionRelay.h"
#include "platform/host/foundation/PlatformThreads.h"
#include "platform/host/services/ExtensionHostSpares.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/SocketConnection.h"

#include <fmt/format.h>

#include <csignal>

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

constexpr std::uint64_t kBeginNumber = 1;
// How long a process whose connection ended has to finish exiting on its own.
constexpr auto kExitGrace = std::chrono::milliseconds(500);
constexpr auto kReapLimit = std::chrono::seconds(5);

} // namespace

ExtensionViewProcess::ExtensionViewProcess(std::string name, Settings settings)
    : name_(std::move(name)), settings_([&settings] {
          if (settings.program.empty()) {
              settings.program = LUMORA_EXTENSION_HOST_PROGRAM;
          }
          return std::move(settings);
      }())
{ }

void ExtensionViewProcess::startAhead(const std::string& program)
{
    ExtensionHostSpares::shared().prepare(program.empty() ? std::string(LUMORA_EXTENSION_HOST_PROGRAM) : program);
}

ExtensionViewProcess::~ExtensionViewProcess()
{
    stop();
}

std::optional<pid_t> ExtensionViewProcess::pid() const
{
    std::lock_guard lock(mutex_);
    return process_ ? std::optional(process_->pid()) : std::nullopt;
}

bool ExtensionViewProcess::signal(int signal) const
{
    std::lock_guard lock(mutex_);
    if (!process_) {
        return false;
    }
    process_->signal(signal);
    return true;
}

std::optional<ChildProcess::Exit> ExtensionViewProcess::lastExit() const
{
    std::lock_guard lock(mutex_);
    return lastExit_;
}

bool ExtensionViewProcess::begin(const Start& start, Ended ended, Failed failed, std::string* failure)
{
    std::string ignored;
    auto& why = failure != nullptr ? *failure : ignored;
    std::unique_lock lock(mutex_);
    if (process_ || started_ || stopping_) {
        why = "the request has begun already";
        return false;
    }
    ended_ = std::move(ended);
    failed_ = std::move(failed);
    drew_ = start.drew;

    // A spare started ahead of need takes the extension, under its ceiling;
    // without one the program is started now.
    auto spare = ExtensionHostSpares::shared().launch(settings_.program, settings_.memoryCeiling, true, &why);
    if (!spare) {
        return false;
    }
    process_ = std::move(spare->process);
    const int socket = spare->socket;
    closeReported_ = false;
    connection_ = SocketConnection::open(socket, fmt::format("extension {}", name_),
        { [this](Message message) { received(std::move(message)); },
            [this](const std::string& reason) { closed(reason); } });
    const Message load { Message::Kind::Call, 0, std::string(ExtensionProtocol::LoadBundleSelector),
        { Value(settings_.bundlePath), Value(std::string()) } };
    if (connection_->send(load) != SocketConnection::Sent::Queued) {
        why = "could not hand it its bundle";
        endLocked(lock, true, why);
        return false;
    }
    relay_ = std::make_shared<ExtensionRelay>(start.requestIdentifier, name_,
        [connection = std::weak_ptr<SocketConnection>(connection_)](const Message& message) {
            const auto strong = connection.lock();
            return strong && strong->send(message) == SocketConnection::Sent::Queued;
        });
    // What the extension sends while it starts already finds its way; what
    // it offers is known once it has started.
    relay_->attach(ExtensionProtocol::AuxiliaryConnectionName, start.auxiliary, {});
    relay_->attach(ExtensionProtocol::ViewConnectionName, start.view, {});

    auto files = std::make_shared<Array>();
    for (const auto& [devicePath, hostPath] : start.files) {
        const int descriptor
            = ::open(hostPath.c_str(), O_RDONLY | O_CLOEXEC); // NOLINT(cppcoreguidelines-pro-type-vararg)
        if (descriptor < 0) {
            Log::error("Extension host: cannot open %s for %s", hostPath, name_);
            continue;
        }
        files->push_back(Value(std::make_shared<Dictionary>(Dictionary { { "path", Value(devicePath) },
            { "file", Value(std::make_shared<FileHandle>(descriptor, FileHandle::Kind::File)) } })));
    }
    Message request;
    request.kind = Message::Kind::Request;
    request.number = kBeginNumber;
    request.selector = ExtensionProtocol::BeginViewRequestSelector;
    request.arguments = { Value(start.requestIdentifier), ExtensionProtocol::encodeItems(start.items, nullptr),
        Value(std::move(files)), ExtensionProtocol::encodeOffer(start.hostOffer) };
    if (connection_->send(request) != SocketConnection::Sent::Queued) {
        why = "the request could not be sent";
        endLocked(lock, true, why);
        return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + settings_.startDeadline;
    if (!changed_.wait_until(lock, deadline, [this] { return beginReply_.has_value() || connectionClosed_; })) {
        why = fmt::format("it did not start within {} ms", settings_.startDeadline.count());
        Log::error("Extension host: %s %s; ending its process", name_, why);
        endLocked(lock, true, why);
        return false;
    }
    if (!beginReply_) {
        why = fmt::format("its process ended while it started ({})", closeReason_);
        Log::error("Extension host: %s: %s", name_, why);
        endLocked(lock, false, why);
        return false;
    }
    const auto reply = std::move(*beginReply_);
    beginReply_.reset();
    if (reply.arguments.size() == 1) {
        if (const auto error = reply.arguments[0].objectAs<Error>()) {
            why = fmt::format("it failed to start ({})", error->code());
            Log::error("Extension host: %s %s", name_, why);
            endLocked(lock, true, why);
            return false;
        }
    }
    std::string refusal = "not one value";
    const auto offer
        = reply.arguments.size() == 1 ? ExtensionProtocol::decodeOffer(reply.arguments[0], &refusal) : std::nullopt;
    if (!offer) {
        why = fmt::format("it answered its start with something malformed ({})", refusal);
        Log::error("Extension host: %s %s; ending its process", name_, why);
        endLocked(lock, true, why);
        return false;
    }
    relay_->attach(ExtensionProtocol::AuxiliaryConnectionName, start.auxiliary, offer->auxiliary);
    relay_->attach(ExtensionProtocol::ViewConnectionName, start.view, offer->view);
    started_ = true;
    // The extension may have ended the request, or its process, while it started.
    if (heldOutcome_) {
        postToPlatformThread([ended = ended_, outcome = *heldOutcome_] { ended(outcome); });
        heldOutcome_.reset();
    }
    if (connectionClosed_ && !failureReported_) {
        reportFailureLocked();
    }
    return true;
}

void ExtensionViewProcess::received(Message message)
{
    std::unique_lock lock(mutex_);
    const auto connection = connection_;
    if (!connection) {
        return;
    }
    std::shared_ptr<ExtensionRelay> relay;
    if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::ReadySelector) {
        // A spare is up; it has been given its bundle already.
    } else if (message.kind == Message::Kind::Reply && message.number == kBeginNumber && !started_ && !beginReply_) {
        beginReply_ = message;
        changed_.notify_all();
    } else if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::RequestDidEndSelector) {
        std::string refusal;
        auto ended = ExtensionProtocol::decodeRequestDidEnd(message.arguments, &refusal);
        if (!ended) {
            refuseLocked(fmt::format("malformed items ({})", refusal));
        } else if (started_) {
            postToPlatformThread([ended = ended_, outcome = std::move(ended->second)] { ended(outcome); });
        } else if (!heldOutcome_) {
            heldOutcome_ = std::move(ended->second);
        }
    } else if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::ViewDidDrawSelector) {
        std::string refusal;
        auto picture = ExtensionProtocol::decodePicture(message.arguments, &refusal);
        if (!picture) {
            refuseLocked(fmt::format("a malformed picture ({})", refusal));
        } else if (drew_) {
            postToPlatformThread([drew = drew_, bytes = std::move(picture->second)] { drew(bytes); });
        }
    } else if (message.kind == Message::Kind::Call
        && (message.selector == ExtensionProtocol::RelayMessageSelector
            || message.selector == ExtensionProtocol::RelayReplySelector)) {
        relay = relay_;
    } else {
        refuseLocked(fmt::format("an unexpected message {}", message.selector));
    }
    lock.unlock();
    if (relay && !relay->receive(message)) {
        lock.lock();
        refuseLocked(fmt::format("a malformed {}", message.selector));
        lock.unlock();
    }
    connection->deliveryFinished();
}

void ExtensionViewProcess::refuseLocked(const std::string& why)
{
    if (refusal_.empty()) {
        refusal_ = why;
    }
    Log::error("Extension host: %s sent %s; ending its process", name_, why);
    if (process_) {
        process_->signal(SIGKILL);
    }
}

void ExtensionViewProcess::closed(const std::string& reason)
{
    std::lock_guard lock(mutex_);
    connectionClosed_ = true;
    closeReason_ = refusal_.empty() ? reason : refusal_;
    closeReported_ = true;
    changed_.notify_all();
    if (started_ && !stopping_ && !failureReported_) {
        reportFailureLocked();
    }
}

void ExtensionViewProcess::reportFailureLocked()
{
    failureReported_ = true;
    // Reaping the process waits for this thread to finish: on another thread.
    postToPlatformThread([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        std::unique_lock lock(self->mutex_);
        if (self->stopping_) {
            return;
        }
        auto why = fmt::format("its process ended during the request ({})", self->closeReason_);
        auto failed = std::move(self->failed_);
        self->endLocked(lock, false, why);
        if (self->lastExit_ && self->lastExit_->crossedCeiling) {
            why = "its process crossed its memory ceiling";
        }
        lock.unlock();
        Log::error("Extension host: %s failed a request: %s", self->name_, why);
        if (failed) {
            failed(why);
        }
    });
}

void ExtensionViewProcess::stop()
{
    std::unique_lock lock(mutex_);
    stopping_ = true;
    if (process_ || connection_) {
        endLocked(lock, true, "its request ended");
    }
}

void ExtensionViewProcess::endLocked(std::unique_lock<std::mutex>& lock, bool kill, const std::string& why)
{
    auto process = std::move(process_);
    auto connection = std::move(connection_);
    auto relay = std::move(relay_);
    lock.unlock();
    if (relay) {
        relay->close();
    }
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
    connection.reset();
    process.reset();
    lock.lock();
    // The connection's thread reports its end before this object may go.
    if (!changed_.wait_for(lock, kReapLimit, [this] { return closeReported_; })) {
        Log::error("Extension host: the connection to %s did not end", name_);
    }
    if (exit) {
        Log::ordinary("Extension host: %s ended (%s, %s); peak memory %s of its %s ceiling", name_, exit->description(),
            why, ChildProcess::megabytes(exit->peakMemory),
            ChildProcess::megabytes(exit->memoryCeiling != 0 ? exit->memoryCeiling : settings_.memoryCeiling));
        lastExit_ = exit;
    }
}

} // namespace lumora::platform::host
