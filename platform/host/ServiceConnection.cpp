#include "platform/ServiceConnection.h"

#include "platform/Protocol.h"

namespace lumora::platform {

ServiceConnection::ServiceConnection(std::string serviceName)
    : serviceName_(std::move(serviceName)),
      queue_(DispatchQueue::makeSerial("com.lumora.platform.connection." + serviceName_))
{ }

void ServiceConnection::receiveInvocation(std::shared_ptr<Invocation> invocation, bool isReply)
{
    queue_->async([self = sharedFrom(this), invocation = std::move(invocation), isReply] {
        if (auto hook = answering<ServiceConnectionDelegate::Connection_handleInvocation_isReply>(self->delegate_)) {
            hook->connection_handleInvocation_isReply(self, invocation, isReply);
        } else {
            invocation->invoke();
        }
    });
}

} // namespace lumora::platform
