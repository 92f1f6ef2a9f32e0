// The extension request protocol, as either side may receive it: a message
// that decodes is read as a request's items (with payload bytes in a block of
// shared memory) and as a reply's outcome, and its arguments as a relayed
// message, a relayed reply, a request's end and an offer of operations.
// The same bytes are also read as a packed record of payloads in the block.
// Whatever is read stays within the block, the counts and the nesting it may have.
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/extensions/SharedPayloadRegion.h"
#include "platform/host/transport/MessageCodec.h"

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <span>
#include <vector>

using lumora::platform::host::ExtensionProtocol;
using lumora::platform::host::SharedPayloadRegion;
using lumora::platform::host::transport::MessageCodec;

namespace {

const SharedPayloadRegion& region()
{
    static const auto* const block = [] {
        auto made = SharedPayloadRegion::create(4096);
        if (!made) {
            std::abort();
        }
        (void)made->append(lumora::platform::Data(std::vector<std::uint8_t>(1024, 0x5A)));
        return made.release();
    }();
    return *block;
}

// A block the input is written into, to be read as a packed record.
SharedPayloadRegion& recordBlock()
{
    static auto* const block = [] {
        auto made = SharedPayloadRegion::create(std::size_t { 1 } << 20U);
        if (!made) {
            std::abort();
        }
        return made.release();
    }();
    return *block;
}

void readAsPackedRecord(const std::uint8_t* bytes, std::size_t length)
{
    auto& block = recordBlock();
    block.rewind();
    const auto offset = block.append(lumora::platform::Data(bytes, length));
    if (!offset) {
        return;
    }
    using lumora::platform::Array;
    using lumora::platform::Dictionary;
    using lumora::platform::Value;
    const Value wire(std::make_shared<Dictionary>(Dictionary { { "$packed",
        Value(std::make_shared<Array>(
            Array { Value(static_cast<std::int64_t>(*offset)), Value(static_cast<std::int64_t>(length)) })) } }));
    std::string refusal;
    if (const auto items = ExtensionProtocol::decodeItems(wire, &block, &refusal)) {
        if (items->size() > ExtensionProtocol::MaxItems) {
            std::abort();
        }
    } else if (refusal.empty()) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    readAsPackedRecord(bytes, length);
    std::deque<int> descriptors;
    const auto decoded = MessageCodec::decode(std::span(bytes, length), descriptors);
    if (!decoded.message || decoded.message->arguments.empty()) {
        return 0;
    }
    const auto& wire = decoded.message->arguments[0];
    std::string refusal;
    if (const auto items = ExtensionProtocol::decodeItems(wire, &region(), &refusal)) {
        if (items->size() > ExtensionProtocol::MaxItems) {
            std::abort();
        }
    } else if (refusal.empty()) {
        std::abort();
    }
    (void)ExtensionProtocol::decodeOutcome(wire, &refusal);

    const auto& arguments = decoded.message->arguments;
    if (const auto relayed = ExtensionProtocol::decodeRelayedMessage(arguments, &refusal)) {
        if (relayed->arguments.size() > ExtensionProtocol::MaxArguments
            || relayed->selector.size() > ExtensionProtocol::MaxSelectorLength) {
            std::abort();
        }
        for (const auto& argument : relayed->arguments) {
            (void)ExtensionProtocol::replyNumber(argument);
        }
    }
    if (const auto reply = ExtensionProtocol::decodeRelayedReply(arguments, &refusal)) {
        if (reply->number == 0 || reply->values.size() > ExtensionProtocol::MaxArguments) {
            std::abort();
        }
    }
    (void)ExtensionProtocol::decodeRequestDidEnd(arguments, &refusal);
    if (const auto offer = ExtensionProtocol::decodeOffer(wire, &refusal)) {
        if (offer->auxiliary.size() > ExtensionProtocol::MaxSelectors
            || offer->view.size() > ExtensionProtocol::MaxSelectors) {
            std::abort();
        }
    }
    return 0;
}
