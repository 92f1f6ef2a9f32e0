#include "platform/host/extensions/ExtensionRelay.h"

#include "platform/foundation/Interface.h"
#include "platform/foundation/Log.h"
#include "platform/host/extensions/ExtensionProtocol.h"

#include <fmt/format.h>

namespace lumora::platform::host {

using transport::Message;

// What the relay's ends export: the operations are performed by forwarding them.
class ExtensionRelay::Anchor final : public Object {
public:
    [[nodiscard]] std::string className() const override { return "ExtensionRelay"; }
};

ExtensionRelay::ExtensionRelay(std::string requestIdentifier, std::string name, Send send)
    : requestIdentifier_(std::move(requestIdentifier)),
      name_(std::move(name)),
      send_(std::move(send)),
      anchor_(std::make_shared<Anchor>())
{ }

void ExtensionRelay::attach(std::string_view connection, const std::shared_ptr<ExtensionConnection>& end,
    const std::vector<std::string>& selectors)
{
    auto interface = Interface::interfaceWithProtocolName(fmt::format("{} of {}", connection, name_));
    for (const auto& selector : selectors) {
        interface->addOperation(selector,
            [relay = weak_from_this(), connection = std::string(connection), selector](
                const ObjectRef& /*target*/, const std::vector<Value>& arguments) {
                if (const auto strong = relay.lock()) {
                    strong->forward(connection, selector, arguments);
                }
                return true;
            });
    }
    end->setExportedInterface(std::move(interface));
    end->setExportedObject(anchor_);
    std::lock_guard lock(mutex_);
    ends_[std::string(connection)] = end;
}

void ExtensionRelay::close()
{
    std::map<std::string, std::shared_ptr<ExtensionConnection>, std::less<>> ends;
    std::map<std::uint64_t, std::shared_ptr<ReplyBlock>> pending;
    {
        std::lock_guard lock(mutex_);
        closed_ = true;
        ends.swap(ends_);
        pending.swap(pending_);
    }
    for (const auto& [connection, end] : ends) {
        end->invalidate();
    }
    // The completions still waiting are released here, outside the lock.
}

void ExtensionRelay::forward(
    const std::string& connection, const std::string& selector, const std::vector<Value>& arguments)
{
    std::vector<Value> encoded;
    {
        std::lock_guard lock(mutex_);
        if (closed_) {
            return;
        }
        encoded = ExtensionProtocol::encodeArguments(
            arguments, [this](const ObjectRef& object) -> std::optional<std::uint64_t> {
                auto completion = std::dynamic_pointer_cast<ReplyBlock>(object);
                if (!completion) {
                    return std::nullopt;
                }
                if (pending_.size() >= MaxPendingReplies) {
                    Log::error("Extension relay: %s has %i completions unanswered; sending null for another", name_,
                        static_cast<std::int64_t>(pending_.size()));
                    return std::nullopt;
                }
                pending_.emplace(++nextReply_, std::move(completion));
                return nextReply_;
            });
    }
    if (encoded.size() != arguments.size()) {
        Log::error("Extension relay: %s not sent to %s: too many arguments", selector, name_);
        return;
    }
    Message message;
    message.kind = Message::Kind::Call;
    message.selector = ExtensionProtocol::RelayMessageSelector;
    message.arguments = { Value(requestIdentifier_), Value(connection), Value(selector),
        Value(std::make_shared<Array>(encoded.begin(), encoded.end())) };
    if (!send_(message)) {
        Log::error("Extension relay: %s could not be sent to %s", selector, name_);
    }
}

void ExtensionRelay::sendReply(std::uint64_t number, const std::vector<Value>& values)
{
    auto encoded = ExtensionProtocol::encodeArguments(values, nullptr);
    if (encoded.size() != values.size()) {
        Log::error("Extension relay: a reply to %s with too many values", name_);
        return;
    }
    Message message;
    message.kind = Message::Kind::Call;
    message.selector = ExtensionProtocol::RelayReplySelector;
    message.arguments = { Value(requestIdentifier_), Value(static_cast<std::int64_t>(number)),
        Value(std::make_shared<Array>(encoded.begin(), encoded.end())) };
    if (!send_(message)) {
        Log::error("Extension relay: a reply could not be sent to %s", name_);
    }
}

bool ExtensionRelay::receive(const Message& message)
{
    if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::RelayMessageSelector) {
        return receiveMessage(message);
    }
    if (message.kind == Message::Kind::Call && message.selector == ExtensionProtocol::RelayReplySelector) {
        return receiveReply(message);
    }
    Log::error("Extension relay: refusing %s from %s", message.selector, name_);
    return false;
}

bool ExtensionRelay::receiveMessage(const Message& message)
{
    std::string refusal;
    auto relayed = ExtensionProtocol::decodeRelayedMessage(message.arguments, &refusal);
    if (relayed && relayed->requestIdentifier != requestIdentifier_) {
        refusal = "a message of another request";
        relayed.reset();
    }
    if (!relayed) {
        Log::error("Extension relay: refusing a message from %s: %s", name_, refusal);
        return false;
    }
    std::shared_ptr<ExtensionConnection> end;
    {
        std::lock_guard lock(mutex_);
        if (const auto found = ends_.find(relayed->connection); found != ends_.end()) {
            end = found->second;
        }
    }
    if (!end) {
        Log::error("Extension relay: %s from %s arrived after its connection ended", relayed->selector, name_);
        return true;
    }
    // A completion the far side sent stands here for its reply.
    for (auto& argument : relayed->arguments) {
        if (const auto number = ExtensionProtocol::replyNumber(argument)) {
            argument = Value(std::make_shared<ReplyBlock>(
                [relay = weak_from_this(), number = *number](const std::vector<Value>& values) {
                    if (const auto strong = relay.lock()) {
                        strong->sendReply(number, values);
                    }
                }));
        }
    }
    end->remoteObjectProxyWithErrorHandler([name = name_, selector = relayed->selector](const ErrorRef& error) {
           Log::error(
               "Extension relay: %s from %s could not be performed (%i)", selector, name, error ? error->code() : 0);
       })
        ->sendMessage(relayed->selector, std::move(relayed->arguments));
    return true;
}

bool ExtensionRelay::receiveReply(const Message& message)
{
    std::string refusal;
    auto reply = ExtensionProtocol::decodeRelayedReply(message.arguments, &refusal);
    if (reply && reply->requestIdentifier != requestIdentifier_) {
        refusal = "a reply of another request";
        reply.reset();
    }
    if (!reply) {
        Log::error("Extension relay: refusing a reply from %s: %s", name_, refusal);
        return false;
    }
    std::shared_ptr<ReplyBlock> completion;
    {
        std::lock_guard lock(mutex_);
        const auto found = pending_.find(reply->number);
        if (found != pending_.end()) {
            completion = std::move(found->second);
            pending_.erase(found);
        }
    }
    if (!completion) {
        // A completion is called once; a second reply, or one never asked for, is dropped.
        Log::error("Extension relay: dropping a reply from %s that nothing waits for", name_);
        return true;
    }
    completion->callWithReply(reply->values);
    return true;
}

} // namespace lumora::platform::host
