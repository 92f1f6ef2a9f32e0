#include "broadcast/LMBroadcastActivityCommunicationHostProtocol.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Value.h"

#include <bit>
#include <vector>

namespace lumora {

namespace {

// An optional argument: absent (null), or present and of the wanted kind.
template <class T, class Read> bool readOptional(const platform::Value& value, std::optional<T>& out, Read read)
{
    if (value.isNull()) {
        out.reset();
        return true;
    }
    out = read(value);
    return out.has_value();
}

} // namespace

std::shared_ptr<platform::Interface> LMBroadcastActivityCommunicationHostProtocol::makeInterface()
{
    auto interface = platform::Interface::interfaceWithProtocolName("LMBroadcastActivityCommunicationHostProtocol");
    interface->addOperation("extensionDidFinishWithLaunchURL:broadcastURL:extensionBundleID:cancelled:",
        [](const platform::ObjectRef& target, const std::vector<platform::Value>& arguments) {
            const auto receiver = std::dynamic_pointer_cast<LMBroadcastActivityCommunicationHostProtocol>(target);
            if (!receiver || arguments.size() != 4 || !arguments[3].isBool()) {
                return false;
            }
            const auto readURL = [](const platform::Value& value) { return value.url(); };
            const auto readString = [](const platform::Value& value) -> std::optional<std::string> {
                const auto* string = value.string();
                return string != nullptr ? std::optional(*string) : std::nullopt;
            };
            std::optional<platform::URL> launchURL;
            std::optional<platform::URL> broadcastURL;
            std::optional<std::string> bundleID;
            if (!readOptional(arguments[0], launchURL, readURL) || !readOptional(arguments[1], broadcastURL, readURL)
                || !readOptional(arguments[2], bundleID, readString)) {
                return false;
            }
            receiver->extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
                launchURL, broadcastURL, bundleID, arguments[3].boolValue());
            return true;
        });
    interface->addOperation("presentationInfoWithCompletion:",
        [](const platform::ObjectRef& target, const std::vector<platform::Value>& arguments) {
            const auto receiver = std::dynamic_pointer_cast<LMBroadcastActivityCommunicationHostProtocol>(target);
            const auto reply = arguments.size() == 1 ? arguments.front().objectAs<platform::ReplyBlock>() : nullptr;
            if (!receiver || !reply) {
                return false;
            }
            receiver->presentationInfoWithCompletion(
                [reply](std::int64_t style, platform::Rect rect, std::uint64_t direction) {
                    // The bit set crosses as a signed 64-bit value of the same bits.
                    reply->callWithReply({ style, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height,
                        std::bit_cast<std::int64_t>(direction) });
                });
            return true;
        });
    return interface;
}

std::shared_ptr<platform::ReplyBlock> LMBroadcastActivityCommunicationHostProtocol::makePresentationInfoReplyBlock(
    PresentationInfoCompletion completion)
{
    return std::make_shared<platform::ReplyBlock>(
        [completion = std::move(completion)](const std::vector<platform::Value>& reply) {
            const bool wellFormed = reply.size() == 6 && reply[0].isInteger() && reply[5].isInteger()
                && reply[1].isReal() && reply[2].isReal() && reply[3].isReal() && reply[4].isReal();
            if (!wellFormed) {
                platform::Log::error("LMBroadcastActivityCommunicationHostProtocol: malformed presentation info");
                return;
            }
            if (completion) {
                completion(reply[0].int64Value(),
                    platform::Rect { { reply[1].doubleValue(), reply[2].doubleValue() },
                        { reply[3].doubleValue(), reply[4].doubleValue() } },
                    std::bit_cast<std::uint64_t>(reply[5].int64Value()));
            }
        });
}

} // namespace lumora
