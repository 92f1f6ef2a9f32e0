#include "platform/system/ServiceConnection.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Protocol.h"

namespace lumora::platform {

ServiceConnection::ServiceConnection(std::string serviceName)
    : serviceName_(std::move(serviceName)),
      queue_(DispatchQueue::makeSerial("com.lumora.platform.connection." + serviceName_))
{ }

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
