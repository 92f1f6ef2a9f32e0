#pragma once

#include "platform/extensions/ExtensionConnection.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/ReplyBlock.h"
#include "platform/host/transport/Message.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// One process's half of the two connections of a request whose other side
/// runs in another process. Each connection is a local pair: the local side
/// uses one end as it would in one process, and the relay stands on the
/// other end for the far side, offering the operations the far side exports.
/// What the local side sends crosses as `relayMessage:` calls
/// (`ExtensionProtocol`); a completion among the arguments stays here, and
/// the far side's `relayReply:` calls it, once. What arrives from the far
/// side is checked, then sent from the relay's end to the local side.
class ExtensionRelay final : public std::enable_shared_from_this<ExtensionRelay> {
public:
    /// Puts a message on its way to the other process; false when it cannot.
    using Send = std::function<bool(const transport::Message& message)>;
    /// Completions that may wait for their replies at once; a message with
    /// more is sent with null in their place.
    static constexpr std::size_t MaxPendingReplies = 64;

    /// `name` names the far side in log lines.
    ExtensionRelay(std::string requestIdentifier, std::string name, Send send);

    /// Stands for the far side of the connection called `connection`
    /// ("auxiliary" or "view") on `end`, offering `selectors`.
    void attach(std::string_view connection, const std::shared_ptr<ExtensionConnection>& end,
        const std::vector<std::string>& selectors);
    /// Performs a relayed message or reply of the other process; false (with
    /// a log line) when it is refused.
    bool receive(const transport::Message& message);
    /// Ends both connections; completions still waiting for replies are dropped.
    void close();

private:
    class Anchor;

    void forward(const std::string& connection, const std::string& selector, const std::vector<Value>& arguments);
    void sendReply(std::uint64_t number, const std::vector<Value>& values);
    bool receiveMessage(const transport::Message& message);
    bool receiveReply(const transport::Message& message);

    const std::string requestIdentifier_;
    const std::string name_;
    const Send send_;
    std::shared_ptr<Object> anchor_;
    mutable std::mutex mutex_;
    std::map<std::string, std::shared_ptr<ExtensionConnection>, std::less<>> ends_;
    std::map<std::uint64_t, std::shared_ptr<ReplyBlock>> pending_;
    std::uint64_t nextReply_ = 0;
    bool closed_ = false;
};

} // namespace lumora::platform::host
