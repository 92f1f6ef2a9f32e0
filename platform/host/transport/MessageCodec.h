#pragma once

#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/Message.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace lumora::platform::host::transport {

/// The bytes of messages on a stream: each is a 4-byte big-endian length and
/// then that many bytes of a binary property list, a dictionary with the
/// kind, the number, the selector, the encoded arguments and how many file
/// descriptors travel with it.
///
/// Arguments that have no property-list form are written as one-key
/// dictionaries: null {"$null"}, URL {"$url"}, error {"$error": domain, code,
/// user info}, file descriptor {"$fd": index, "kind"}; a dictionary argument
/// is wrapped as {"$dict"}, so that every dictionary on the wire says what it
/// stands for. The decoder reads what another process sent: anything that
/// does not follow this form is refused with a reason, never trusted.
class MessageCodec {
public:
    /// Bytes of the length prefix.
    static constexpr std::size_t PrefixSize = 4;
    /// Descriptors one message may carry.
    static constexpr std::size_t MaxDescriptors = 16;

    /// An encoded message: the bytes (prefix included) and the descriptors
    /// to send with them.
    struct Frame {
        std::vector<std::uint8_t> bytes;
        std::vector<std::shared_ptr<FileHandle>> descriptors;
    };
    /// A decoded message, or why the bytes were refused.
    struct Decoded {
        std::optional<Message> message;
        std::string refusal;
    };

    /// The frame of `message`; nullopt when an argument has no wire form (an
    /// object other than an error or a file handle).
    static std::optional<Frame> encode(const Message& message);
    /// The payload length a prefix announces.
    static std::uint32_t announcedLength(std::span<const std::uint8_t, PrefixSize> prefix);
    /// Decodes one payload (the bytes after the prefix). `descriptors` are the
    /// descriptors received so far on the stream, oldest first: the message
    /// takes as many as it says it carries, each checked against the kind it
    /// names.
    static Decoded decode(std::span<const std::uint8_t> payload, std::deque<int>& descriptors);
};

} // namespace lumora::platform::host::transport
