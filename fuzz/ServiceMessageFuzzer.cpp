// Messages between the device's processes, as another process may send them:
// whatever decodes and encodes again (a string that is not UTF-8 reads but is
// not written) must decode to a message of the same shape.
#include "platform/host/transport/MessageCodec.h"

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <span>

using lumora::platform::host::transport::MessageCodec;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    std::deque<int> descriptors;
    const auto decoded = MessageCodec::decode(std::span(bytes, length), descriptors);
    if (!decoded.message) {
        return 0;
    }
    const auto frame = MessageCodec::encode(*decoded.message);
    if (!frame) {
        return 0;
    }
    const auto again = MessageCodec::decode(std::span(frame->bytes).subspan(MessageCodec::PrefixSize), descriptors);
    if (!again.message || again.message->selector != decoded.message->selector
        || again.message->arguments.size() != decoded.message->arguments.size()) {
        std::abort();
    }
    return 0;
}
