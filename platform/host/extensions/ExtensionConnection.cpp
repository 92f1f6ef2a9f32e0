#include "platform/extensions/ExtensionConnection.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/extensions/ExtensionBoundary.h"
#include "platform/host/foundation/PlatformThreads.h"

#include <fmt/format.h>

#include <mutex>

namespace lumora::platform {

// What the two ends share: whether the connection still stands, and the
// serial queue that keeps its messages in order.
struct ExtensionConnection::Link {
    std::mutex mutex;
    bool valid = true;
    std::shared_ptr<DispatchQueue> queue = DispatchQueue::makeSerial("com.lumora.platform.extension-connection");
};

// What one end exports; the other end reads it when a message arrives.
struct ExtensionConnection::Exports {
    mutable std::mutex mutex;
    std::shared_ptr<Interface> interface;
    std::weak_ptr<Object> object;
};

std::pair<std::shared_ptr<ExtensionConnection>, std::shared_ptr<ExtensionConnection>> ExtensionConnection::makePair()
{
    auto link = std::make_shared<Link>();
    auto first = std::make_shared<ExtensionConnection>();
    auto second = std::make_shared<ExtensionConnection>();
    first->link_ = link;
    second->link_ = link;
    first->exports_ = std::make_shared<Exports>();
    second->exports_ = std::make_shared<Exports>();
    first->peerExports_ = second->exports_;
    second->peerExports_ = first->exports_;
    return { std::move(first), std::move(second) };
}

void ExtensionConnection::setExportedInterface(std::shared_ptr<Interface> interface)
{
    if (!exports_) {
        return;
    }
    std::lock_guard lock(exports_->mutex);
    exports_->interface = std::move(interface);
}

std::shared_ptr<Interface> ExtensionConnection::exportedInterface() const
{
    if (!exports_) {
        return nullptr;
    }
    std::lock_guard lock(exports_->mutex);
    return exports_->interface;
}

void ExtensionConnection::setExportedObject(const ObjectRef& object)
{
    if (!exports_) {
        return;
    }
    std::lock_guard lock(exports_->mutex);
    exports_->object = object;
}

ObjectRef ExtensionConnection::exportedObject() const
{
    if (!exports_) {
        return nullptr;
    }
    std::lock_guard lock(exports_->mutex);
    return exports_->object.lock();
}

std::shared_ptr<RemoteObjectProxy> ExtensionConnection::remoteObjectProxyWithErrorHandler(ErrorHandler errorHandler)
{
    return std::make_shared<RemoteObjectProxy>(sharedFrom(this), std::move(errorHandler));
}

void ExtensionConnection::invalidate()
{
    if (!link_) {
        return;
    }
    std::lock_guard lock(link_->mutex);
    link_->valid = false;
}

bool ExtensionConnection::isValid() const
{
    if (!link_) {
        return false;
    }
    std::lock_guard lock(link_->mutex);
    return link_->valid;
}

void ExtensionConnection::deliver(
    const std::string& selector, const std::vector<Value>& arguments, const ErrorHandler& errorHandler)
{
    const auto fail = [&errorHandler](std::int64_t code) {
        if (errorHandler) {
            errorHandler(Error::errorWithDomain(std::string(ErrorDomain), code));
        }
    };
    const auto peer = peerExports_.lock();
    if (!isValid() || !peer) {
        fail(ConnectionInvalidErrorCode);
        return;
    }
    std::shared_ptr<Interface> interface;
    ObjectRef object;
    {
        std::lock_guard lock(peer->mutex);
        interface = peer->interface;
        object = peer->object.lock();
    }
    if (!object) {
        fail(ConnectionInvalidErrorCode);
        return;
    }
    if (!interface || !interface->hasOperation(selector)) {
        fail(UnknownOperationErrorCode);
        return;
    }
    bool performed = false;
    if (host::ExtensionBoundary::run(fmt::format("handling {} of {}", selector, interface->protocolName()),
            [&] { performed = interface->perform(selector, object, arguments); })) {
        // The receiver's process would have ended: the connection with it is gone.
        invalidate();
        fail(ConnectionInvalidErrorCode);
        return;
    }
    if (!performed) {
        Log::error("ExtensionConnection: refused %s for %s: the arguments do not fit the operation", selector,
            interface->protocolName());
        fail(MalformedMessageErrorCode);
    }
}

void RemoteObjectProxy::sendMessage(std::string selector, std::vector<Value> arguments) const
{
    if (!connection_ || !connection_->link_) {
        if (errorHandler_) {
            host::postToPlatformThread([handler = errorHandler_] {
                handler(Error::errorWithDomain(
                    std::string(ExtensionConnection::ErrorDomain), ExtensionConnection::ConnectionInvalidErrorCode));
            });
        }
        return;
    }
    connection_->link_->queue->async(
        [connection = connection_, handler = errorHandler_, selector = std::move(selector),
            arguments = std::move(arguments)] { connection->deliver(selector, arguments, handler); });
}

} // namespace lumora::platform
