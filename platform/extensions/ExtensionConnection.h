#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Interface.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumora::platform {

class RemoteObjectProxy;

/// One end of a connection between the host of an extension request and the
/// extension: the request's auxiliary connection (between the two contexts of
/// the request) or the connection behind a remote view (between the remote
/// view controller and the extension's view controller).
///
/// Each end exports one object under an interface. A proxy taken from one end
/// sends one-way messages that the other end performs on its exported object.
/// Messages of one connection are delivered in the order they were sent, on
/// the connection's own serial queue (a platform thread). A message that
/// cannot be performed (the connection was invalidated, the other side has
/// gone or exports nothing, its interface has no such operation, the
/// arguments do not fit) goes instead to the error handler of the proxy that
/// sent it, on that same queue.
class ExtensionConnection final : public Object {
public:
    /// Hears why a message could not be performed (an error of ErrorDomain).
    using ErrorHandler = std::function<void(const ErrorRef& error)>;

    /// The error domain of undeliverable messages, and its codes.
    static constexpr std::string_view ErrorDomain = "lumora.platform.ExtensionConnection";
    /// The connection was invalidated, or the other side has gone.
    static constexpr std::int64_t ConnectionInvalidErrorCode = 4099;
    /// The other side's interface has no operation of that name.
    static constexpr std::int64_t UnknownOperationErrorCode = 4100;
    /// The other side refused the message's arguments.
    static constexpr std::int64_t MalformedMessageErrorCode = 4101;

    /// Two connected ends.
    static std::pair<std::shared_ptr<ExtensionConnection>, std::shared_ptr<ExtensionConnection>> makePair();

    ExtensionConnection() = default;

    /// What this end offers to the other side. The exported object is held
    /// weakly: its owner decides how long it lives, and messages for an
    /// exported object that has gone are undeliverable.
    void setExportedInterface(std::shared_ptr<Interface> interface);
    /// The interface this end exports; null when none is set.
    [[nodiscard]] std::shared_ptr<Interface> exportedInterface() const;
    /// Sets the object the other side's messages are performed on (held weakly).
    void setExportedObject(const ObjectRef& object);
    /// The exported object; null when none is set or it has gone.
    [[nodiscard]] ObjectRef exportedObject() const;

    /// A proxy for the object the other side exports; `errorHandler` (may be
    /// empty) hears of every message of this proxy that could not be performed.
    [[nodiscard]] std::shared_ptr<RemoteObjectProxy> remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler);

    /// Ends the connection for both sides; later messages are undeliverable.
    void invalidate();
    /// Whether the connection still delivers: connected and not invalidated by
    /// either side. A connection made on its own, not by `makePair`, never is.
    [[nodiscard]] bool isValid() const;

    [[nodiscard]] std::string className() const override { return "ExtensionConnection"; }

private:
    friend class RemoteObjectProxy;
    struct Link;
    struct Exports;

    /// Delivers one message from this end to the other (on the link's queue).
    void deliver(const std::string& selector, const std::vector<Value>& arguments, const ErrorHandler& errorHandler);

    std::shared_ptr<Link> link_;
    std::shared_ptr<Exports> exports_;
    std::weak_ptr<Exports> peerExports_;
};

/// Stands for the object the other side of a connection exports. Sending
/// returns at once; the message is performed later, on a platform thread.
class RemoteObjectProxy final : public Object {
public:
    /// A proxy sending through `connection`; `errorHandler` (may be empty) hears
    /// of its undeliverable messages. Take one from
    /// `remoteObjectProxyWithErrorHandler`.
    RemoteObjectProxy(std::shared_ptr<ExtensionConnection> connection, ExtensionConnection::ErrorHandler errorHandler)
        : connection_(std::move(connection)), errorHandler_(std::move(errorHandler))
    { }

    /// Sends the one-way message `selector` (with colons) with `arguments`.
    void sendMessage(std::string selector, std::vector<Value> arguments) const;

    /// The end of the connection the proxy sends from.
    [[nodiscard]] const std::shared_ptr<ExtensionConnection>& connection() const { return connection_; }
    [[nodiscard]] std::string className() const override { return "RemoteObjectProxy"; }

private:
    std::shared_ptr<ExtensionConnection> connection_;
    ExtensionConnection::ErrorHandler errorHandler_;
};

} // namespace lumora::platform
