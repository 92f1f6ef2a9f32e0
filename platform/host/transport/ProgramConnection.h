#pragma once

#include "platform/host/transport/Message.h"
#include "platform/host/transport/SocketConnection.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace lumora::platform::host::transport {

/// A device program's one connection to the process that started it (the
/// recording service's, an extension host's): `serve` takes over the socket,
/// hands each message to the program on the connection's thread, and returns
/// once the connection has ended, which is when the program's work is done.
class ProgramConnection {
public:
    /// Serves `socket`; `name` names the connection, and the program, in log
    /// lines. `handle` sees each message once the connection is in place, so
    /// it may answer through `connection()`; `opened`, when given, is called
    /// once the connection is in place, before the first message is handed on.
    void serve(int socket, const std::string& name, const std::function<void(const Message&)>& handle,
        const std::function<void()>& opened = nullptr);
    /// The connection while it is served; null before.
    [[nodiscard]] std::shared_ptr<SocketConnection> connection() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::shared_ptr<SocketConnection> connection_;
    bool opening_ = false;
    bool ended_ = false;
};

} // namespace lumora::platform::host::transport
