#include "platform/host/transport/MessageCodec.h"

#include "platform/formats/PropertyList.h"
#include "platform/foundation/Error.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string_view>
#include <type_traits>
#include <unistd.h>
#include <variant>

namespace lumora::platform::host::transport {

namespace {

constexpr std::string_view kNullKey = "$null";
constexpr std::string_view kURLKey = "$url";
constexpr std::string_view kErrorKey = "$error";
constexpr std::string_view kDictionaryKey = "$dict";
constexpr std::string_view kDescriptorKey = "$fd";

DictionaryRef tagged(std::string_view key, Value value)
{
    return std::make_shared<const Dictionary>(Dictionary { { std::string(key), std::move(value) } });
}

class Encoder {
public:
    explicit Encoder(std::vector<std::shared_ptr<FileHandle>>& descriptors) : descriptors_(descriptors) { }

    std::optional<Value> encode(const Value& value)
    {
        return std::visit(
            [this](const auto& held) -> std::optional<Value> {
                using T = std::decay_t<decltype(held)>;
                if constexpr (std::is_same_v<T, std::monostate>) {
                    return Value(tagged(kNullKey, true));
                } else if constexpr (std::is_same_v<T, URL>) {
                    return Value(tagged(kURLKey, held.absoluteString()));
                } else if constexpr (std::is_same_v<T, ArrayRef>) {
                    auto array = std::make_shared<Array>();
                    array->reserve(held->size());
                    for (const auto& element : *held) {
                        auto encoded = encode(element);
                        if (!encoded) {
                            return std::nullopt;
                        }
                        array->push_back(std::move(*encoded));
                    }
                    return Value(std::move(array));
                } else if constexpr (std::is_same_v<T, DictionaryRef>) {
                    auto dictionary = encodeDictionary(*held);
                    if (!dictionary) {
                        return std::nullopt;
                    }
                    return Value(tagged(kDictionaryKey, std::move(dictionary)));
                } else if constexpr (std::is_same_v<T, ObjectRef>) {
                    return encodeObject(held);
                } else {
                    return Value(held);
                }
            },
            value.storage());
    }

    DictionaryRef encodeDictionary(const Dictionary& dictionary)
    {
        auto encoded = std::make_shared<Dictionary>();
        for (const auto& [key, element] : dictionary) {
            auto value = encode(element);
            if (!value) {
                return nullptr;
            }
            encoded->emplace(key, std::move(*value));
        }
        return encoded;
    }

private:
    std::optional<Value> encodeObject(const ObjectRef& object)
    {
        if (const auto error = std::dynamic_pointer_cast<const Error>(object)) {
            auto userInfo = encodeDictionary(*error->userInfo());
            if (!userInfo) {
                return std::nullopt;
            }
            return Value(tagged(kErrorKey,
                Value(std::make_shared<const Dictionary>(Dictionary {
                    { "domain", error->domain() }, { "code", error->code() }, { "userInfo", Value(userInfo) } }))));
        }
        if (auto handle = std::dynamic_pointer_cast<FileHandle>(object)) {
            if (descriptors_.size() == MessageCodec::MaxDescriptors) {
                return std::nullopt;
            }
            const auto index = static_cast<std::int64_t>(descriptors_.size());
            const auto* kind = FileHandle::kindName(handle->kind());
            descriptors_.push_back(std::move(handle));
            return Value(std::make_shared<const Dictionary>(
                Dictionary { { std::string(kDescriptorKey), index }, { "kind", kind } }));
        }
        return std::nullopt;
    }

    std::vector<std::shared_ptr<FileHandle>>& descriptors_;
};

// Whether `text` is well-formed UTF-8 (no overlong forms, surrogates or
// code points past U+10FFFF).
bool isUTF8(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = 0;
        std::uint32_t code = 0;
        if (lead < 0x80U) {
            ++i;
            continue;
        }
        if ((lead & 0xe0U) == 0xc0U) {
            length = 2;
            code = lead & 0x1fU;
        } else if ((lead & 0xf0U) == 0xe0U) {
            length = 3;
            code = lead & 0x0fU;
        } else if ((lead & 0xf8U) == 0xf0U) {
            length = 4;
            code = lead & 0x07U;
        } else {
            return false;
        }
        if (i + length > text.size()) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xc0U) != 0x80U) {
                return false;
            }
            code = (code << 6U) | (next & 0x3fU);
        }
        constexpr std::array<std::uint32_t, 5> kSmallest { 0, 0, 0x80, 0x800, 0x10000 };
        if (code < kSmallest.at(length) || code > 0x10ffffU || (code >= 0xd800U && code <= 0xdfffU)) {
            return false;
        }
        i += length;
    }
    return true;
}

class Decoder {
public:
    explicit Decoder(std::vector<int> descriptors) : descriptors_(std::move(descriptors)) { }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
    Decoder(Decoder&&) = delete;
    Decoder& operator=(Decoder&&) = delete;
    ~Decoder()
    {
        // Descriptors no argument took are closed, not leaked.
        for (const int descriptor : descriptors_) {
            if (descriptor >= 0) {
                ::close(descriptor);
            }
        }
    }

    std::optional<Value> decode(const Value& value)
    {
        if (const auto array = value.array()) {
            auto decoded = std::make_shared<Array>();
            decoded->reserve(array->size());
            for (const auto& element : *array) {
                auto item = decode(element);
                if (!item) {
                    return std::nullopt;
                }
                decoded->push_back(std::move(*item));
            }
            return Value(std::move(decoded));
        }
        if (const auto dictionary = value.dictionary()) {
            return decodeTagged(*dictionary);
        }
        if (const auto* text = value.string(); text != nullptr && !isUTF8(*text)) {
            return refuse("a string that is not UTF-8");
        }
        return value;
    }

    [[nodiscard]] const std::string& refusal() const { return refusal_; }

private:
    std::optional<Value> refuse(std::string reason)
    {
        if (refusal_.empty()) {
            refusal_ = std::move(reason);
        }
        return std::nullopt;
    }

    DictionaryRef decodeDictionary(const Dictionary& dictionary)
    {
        auto decoded = std::make_shared<Dictionary>();
        for (const auto& [key, element] : dictionary) {
            if (!isUTF8(key)) {
                refuse("a key that is not UTF-8");
                return nullptr;
            }
            auto value = decode(element);
            if (!value) {
                return nullptr;
            }
            decoded->emplace(key, std::move(*value));
        }
        return decoded;
    }

    std::optional<Value> decodeTagged(const Dictionary& dictionary)
    {
        if (dictionary.empty()) {
            return refuse("a dictionary without a tag");
        }
        const auto& [key, inner] = *dictionary.begin();
        if (dictionary.size() == 1 && key == kNullKey) {
            return Value();
        }
        if (dictionary.size() == 1 && key == kURLKey && inner.string() != nullptr && isUTF8(*inner.string())) {
            auto url = URL::URLWithString(*inner.string());
            return url ? std::optional<Value>(Value(std::move(*url))) : refuse("a URL that does not parse");
        }
        if (dictionary.size() == 1 && key == kDictionaryKey && inner.isDictionary()) {
            auto decoded = decodeDictionary(*inner.dictionary());
            return decoded ? std::optional<Value>(Value(std::move(decoded))) : std::nullopt;
        }
        if (dictionary.size() == 1 && key == kErrorKey && inner.isDictionary()) {
            return decodeError(*inner.dictionary());
        }
        if (dictionary.size() == 2 && key == kDescriptorKey && inner.isInteger()) {
            return decodeDescriptor(inner.int64Value(), dictionary.stringForKey("kind"));
        }
        return refuse("a dictionary with an unknown tag");
    }

    std::optional<Value> decodeError(const Dictionary& fields)
    {
        const auto domain = fields.stringForKey("domain");
        const auto& code = fields.valueForKey("code");
        const auto& userInfo = fields.valueForKey("userInfo");
        if (fields.size() != 3 || !domain || !isUTF8(*domain) || !code.isInteger() || !userInfo.isDictionary()) {
            return refuse("a malformed error");
        }
        auto decodedInfo = decodeDictionary(*userInfo.dictionary());
        if (!decodedInfo) {
            return std::nullopt;
        }
        return Value(
            std::const_pointer_cast<Error>(Error::errorWithDomain(*domain, code.int64Value(), std::move(decodedInfo))));
    }

    std::optional<Value> decodeDescriptor(std::int64_t index, const std::optional<std::string>& kindName)
    {
        if (index < 0 || static_cast<std::size_t>(index) >= descriptors_.size() || descriptors_[index] < 0) {
            return refuse("a file descriptor that did not come with the message");
        }
        FileHandle::Kind kind {};
        if (kindName == FileHandle::kindName(FileHandle::Kind::File)) {
            kind = FileHandle::Kind::File;
        } else if (kindName == FileHandle::kindName(FileHandle::Kind::SharedMemory)) {
            kind = FileHandle::Kind::SharedMemory;
        } else {
            return refuse("a file descriptor of an unknown kind");
        }
        const int descriptor = std::exchange(descriptors_[index], -1);
        auto handle = FileHandle::adopt(descriptor, kind);
        if (!handle) {
            return refuse("a file descriptor of the wrong kind");
        }
        return Value(std::move(handle));
    }

    std::vector<int> descriptors_;
    std::string refusal_;
};

// An operation's name: letters, digits, underscores and colons.
bool isSelector(const std::string& text)
{
    return !text.empty() && text.size() <= 1024 && std::ranges::all_of(text, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == ':';
    });
}

MessageCodec::Decoded refused(std::string reason)
{
    return { std::nullopt, std::move(reason) };
}

} // namespace

std::optional<MessageCodec::Frame> MessageCodec::encode(const Message& message)
{
    Frame frame;
    Encoder encoder(frame.descriptors);
    auto arguments = std::make_shared<Array>();
    arguments->reserve(message.arguments.size());
    for (const auto& argument : message.arguments) {
        auto encoded = encoder.encode(argument);
        if (!encoded) {
            return std::nullopt;
        }
        arguments->push_back(std::move(*encoded));
    }
    const auto root = std::make_shared<const Dictionary>(Dictionary {
        { "kind", static_cast<std::int64_t>(message.kind) },
        { "number", static_cast<std::int64_t>(message.number & 0x7fffffffffffffffULL) },
        { "selector", message.selector },
        { "arguments", Value(std::move(arguments)) },
        { "descriptors", static_cast<std::int64_t>(frame.descriptors.size()) },
    });
    const auto payload = PropertyList::dataFromValue(Value(root), PropertyList::Format::Binary);
    if (!payload || payload->length() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    const auto length = static_cast<std::uint32_t>(payload->length());
    frame.bytes.reserve(PrefixSize + length);
    for (int shift = 24; shift >= 0; shift -= 8) {
        frame.bytes.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    frame.bytes.insert(frame.bytes.end(), payload->span().begin(), payload->span().end());
    return frame;
}

std::uint32_t MessageCodec::announcedLength(std::span<const std::uint8_t, PrefixSize> prefix)
{
    std::uint32_t length = 0;
    for (const auto byte : prefix) {
        length = (length << 8U) | byte;
    }
    return length;
}

MessageCodec::Decoded MessageCodec::decode(std::span<const std::uint8_t> payload, std::deque<int>& descriptors)
{
    // Only the binary form: the XML reader is neither needed nor as cheap.
    constexpr std::string_view kBinaryMagic = "bplist00";
    if (payload.size() < kBinaryMagic.size()
        || std::string_view(reinterpret_cast<const char*>(payload.data()), // NOLINT(*-reinterpret-cast)
               kBinaryMagic.size())
            != kBinaryMagic) {
        return refused("not a binary property list");
    }
    const auto root = PropertyList::valueFromData(Data(payload.data(), payload.size()));
    if (!root || !root->isDictionary()) {
        return refused("not a property list of a message");
    }
    const auto& fields = *root->dictionary();
    const auto& kind = fields.valueForKey("kind");
    const auto& number = fields.valueForKey("number");
    const auto selector = fields.stringForKey("selector");
    const auto arguments = fields.valueForKey("arguments").array();
    const auto& count = fields.valueForKey("descriptors");
    if (fields.size() != 5 || !kind.isInteger() || kind.int64Value() < 0 || kind.int64Value() > 2 || !number.isInteger()
        || number.int64Value() < 0 || !selector || !isSelector(*selector) || !arguments || !count.isInteger()
        || count.int64Value() < 0 || static_cast<std::uint64_t>(count.int64Value()) > MaxDescriptors) {
        return refused("a message with missing or malformed fields");
    }
    const auto carried = static_cast<std::size_t>(count.int64Value());
    if (carried > descriptors.size()) {
        return refused("a message whose file descriptors did not arrive");
    }
    std::vector<int> own(descriptors.begin(), descriptors.begin() + static_cast<std::ptrdiff_t>(carried));
    descriptors.erase(descriptors.begin(), descriptors.begin() + static_cast<std::ptrdiff_t>(carried));
    Decoder decoder(std::move(own));
    Message message;
    message.kind = static_cast<Message::Kind>(kind.int64Value());
    message.number = static_cast<std::uint64_t>(number.int64Value());
    message.selector = *selector;
    message.arguments.reserve(arguments->size());
    for (const auto& argument : *arguments) {
        auto decoded = decoder.decode(argument);
        if (!decoded) {
            return refused(decoder.refusal());
        }
        message.arguments.push_back(std::move(*decoded));
    }
    return { std::move(message), {} };
}

} // namespace lumora::platform::host::transport
