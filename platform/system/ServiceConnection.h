#pragma once

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Interface.h"
#include "platform/foundation/Invocation.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Synchronized.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

class ServiceConnection;

/// The delegate set of a service connection. Its one hook is optional.
class ServiceConnectionDelegate : private platform::Noncopyable {
public:
    virtual ~ServiceConnectionDelegate() = default;

    /// Optional: hands the delegate every decoded invocation the connection
    /// receives, on the connection's own thread. `isReply` is set when the
    /// invocation answers a request this side sent.
    class Connection_handleInvocation_isReply;
};

/// The optional invocation hook of a service connection's delegate.
class ServiceConnectionDelegate::Connection_handleInvocation_isReply : public virtual ServiceConnectionDelegate {
public:
    /// Takes over an invocation that arrived on `connection`, on the connection's
    /// own thread: the delegate performs it (or not) itself.
    virtual void connection_handleInvocation_isReply(const std::shared_ptr<ServiceConnection>& connection,
        const std::shared_ptr<Invocation>& invocation, bool isReply)
        = 0;
};

/// A connection to a system service. Decoded messages arrive on the
/// connection's own serial queue; a delegate that answers the invocation hook
/// decides how they are performed, otherwise they are performed there at once.
///
/// A connection the platform offers (`connectionToService`) reaches a service
/// running as a process of its own and carries requests to it. When that
/// process goes away the connection is interrupted: every request still
/// waiting is answered with an interruption error, then the interruption
/// handler runs; the next request reaches the service again (the platform
/// starts it anew).
class ServiceConnection final : public Object {
public:
    /// The domain of the connection's own errors.
    static constexpr std::string_view ErrorDomain = "com.lumora.platform.ServiceConnection";
    /// The error's code when the connection was interrupted before a request was answered.
    static constexpr std::int64_t InterruptedErrorCode = 1;

    /// How the answer to a request is read.
    struct Reply {
        /// Whether the answer's values have the reply's types; asked on the
        /// connection's thread as the answer arrives. An answer that does not
        /// fit is logged and interrupts the connection.
        std::function<bool(const std::vector<Value>& values)> fits;
        /// Performs the answer: the values that fit, or no values and the
        /// connection's error when no answer came. Called exactly once, as the
        /// invocation the delegate hook is handed for the reply.
        std::function<void(const std::vector<Value>& values, const ErrorRef& failure)> perform;
    };

    /// A connection to the service named `serviceName`, with a serial queue of its own.
    explicit ServiceConnection(std::string serviceName);

    /// The platform's connection to the system service `serviceName`, or null
    /// when the platform offers none (the service is not a process of its own).
    static std::shared_ptr<ServiceConnection> connectionToService(const std::string& serviceName);

    /// The platform's link to a service process behind a connection it offers.
    struct Transport;
    /// A connection to `serviceName` over `transport`.
    ServiceConnection(std::string serviceName, std::shared_ptr<Transport> transport);
    ~ServiceConnection() override;
    ServiceConnection(const ServiceConnection&) = delete;
    ServiceConnection& operator=(const ServiceConnection&) = delete;
    ServiceConnection(ServiceConnection&&) = delete;
    ServiceConnection& operator=(ServiceConnection&&) = delete;

    /// Whether requests travel over this connection to a service process.
    [[nodiscard]] bool carriesRequests() const { return transport_ != nullptr; }
    /// Sends a request; its answer (or the interruption that stands for it)
    /// comes back through `reply`. On a connection that carries no requests
    /// the reply hears the interruption error.
    void sendRequest(const std::string& selector, std::vector<Value> arguments, Reply reply);
    /// Sends a one-way message; nothing answers it. Dropped on a connection
    /// that carries no requests.
    void sendMessage(const std::string& selector, std::vector<Value> arguments);
    /// Runs on the connection's thread each time the connection is
    /// interrupted, after every waiting request has heard so.
    void setInterruptionHandler(std::function<void()> handler);

    /// The name of the service connected to.
    [[nodiscard]] const std::string& serviceName() const { return serviceName_; }
    /// Sets the delegate, held weakly; null removes it.
    void setDelegate(const std::shared_ptr<ServiceConnectionDelegate>& delegate) { delegate_.store(delegate); }
    /// The delegate; null when none is set or it is gone.
    [[nodiscard]] std::shared_ptr<ServiceConnectionDelegate> delegate() const { return delegate_.load().lock(); }

    /// The connection's own thread.
    [[nodiscard]] DispatchQueue& queue() const { return *queue_; }

    /// Called by the transport when a decoded invocation arrives: queues its
    /// delivery on the connection's thread.
    void receiveInvocation(std::shared_ptr<Invocation> invocation, bool isReply);

    /// What this side exports: the messages the service may send unasked, and
    /// the object they are performed on (held weakly).
    void setExportedInterface(std::shared_ptr<Interface> interface);
    /// Sets the object exported messages are performed on (held weakly).
    void setExportedObject(const ObjectRef& object);
    /// Called by the transport when the service sends a message of its own:
    /// decodes it through the exported interface into an invocation of the
    /// exported object and delivers it as `receiveInvocation` does. A message
    /// the interface does not declare, or whose arguments do not fit, is
    /// logged and dropped when it is performed.
    void receiveMessage(const std::string& selector, std::vector<Value> arguments);

    [[nodiscard]] std::string className() const override { return "ServiceConnection"; }

private:
    std::string serviceName_;
    std::shared_ptr<Transport> transport_;
    Synchronized<std::function<void()>> interruptionHandler_;
    Synchronized<std::weak_ptr<ServiceConnectionDelegate>> delegate_;
    std::shared_ptr<DispatchQueue> queue_;
    // Set by the application's side, read by the transport's thread.
    Synchronized<std::shared_ptr<Interface>> exportedInterface_;
    Synchronized<std::weak_ptr<Object>> exportedObject_;
};

} // namespace lumora::platform
