#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <utility>
#include <vector>

namespace lumora::platform {

/// A completion sent along with a message over an extension connection: the
/// receiver calls it with the reply's values and the sender's handler gets
/// them. A reply block that is never called sends nothing back.
class ReplyBlock final : public Object {
public:
    /// Receives the reply's values, on the thread the receiver calls from.
    using Handler = std::function<void(const std::vector<Value>& reply)>;

    /// A reply block that hands the reply to `handler` (may be empty: the reply is
    /// dropped).
    explicit ReplyBlock(Handler handler) : handler_(std::move(handler)) { }

    /// Sends `reply` back to the sender.
    void callWithReply(const std::vector<Value>& reply) const
    {
        if (handler_) {
            handler_(reply);
        }
    }

    [[nodiscard]] std::string className() const override { return "ReplyBlock"; }

private:
    Handler handler_;
};

} // namespace lumora::platform
