#include "platform/system/ServiceConnection.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Protocol.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/RecordingServiceProcess.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/host/transport/SocketConnection.h"

#include <map>
#include <mutex>

namespace lumora::platform {

using host::transport::Message;
using host::transport::SocketConnection;

// The link to a service process: the socket to the running process (made
// anew, and the process started anew, when the last one has ended) and the
// requests waiting for their answers. Everything the process sends is
// checked here, on the socket's thread, before it goes on to the
// connection's queue: a message that does not fit ends the socket, which
// interrupts the connection.
struct ServiceConnection::Transport {
    /// Starts the service (when needed) and hands back the application's end
    /// of a socket connected to it, or -1.
    std::function<int()> connect;

    struct Pending {
        std::string selector;
        Reply reply;
        std::uint64_t socketNumber = 0;
    };

    std::mutex mutex;
    std::shared_ptr<SocketConnection> socket;
    std::uint64_t socketsMade = 0;
    std::map<std::uint64_t, Pending> pending;
    std::uint64_t requestsSent = 0;

    /// The socket to the running service, connected when none is open; null
    /// when the service cannot be reached. With `mutex` held.
    std::shared_ptr<SocketConnection> liveSocketLocked(const std::shared_ptr<ServiceConnection>& owner);

    using SocketSlot = Synchronized<std::weak_ptr<SocketConnection>>;
    static void received(const std::weak_ptr<ServiceConnection>& weakOwner, std::uint64_t socketNumber,
        const std::shared_ptr<SocketSlot>& slot, Message message);
    static void ended(
        const std::weak_ptr<ServiceConnection>& weakOwner, std::uint64_t socketNumber, const std::string& reason);
    /// Delivers the interruption error to a request that will get no answer.
    static void fail(const std::shared_ptr<ServiceConnection>& owner, Pending pending);
};

namespace {

ErrorRef interruptedError()
{
    return Error::errorWithDomain(std::string(ServiceConnection::ErrorDomain), ServiceConnection::InterruptedErrorCode);
}

} // namespace

std::shared_ptr<SocketConnection> ServiceConnection::Transport::liveSocketLocked(
    const std::shared_ptr<ServiceConnection>& owner)
{
    if (socket && socket->isOpen()) {
        return socket;
    }
    const int descriptor = connect ? connect() : -1;
    if (descriptor < 0) {
        return nullptr;
    }
    const auto number = ++socketsMade;
    const std::weak_ptr<ServiceConnection> weakOwner = owner;
    // The socket's own handlers refer to it weakly; it exists only once it is open.
    auto made = std::make_shared<SocketSlot>();
    socket = SocketConnection::open(descriptor, owner->serviceName(),
        { [weakOwner, number, made](Message message) { received(weakOwner, number, made, std::move(message)); },
            [weakOwner, number](const std::string& reason) { ended(weakOwner, number, reason); } });
    made->store(socket);
    return socket;
}

void ServiceConnection::Transport::received(const std::weak_ptr<ServiceConnection>& weakOwner,
    std::uint64_t socketNumber, const std::shared_ptr<SocketSlot>& slot, Message message)
{
    const auto owner = weakOwner.lock();
    if (!owner) {
        return;
    }
    auto socket = slot->load().lock();
    if (!socket) {
        // A message the service sent at once, before its socket was stored
        // (which happens with the transport's lock held).
        std::lock_guard lock(owner->transport_->mutex);
        socket = slot->load().lock();
    }
    if (!socket) {
        return;
    }
    const std::weak_ptr<SocketConnection> weakSocket = socket;
    auto& transport = *owner->transport_;
    const auto refuse = [&](const char* what) {
        Log::error("ServiceConnection: %s from %s: %s", what, owner->serviceName(), message.selector);
        socket->deliveryFinished();
        socket->close(what);
    };
    // The message is the only owner of the objects among its arguments (an
    // error, a file handle) until the invocation retains them.
    const auto owned = message.arguments;
    std::shared_ptr<Invocation> invocation;
    bool isReply = false;
    if (message.kind == Message::Kind::Reply) {
        Pending pending;
        {
            std::lock_guard lock(transport.mutex);
            const auto found = transport.pending.find(message.number);
            if (found == transport.pending.end() || found->second.socketNumber != socketNumber
                || found->second.selector != message.selector) {
                refuse("a reply to a request never sent");
                return;
            }
            if (!found->second.reply.fits || !found->second.reply.fits(message.arguments)) {
                refuse("a reply that does not fit its request");
                return;
            }
            pending = std::move(found->second);
            transport.pending.erase(found);
        }
        invocation = std::make_shared<Invocation>(owner->exportedObject_.load().lock(), message.selector,
            std::move(message.arguments),
            [perform = std::move(pending.reply.perform)](
                const ObjectRef& /*target*/, const std::vector<Value>& values) {
                if (perform) {
                    perform(values, nullptr);
                }
            });
        isReply = true;
    } else if (message.kind == Message::Kind::Call) {
        const auto interface = owner->exportedInterface_.load();
        if (!interface || !interface->hasOperation(message.selector)) {
            refuse("an unknown operation");
            return;
        }
        invocation = std::make_shared<Invocation>(owner->exportedObject_.load().lock(), message.selector,
            std::move(message.arguments),
            [interface, selector = message.selector, serviceName = owner->serviceName(), weakSocket](
                const ObjectRef& target, const std::vector<Value>& values) {
                if (!target || !interface->perform(selector, target, values)) {
                    Log::error("ServiceConnection: refused %s from %s", selector, serviceName);
                    if (const auto refused = weakSocket.lock()) {
                        refused->close("a message whose arguments do not fit");
                    }
                }
            });
    } else {
        // The application's side answers no requests of the service.
        refuse("a request this side does not serve");
        return;
    }
    // The decoded arguments belong to the message, not to the sending process.
    invocation->retainArguments();
    owner->receiveInvocation(std::move(invocation), isReply);
    // The socket reads on once the connection's queue has taken this one.
    owner->queue_->async([weakSocket] {
        if (const auto delivered = weakSocket.lock()) {
            delivered->deliveryFinished();
        }
    });
}

void ServiceConnection::Transport::ended(
    const std::weak_ptr<ServiceConnection>& weakOwner, std::uint64_t socketNumber, const std::string& reason)
{
    const auto owner = weakOwner.lock();
    if (!owner) {
        return;
    }
    auto& transport = *owner->transport_;
    std::vector<Pending> unanswered;
    {
        std::lock_guard lock(transport.mutex);
        for (auto it = transport.pending.begin(); it != transport.pending.end();) {
            if (it->second.socketNumber == socketNumber) {
                unanswered.push_back(std::move(it->second));
                it = transport.pending.erase(it);
            } else {
                ++it;
            }
        }
        if (transport.socketsMade == socketNumber) {
            transport.socket.reset();
        }
    }
    Log::ordinary("ServiceConnection: %s interrupted (%s)", owner->serviceName(), reason);
    for (auto& pending : unanswered) {
        fail(owner, std::move(pending));
    }
    owner->queue_->async([owner] {
        if (const auto handler = owner->interruptionHandler_.load()) {
            handler();
        }
    });
}

void ServiceConnection::Transport::fail(const std::shared_ptr<ServiceConnection>& owner, Pending pending)
{
    auto invocation
        = std::make_shared<Invocation>(owner->exportedObject_.load().lock(), pending.selector, std::vector<Value> {},
            [perform = std::move(pending.reply.perform)](
                const ObjectRef& /*target*/, const std::vector<Value>& /*values*/) {
                if (perform) {
                    perform({}, interruptedError());
                }
            });
    owner->receiveInvocation(std::move(invocation), true);
}

ServiceConnection::ServiceConnection(std::string serviceName) : ServiceConnection(std::move(serviceName), nullptr) { }

ServiceConnection::ServiceConnection(std::string serviceName, std::shared_ptr<Transport> transport)
    : serviceName_(std::move(serviceName)),
      transport_(std::move(transport)),
      queue_(DispatchQueue::makeSerial("com.lumora.platform.connection." + serviceName_))
{ }

ServiceConnection::~ServiceConnection()
{
    if (!transport_) {
        return;
    }
    std::shared_ptr<host::transport::SocketConnection> socket;
    {
        std::lock_guard lock(transport_->mutex);
        socket = std::move(transport_->socket);
    }
    if (socket) {
        socket->close("the connection was released");
    }
}

std::shared_ptr<ServiceConnection> ServiceConnection::connectionToService(const std::string& serviceName)
{
    auto& service = host::SimulatedDevice::shared().recordingService();
    if (serviceName != host::RecordingServiceProcess::ServiceName || !service.runsInOwnProcess()) {
        return nullptr;
    }
    auto transport = std::make_shared<Transport>();
    transport->connect = [] { return host::SimulatedDevice::shared().recordingService().process().connect(); };
    return std::make_shared<ServiceConnection>(serviceName, std::move(transport));
}

void ServiceConnection::sendRequest(const std::string& selector, std::vector<Value> arguments, Reply reply)
{
    const auto self = sharedFrom(this);
    if (!self) {
        return;
    }
    if (!transport_) {
        Transport::fail(self, { selector, std::move(reply), 0 });
        return;
    }
    Transport::Pending pending { selector, std::move(reply), 0 };
    std::optional<Transport::Pending> unreachable;
    std::shared_ptr<SocketConnection> socket;
    std::uint64_t number = 0;
    {
        std::lock_guard lock(transport_->mutex);
        socket = transport_->liveSocketLocked(self);
        if (socket) {
            number = ++transport_->requestsSent;
            pending.socketNumber = transport_->socketsMade;
            transport_->pending.emplace(number, std::move(pending));
        } else {
            unreachable = std::move(pending);
        }
    }
    if (unreachable) {
        Log::error("ServiceConnection: %s cannot be reached", serviceName_);
        Transport::fail(self, std::move(*unreachable));
        return;
    }
    // A socket that has ended meanwhile fails the request when its end is handled.
    if (socket->send({ Message::Kind::Request, number, selector, std::move(arguments) })
        == SocketConnection::Sent::Dropped) {
        std::optional<Transport::Pending> unsent;
        {
            std::lock_guard lock(transport_->mutex);
            if (const auto found = transport_->pending.find(number); found != transport_->pending.end()) {
                unsent = std::move(found->second);
                transport_->pending.erase(found);
            }
        }
        if (unsent) {
            Transport::fail(self, std::move(*unsent));
        }
    }
}

void ServiceConnection::sendMessage(const std::string& selector, std::vector<Value> arguments)
{
    if (!transport_) {
        return;
    }
    std::shared_ptr<SocketConnection> socket;
    {
        std::lock_guard lock(transport_->mutex);
        socket = transport_->liveSocketLocked(sharedFrom(this));
    }
    if (socket) {
        socket->send({ Message::Kind::Call, 0, selector, std::move(arguments) });
    }
}

void ServiceConnection::setInterruptionHandler(std::function<void()> handler)
{
    interruptionHandler_.store(std::move(handler));
}

void ServiceConnection::receiveInvocation(std::shared_ptr<Invocation> invocation, bool isReply)
{
    queue_->async([self = sharedFrom(this), invocation = std::move(invocation), isReply] {
        if (auto hook = answering<ServiceConnectionDelegate::Connection_handleInvocation_isReply>(self->delegate())) {
            hook->connection_handleInvocation_isReply(self, invocation, isReply);
        } else {
            invocation->invoke();
        }
    });
}

void ServiceConnection::setExportedInterface(std::shared_ptr<Interface> interface)
{
    exportedInterface_.store(std::move(interface));
}

void ServiceConnection::setExportedObject(const ObjectRef& object)
{
    exportedObject_.store(object);
}

void ServiceConnection::receiveMessage(const std::string& selector, std::vector<Value> arguments)
{
    const auto interface = exportedInterface_.load();
    auto invocation = std::make_shared<Invocation>(exportedObject_.load().lock(), selector, std::move(arguments),
        [interface, selector, serviceName = serviceName_](const ObjectRef& target, const std::vector<Value>& values) {
            // The service is another process: what it sends is checked, never trusted.
            if (!interface || !target || !interface->perform(selector, target, values)) {
                Log::error("ServiceConnection: refused %s from %s", selector, serviceName);
            }
        });
    // The decoded arguments belong to the message, not to the sending process.
    invocation->retainArguments();
    receiveInvocation(std::move(invocation), false);
}

} // namespace lumora::platform
