#pragma once

#include "platform/DispatchQueue.h"
#include "platform/Invocation.h"
#include "platform/Noncopyable.h"
#include "platform/Object.h"

#include <memory>
#include <string>

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

class ServiceConnectionDelegate::Connection_handleInvocation_isReply : public virtual ServiceConnectionDelegate {
public:
    virtual void connection_handleInvocation_isReply(const std::shared_ptr<ServiceConnection>& connection,
        const std::shared_ptr<Invocation>& invocation, bool isReply)
        = 0;
};

/// A connection to a system service. Decoded messages arrive on the
/// connection's own serial queue; a delegate that answers the invocation hook
/// decides how they are performed, otherwise they are performed there at once.
class ServiceConnection final : public Object {
public:
    explicit ServiceConnection(std::string serviceName);

    [[nodiscard]] const std::string& serviceName() const { return serviceName_; }
    void setDelegate(const std::shared_ptr<ServiceConnectionDelegate>& delegate) { delegate_ = delegate; }
    [[nodiscard]] std::shared_ptr<ServiceConnectionDelegate> delegate() const { return delegate_.lock(); }

    /// The connection's own thread.
    [[nodiscard]] DispatchQueue& queue() const { return *queue_; }

    /// Called by the transport when a decoded invocation arrives: queues its
    /// delivery on the connection's thread.
    void receiveInvocation(std::shared_ptr<Invocation> invocation, bool isReply);

    [[nodiscard]] std::string className() const override { return "ServiceConnection"; }

private:
    std::string serviceName_;
    std::weak_ptr<ServiceConnectionDelegate> delegate_;
    std::shared_ptr<DispatchQueue> queue_;
};

} // namespace lumora::platform
