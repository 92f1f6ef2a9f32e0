#include "platform/host/extensions/ExtensionProtocol.h"

#include "platform/foundation/Error.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/extensions/SharedPayloadRegion.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

namespace lumora::platform::host {

namespace {

constexpr std::string_view kLabelKey = "label";
constexpr std::string_view kValueKey = "value";
constexpr std::string_view kSharedKey = "$shared";
constexpr std::string_view kReplyKey = "$reply";
constexpr std::string_view kHostContextClassKey = "hostContextClass";
// How long the value of a returned item may take to load.
constexpr auto kLoadTimeout = std::chrono::seconds(5);

Value encodeValue(const Value& value, SharedPayloadRegion* region)
{
    if (const auto* data = value.data();
        data != nullptr && region != nullptr && data->length() >= SharedPayloadRegion::MinimumSharedLength) {
        if (const auto offset = region->append(*data)) {
            return Value(std::make_shared<Dictionary>(Dictionary { { std::string(kSharedKey),
                Value(std::make_shared<Array>(Array { Value(static_cast<std::int64_t>(*offset)),
                    Value(static_cast<std::int64_t>(data->length())) })) } }));
        }
        return value;
    }
    if (const auto array = value.array()) {
        auto encoded = std::make_shared<Array>();
        encoded->reserve(array->size());
        for (const auto& element : *array) {
            encoded->push_back(encodeValue(element, region));
        }
        return Value(std::move(encoded));
    }
    if (const auto dictionary = value.dictionary()) {
        auto encoded = std::make_shared<Dictionary>();
        for (const auto& [key, element] : *dictionary) {
            encoded->emplace(key, encodeValue(element, region));
        }
        return Value(std::move(encoded));
    }
    // An object other than an error has no form on the wire: it arrives as null.
    if (value.isObject() && !value.objectAs<Error>()) {
        return Value();
    }
    return value;
}

// A value of a relayed message: like an item's value, without shared places.
Value portableValue(const Value& value)
{
    return encodeValue(value, nullptr);
}

// Checks a relayed value: bounded nesting, no objects but errors, no shared places.
bool checkRelayedValue(const Value& value, std::size_t depth, std::string* refusal)
{
    if (depth > ExtensionProtocol::MaxDepth) {
        *refusal = "a value nested too deeply";
        return false;
    }
    if (const auto array = value.array()) {
        return std::all_of(array->begin(), array->end(),
            [&](const Value& element) { return checkRelayedValue(element, depth + 1, refusal); });
    }
    if (const auto dictionary = value.dictionary()) {
        if (dictionary->contains(kSharedKey)) {
            *refusal = "a shared place in a message";
            return false;
        }
        return std::all_of(dictionary->begin(), dictionary->end(),
            [&](const auto& entry) { return checkRelayedValue(entry.second, depth + 1, refusal); });
    }
    if (value.isObject() && !value.objectAs<Error>()) {
        *refusal = "an object in a message";
        return false;
    }
    return true;
}

std::optional<std::vector<std::string>> decodeSelectors(const Value& wire, std::string* refusal)
{
    const auto array = wire.array();
    if (!array || array->size() > ExtensionProtocol::MaxSelectors) {
        *refusal = "selectors that are not a short list";
        return std::nullopt;
    }
    std::vector<std::string> selectors;
    for (const auto& entry : *array) {
        const auto* selector = entry.string();
        if (selector == nullptr || selector->empty() || selector->size() > ExtensionProtocol::MaxSelectorLength) {
            *refusal = "a selector that is not a short string";
            return std::nullopt;
        }
        selectors.push_back(*selector);
    }
    return selectors;
}

Value encodeSelectors(const std::vector<std::string>& selectors)
{
    auto array = std::make_shared<Array>();
    for (const auto& selector : selectors) {
        array->emplace_back(selector);
    }
    return Value(std::move(array));
}

// `budget` is what may still be read from the shared block: places may
// overlap, but a request reads no more than the block holds.
std::optional<Value> decodeValue(const Value& value, const SharedPayloadRegion* region, std::size_t depth,
    std::uint64_t& budget, std::string* refusal)
{
    if (depth > ExtensionProtocol::MaxDepth) {
        *refusal = "a value nested too deeply";
        return std::nullopt;
    }
    if (const auto array = value.array()) {
        auto decoded = std::make_shared<Array>();
        decoded->reserve(array->size());
        for (const auto& element : *array) {
            auto item = decodeValue(element, region, depth + 1, budget, refusal);
            if (!item) {
                return std::nullopt;
            }
            decoded->push_back(std::move(*item));
        }
        return Value(std::move(decoded));
    }
    if (const auto dictionary = value.dictionary()) {
        if (const auto shared = dictionary->find(kSharedKey); shared != dictionary->end()) {
            const auto place = shared->second.array();
            if (dictionary->size() != 1 || !place || place->size() != 2 || !(*place)[0].isInteger()
                || !(*place)[1].isInteger() || (*place)[0].int64Value() < 0 || (*place)[1].int64Value() < 0) {
                *refusal = "a malformed shared place";
                return std::nullopt;
            }
            if (region == nullptr) {
                *refusal = "a shared place without shared memory";
                return std::nullopt;
            }
            const auto length = static_cast<std::uint64_t>((*place)[1].int64Value());
            if (length > budget) {
                *refusal = "shared places holding more than the shared memory";
                return std::nullopt;
            }
            auto bytes = region->read(static_cast<std::uint64_t>((*place)[0].int64Value()), length);
            if (!bytes) {
                *refusal = "a shared place outside the shared memory";
                return std::nullopt;
            }
            budget -= length;
            return Value(std::move(*bytes));
        }
        auto decoded = std::make_shared<Dictionary>();
        for (const auto& [key, element] : *dictionary) {
            auto item = decodeValue(element, region, depth + 1, budget, refusal);
            if (!item) {
                return std::nullopt;
            }
            decoded->emplace(key, std::move(*item));
        }
        return Value(std::move(decoded));
    }
    if (value.isObject()) {
        *refusal = "an object as an item's value";
        return std::nullopt;
    }
    return value;
}

// The packed record of items whose values are payloads, in the shared block:
//
//   record:     magic u32, item count u32, items
//   item:       label (text), shape u8 (1: a list, 2: one dictionary),
//               [dictionary count u32, for a list], dictionaries
//   dictionary: entry count u32, entries
//   entry:      key (text), kind u8, value
//   text:       length u16, printable ASCII bytes
//   values:     integer i64 | real f64 | boolean u8 (0 or 1) | data: length u32, bytes
//
// in the byte order of the machine both processes run on.
constexpr std::uint32_t kPackedMagic = 0x4B504D4CU;
constexpr std::string_view kPackedKey = "$packed";
enum class PackedShape : std::uint8_t { List = 1, Dictionary = 2 };
enum class PackedKind : std::uint8_t { Integer = 1, Real = 2, Boolean = 3, Bytes = 4 };

bool isPackableText(std::string_view text)
{
    return text.size() <= ExtensionProtocol::MaxSelectorLength
        && std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
}

// Whether `dictionary` is a payload: numbers, booleans and data under printable keys.
bool isPackable(const Dictionary& dictionary)
{
    return std::all_of(dictionary.begin(), dictionary.end(), [](const auto& entry) {
        const auto& [key, value] = entry;
        const auto* data = value.data();
        return isPackableText(key)
            && (value.isInteger() || value.isReal() || value.isBool()
                || (data != nullptr && data->length() <= std::numeric_limits<std::uint32_t>::max()));
    });
}

bool isPackable(const Value& value)
{
    if (const auto list = value.array()) {
        return std::all_of(list->begin(), list->end(), [](const Value& element) {
            const auto dictionary = element.dictionary();
            return dictionary && isPackable(*dictionary);
        });
    }
    const auto dictionary = value.dictionary();
    return dictionary && isPackable(*dictionary);
}

// The bytes of a data value of this length or more start on a boundary of
// `kPackedAlignment` in the block (the record itself starts on one), where
// copying them in and out is fastest.
constexpr std::size_t kPackedAlignment = 64;

std::size_t packedPadding(std::size_t at, std::size_t length)
{
    return length >= SharedPayloadRegion::MinimumSharedLength
        ? (kPackedAlignment - at % kPackedAlignment) % kPackedAlignment
        : 0;
}

// Writes a record at `base`, or only measures it when `base` is null.
class PackedWriter {
public:
    explicit PackedWriter(std::uint8_t* base) : base_(base) { }

    [[nodiscard]] std::size_t size() const { return at_; }

    void put(const void* bytes, std::size_t length)
    {
        if (base_ != nullptr && length > 0) {
            std::memcpy(base_ + at_, bytes, length); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
        }
        at_ += length;
    }
    template <typename T> void put(T value) { put(&value, sizeof value); }
    void text(std::string_view text)
    {
        put(static_cast<std::uint16_t>(text.size()));
        put(text.data(), text.size());
    }
    void dictionary(const Dictionary& dictionary)
    {
        put(static_cast<std::uint32_t>(dictionary.size()));
        for (const auto& [key, value] : dictionary) {
            text(key);
            if (value.isInteger()) {
                put(PackedKind::Integer);
                put(value.int64Value());
            } else if (value.isReal()) {
                put(PackedKind::Real);
                put(value.doubleValue());
            } else if (value.isBool()) {
                put(PackedKind::Boolean);
                put(static_cast<std::uint8_t>(value.boolValue() ? 1 : 0));
            } else {
                const auto& data = *value.data();
                put(PackedKind::Bytes);
                put(static_cast<std::uint32_t>(data.length()));
                at_ += packedPadding(at_, data.length());
                put(data.bytes(), data.length());
            }
        }
    }
    void items(const std::vector<std::pair<std::string, Value>>& values)
    {
        put(kPackedMagic);
        put(static_cast<std::uint32_t>(values.size()));
        for (const auto& [label, value] : values) {
            text(label);
            if (const auto list = value.array()) {
                put(PackedShape::List);
                put(static_cast<std::uint32_t>(list->size()));
                for (const auto& element : *list) {
                    dictionary(*element.dictionary());
                }
            } else {
                put(PackedShape::Dictionary);
                dictionary(*value.dictionary());
            }
        }
    }

private:
    std::uint8_t* base_;
    std::size_t at_ = 0;
};

// Writes `values` (labelled) as one packed record into `region`; the wire
// form naming its place, or nullopt when they are not all payloads or do not fit.
std::optional<Value> encodePacked(const std::vector<std::pair<std::string, Value>>& values, SharedPayloadRegion& region)
{
    if (!std::all_of(values.begin(), values.end(),
            [](const auto& entry) { return isPackableText(entry.first) && isPackable(entry.second); })) {
        return std::nullopt;
    }
    PackedWriter measure(nullptr);
    measure.items(values);
    const auto size = measure.size();
    std::uint64_t offset = 0;
    const auto room = region.allocate(size, offset);
    if (room.data() == nullptr) {
        return std::nullopt;
    }
    PackedWriter(room.data()).items(values);
    return Value(std::make_shared<Dictionary>(Dictionary { { std::string(kPackedKey),
        Value(std::make_shared<Array>(
            Array { Value(static_cast<std::int64_t>(offset)), Value(static_cast<std::int64_t>(size)) })) } }));
}

// Reads a packed record, refusing anything that leaves it, breaks its form
// or asks for more values than one request may have.
class PackedReader {
public:
    PackedReader(std::span<const std::uint8_t> record, std::string* refusal) : record_(record), refusal_(refusal) { }

    std::optional<ExtensionItems> items()
    {
        std::uint32_t magic = 0;
        std::uint32_t count = 0;
        if (!get(magic) || magic != kPackedMagic || !get(count)) {
            return refuse("a packed record that is not one");
        }
        if (count > ExtensionProtocol::MaxItems) {
            return refuse(fmt::format("{} items, more than {}", count, ExtensionProtocol::MaxItems));
        }
        ExtensionItems items;
        items.reserve(count);
        for (std::uint32_t i = 0; i < count; ++i) {
            std::string label;
            PackedShape shape {};
            if (!text(label) || !get(shape)) {
                return refuse("a malformed packed item");
            }
            if (shape == PackedShape::List) {
                std::uint32_t length = 0;
                if (!get(length) || !spend(length)) {
                    return refuse("a packed list longer than a request may be");
                }
                auto list = std::make_shared<Array>();
                list->reserve(length);
                for (std::uint32_t k = 0; k < length; ++k) {
                    auto dictionary = this->dictionary();
                    if (!dictionary) {
                        return std::nullopt;
                    }
                    list->emplace_back(std::move(dictionary));
                }
                items.push_back(ExtensionRequest::labelledItem(label, Value(std::move(list))));
            } else if (shape == PackedShape::Dictionary && spend(1)) {
                auto dictionary = this->dictionary();
                if (!dictionary) {
                    return std::nullopt;
                }
                items.push_back(ExtensionRequest::labelledItem(label, Value(std::move(dictionary))));
            } else {
                return refuse("a packed item of an unknown shape");
            }
        }
        if (at_ != record_.size()) {
            return refuse("a packed record with bytes after its items");
        }
        return items;
    }

private:
    std::nullopt_t refuse(std::string why)
    {
        if (refusal_->empty()) {
            *refusal_ = std::move(why);
        }
        return std::nullopt;
    }

    template <typename T> bool get(T& value)
    {
        if (record_.size() - at_ < sizeof value) {
            return false;
        }
        std::memcpy(&value, record_.data() + at_, sizeof value);
        at_ += sizeof value;
        return true;
    }

    bool text(std::string& out)
    {
        std::uint16_t length = 0;
        if (!get(length) || length > ExtensionProtocol::MaxSelectorLength || record_.size() - at_ < length) {
            return false;
        }
        const auto* begin = reinterpret_cast<const char*>(record_.data() + at_); // NOLINT(*-reinterpret-cast)
        out.assign(begin, length);
        at_ += length;
        return isPackableText(out);
    }

    bool spend(std::size_t values)
    {
        if (values > ExtensionProtocol::MaxPackedValues - spent_) {
            return false;
        }
        spent_ += values;
        return true;
    }

    DictionaryRef dictionary()
    {
        std::uint32_t count = 0;
        if (!get(count) || !spend(count)) {
            refuse("a packed dictionary larger than a request may have");
            return nullptr;
        }
        auto dictionary = std::make_shared<Dictionary>();
        for (std::uint32_t i = 0; i < count; ++i) {
            std::string key;
            PackedKind kind {};
            if (!text(key) || !get(kind)) {
                refuse("a malformed packed key");
                return nullptr;
            }
            Value value;
            if (!this->value(kind, value)) {
                refuse("a malformed packed value");
                return nullptr;
            }
            dictionary->emplace_hint(dictionary->end(), std::move(key), std::move(value));
        }
        return dictionary;
    }

    bool value(PackedKind kind, Value& value)
    {
        switch (kind) {
        case PackedKind::Integer: {
            std::int64_t number = 0;
            if (!get(number)) {
                return false;
            }
            value = Value(number);
            return true;
        }
        case PackedKind::Real: {
            double number = 0;
            if (!get(number)) {
                return false;
            }
            value = Value(number);
            return true;
        }
        case PackedKind::Boolean: {
            std::uint8_t flag = 0;
            if (!get(flag) || flag > 1) {
                return false;
            }
            value = Value(flag == 1);
            return true;
        }
        case PackedKind::Bytes: {
            std::uint32_t length = 0;
            if (!get(length)) {
                return false;
            }
            const auto padding = packedPadding(at_, length);
            if (record_.size() - at_ < padding || record_.size() - at_ - padding < length) {
                return false;
            }
            at_ += padding;
            value = Value(Data(record_.data() + at_, length));
            at_ += length;
            return true;
        }
        }
        return false;
    }

    std::span<const std::uint8_t> record_;
    std::size_t at_ = 0;
    std::size_t spent_ = 0;
    std::string* refusal_;
};

std::optional<ExtensionItems> decodePacked(
    const Dictionary& wire, const SharedPayloadRegion* region, std::string* refusal)
{
    const auto place = wire.valueForKey(kPackedKey).array();
    if (wire.size() != 1 || !place || place->size() != 2 || !(*place)[0].isInteger() || !(*place)[1].isInteger()
        || (*place)[0].int64Value() < 0 || (*place)[1].int64Value() < 0) {
        *refusal = "items that are not a list";
        return std::nullopt;
    }
    if (region == nullptr) {
        *refusal = "a packed record without shared memory";
        return std::nullopt;
    }
    const auto record = region->view(
        static_cast<std::uint64_t>((*place)[0].int64Value()), static_cast<std::uint64_t>((*place)[1].int64Value()));
    if (!record) {
        *refusal = "a packed record outside the shared memory";
        return std::nullopt;
    }
    return PackedReader(*record, refusal).items();
}

} // namespace

Value ExtensionProtocol::encodeItems(const ExtensionItems& items, SharedPayloadRegion* region)
{
    std::vector<std::pair<std::string, Value>> values;
    values.reserve(items.size());
    bool loaded = true;
    for (const auto& item : items) {
        if (!item) {
            continue;
        }
        std::string label = item->attributedTitle() ? item->attributedTitle()->string() : std::string();
        auto value = ExtensionRequest::loadValueOfItem({ item }, label, kLoadTimeout);
        loaded = loaded && value.has_value();
        values.emplace_back(std::move(label), value ? std::move(*value) : Value());
    }
    if (region != nullptr && loaded && values.size() <= MaxItems) {
        if (auto packed = encodePacked(values, *region)) {
            return std::move(*packed);
        }
    }
    auto wire = std::make_shared<Array>();
    wire->reserve(values.size());
    for (const auto& [label, value] : values) {
        wire->push_back(Value(std::make_shared<Dictionary>(Dictionary {
            { std::string(kLabelKey), Value(label) },
            { std::string(kValueKey), encodeValue(value, region) },
        })));
    }
    return Value(std::move(wire));
}

std::optional<ExtensionItems> ExtensionProtocol::decodeItems(
    const Value& wire, const SharedPayloadRegion* region, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    if (const auto packed = wire.dictionary()) {
        return decodePacked(*packed, region, &reason);
    }
    const auto array = wire.array();
    if (!array) {
        reason = "items that are not a list";
        return std::nullopt;
    }
    if (array->size() > MaxItems) {
        reason = fmt::format("{} items, more than {}", array->size(), MaxItems);
        return std::nullopt;
    }
    ExtensionItems items;
    std::uint64_t budget = region != nullptr ? region->size() : 0;
    for (const auto& entry : *array) {
        const auto dictionary = entry.dictionary();
        const auto label = dictionary ? dictionary->find(kLabelKey) : Dictionary::const_iterator();
        const auto value = dictionary ? dictionary->find(kValueKey) : Dictionary::const_iterator();
        if (!dictionary || dictionary->size() != 2 || label == dictionary->end() || !label->second.isString()
            || value == dictionary->end()) {
            reason = "an item that is not a label and a value";
            return std::nullopt;
        }
        auto decoded = decodeValue(value->second, region, 0, budget, &reason);
        if (!decoded) {
            return std::nullopt;
        }
        items.push_back(ExtensionRequest::labelledItem(*label->second.string(), std::move(*decoded)));
    }
    return items;
}

Value ExtensionProtocol::encodeOutcome(const ExtensionContext::Outcome& outcome)
{
    if (outcome.error) {
        return Value(std::const_pointer_cast<Error>(outcome.error));
    }
    return encodeItems(outcome.returnedItems, nullptr);
}

std::optional<ExtensionContext::Outcome> ExtensionProtocol::decodeOutcome(const Value& wire, std::string* refusal)
{
    if (const auto error = wire.objectAs<Error>()) {
        return ExtensionContext::Outcome { {}, error };
    }
    auto items = decodeItems(wire, nullptr, refusal);
    if (!items) {
        return std::nullopt;
    }
    return ExtensionContext::Outcome { std::move(*items), nullptr };
}

Value ExtensionProtocol::encodeOffer(const Offer& offer)
{
    auto wire = std::make_shared<Dictionary>();
    if (!offer.hostContextClass.empty()) {
        wire->emplace(std::string(kHostContextClassKey), Value(offer.hostContextClass));
    }
    wire->emplace(std::string(AuxiliaryConnectionName), encodeSelectors(offer.auxiliary));
    wire->emplace(std::string(ViewConnectionName), encodeSelectors(offer.view));
    return Value(std::move(wire));
}

std::optional<ExtensionProtocol::Offer> ExtensionProtocol::decodeOffer(const Value& wire, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    const auto dictionary = wire.dictionary();
    if (!dictionary || dictionary->size() > 3) {
        reason = "an offer that is not a dictionary of its connections";
        return std::nullopt;
    }
    Offer offer;
    if (dictionary->contains(kHostContextClassKey)) {
        const auto* name = dictionary->valueForKey(kHostContextClassKey).string();
        if (name == nullptr || name->size() > MaxSelectorLength) {
            reason = "a host context class that is not a short string";
            return std::nullopt;
        }
        offer.hostContextClass = *name;
    }
    auto auxiliary = decodeSelectors(dictionary->valueForKey(AuxiliaryConnectionName), &reason);
    auto view = auxiliary ? decodeSelectors(dictionary->valueForKey(ViewConnectionName), &reason) : std::nullopt;
    if (!view) {
        return std::nullopt;
    }
    if (dictionary->size() != (dictionary->contains(kHostContextClassKey) ? 3U : 2U)) {
        reason = "an offer with unknown entries";
        return std::nullopt;
    }
    offer.auxiliary = std::move(*auxiliary);
    offer.view = std::move(*view);
    return offer;
}

std::vector<Value> ExtensionProtocol::encodeArguments(const std::vector<Value>& arguments,
    const std::function<std::optional<std::uint64_t>(const ObjectRef& completion)>& replyNumber)
{
    if (arguments.size() > MaxArguments) {
        return {};
    }
    std::vector<Value> encoded;
    encoded.reserve(arguments.size());
    for (const auto& argument : arguments) {
        if (argument.isObject() && !argument.objectAs<Error>()) {
            const auto number = replyNumber ? replyNumber(argument.object()) : std::nullopt;
            encoded.push_back(number ? Value(std::make_shared<Dictionary>(
                                  Dictionary { { std::string(kReplyKey), Value(static_cast<std::int64_t>(*number)) } }))
                                     : Value());
            continue;
        }
        encoded.push_back(portableValue(argument));
    }
    return encoded;
}

std::optional<std::uint64_t> ExtensionProtocol::replyNumber(const Value& argument)
{
    const auto dictionary = argument.dictionary();
    if (!dictionary || dictionary->size() != 1 || !dictionary->contains(kReplyKey)) {
        return std::nullopt;
    }
    const auto& number = dictionary->valueForKey(kReplyKey);
    if (!number.isInteger() || number.int64Value() <= 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(number.int64Value());
}

namespace {

bool checkRelayedArguments(const Value& wire, std::vector<Value>* arguments, std::string* refusal)
{
    const auto array = wire.array();
    if (!array || array->size() > ExtensionProtocol::MaxArguments) {
        *refusal = "arguments that are not a short list";
        return false;
    }
    for (const auto& argument : *array) {
        if (!checkRelayedValue(argument, 0, refusal)) {
            return false;
        }
    }
    arguments->assign(array->begin(), array->end());
    return true;
}

bool checkRequestIdentifier(const Value& wire, std::string* identifier, std::string* refusal)
{
    const auto* text = wire.string();
    if (text == nullptr || text->empty() || text->size() > ExtensionProtocol::MaxSelectorLength) {
        *refusal = "a request identifier that is not a short string";
        return false;
    }
    *identifier = *text;
    return true;
}

} // namespace

std::optional<ExtensionProtocol::RelayedMessage> ExtensionProtocol::decodeRelayedMessage(
    const std::vector<Value>& arguments, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    if (arguments.size() != 4) {
        reason = "not four arguments";
        return std::nullopt;
    }
    RelayedMessage message;
    if (!checkRequestIdentifier(arguments[0], &message.requestIdentifier, &reason)) {
        return std::nullopt;
    }
    const auto* connection = arguments[1].string();
    if (connection == nullptr || (*connection != AuxiliaryConnectionName && *connection != ViewConnectionName)) {
        reason = "an unknown connection";
        return std::nullopt;
    }
    message.connection = *connection;
    const auto* selector = arguments[2].string();
    if (selector == nullptr || selector->empty() || selector->size() > MaxSelectorLength) {
        reason = "a selector that is not a short string";
        return std::nullopt;
    }
    message.selector = *selector;
    if (!checkRelayedArguments(arguments[3], &message.arguments, &reason)) {
        return std::nullopt;
    }
    return message;
}

std::optional<ExtensionProtocol::RelayedReply> ExtensionProtocol::decodeRelayedReply(
    const std::vector<Value>& arguments, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    if (arguments.size() != 3) {
        reason = "not three arguments";
        return std::nullopt;
    }
    RelayedReply reply;
    if (!checkRequestIdentifier(arguments[0], &reply.requestIdentifier, &reason)) {
        return std::nullopt;
    }
    if (!arguments[1].isInteger() || arguments[1].int64Value() <= 0) {
        reason = "a reply number that is not a positive integer";
        return std::nullopt;
    }
    reply.number = static_cast<std::uint64_t>(arguments[1].int64Value());
    if (!checkRelayedArguments(arguments[2], &reply.values, &reason)) {
        return std::nullopt;
    }
    if (std::any_of(reply.values.begin(), reply.values.end(),
            [](const Value& value) { return replyNumber(value).has_value(); })) {
        reason = "a completion in a reply";
        return std::nullopt;
    }
    return reply;
}

std::optional<std::pair<std::string, ExtensionContext::Outcome>> ExtensionProtocol::decodeRequestDidEnd(
    const std::vector<Value>& arguments, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    if (arguments.size() != 2) {
        reason = "not two arguments";
        return std::nullopt;
    }
    std::string identifier;
    if (!checkRequestIdentifier(arguments[0], &identifier, &reason)) {
        return std::nullopt;
    }
    auto outcome = decodeOutcome(arguments[1], &reason);
    if (!outcome) {
        return std::nullopt;
    }
    return std::pair { std::move(identifier), std::move(*outcome) };
}

std::optional<std::pair<std::string, Data>> ExtensionProtocol::decodePicture(
    const std::vector<Value>& arguments, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
    std::string identifier;
    if (arguments.size() != 2 || !checkRequestIdentifier(arguments[0], &identifier, &reason)) {
        if (reason.empty()) {
            reason = "not two arguments";
        }
        return std::nullopt;
    }
    static constexpr std::array<std::uint8_t, 8> kSignature { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };
    const auto* picture = arguments[1].data();
    if (picture == nullptr || picture->length() > MaxPictureBytes || picture->length() < kSignature.size()
        || !std::equal(kSignature.begin(), kSignature.end(), picture->bytes())) {
        reason = "a picture that is not a PNG of bounded size";
        return std::nullopt;
    }
    return std::pair { std::move(identifier), *picture };
}

} // namespace lumora::platform::host
