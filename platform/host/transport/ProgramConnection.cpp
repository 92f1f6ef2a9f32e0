#include "platform/host/transport/ProgramConnection.h"

#include "platform/foundation/Log.h"

namespace lumora::platform::host::transport {

void ProgramConnection::serve(int socket, const std::string& name, const std::function<void(const Message&)>& handle,
    const std::function<void()>& opened)
{
    auto opening = SocketConnection::open(socket, name,
        { [this, &handle](const Message& message) {
             {
                 // The peer may have written before the connection was stored.
                 std::unique_lock lock(mutex_);
                 changed_.wait(lock, [this] { return connection_ != nullptr && !opening_; });
             }
             handle(message);
             connection()->deliveryFinished();
         },
            [this, name](const std::string& reason) {
                Log::ordinary("%s: the connection ended (%s)", name, reason);
                std::lock_guard lock(mutex_);
                ended_ = true;
                changed_.notify_all();
            } });
    std::unique_lock lock(mutex_);
    connection_ = std::move(opening);
    if (opened) {
        opening_ = true;
        lock.unlock();
        opened();
        lock.lock();
        opening_ = false;
    }
    changed_.notify_all();
    changed_.wait(lock, [this] { return ended_; });
}

std::shared_ptr<SocketConnection> ProgramConnection::connection() const
{
    std::lock_guard lock(mutex_);
    return connection_;
}

} // namespace lumora::platform::host::transport
