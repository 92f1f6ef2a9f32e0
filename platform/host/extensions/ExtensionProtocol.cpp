#include "platform/host/extensions/ExtensionProtocol.h"

#include "platform/foundation/Error.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/extensions/SharedPayloadRegion.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

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

} // namespace

Value ExtensionProtocol::encodeItems(const ExtensionItems& items, SharedPayloadRegion* region)
{
    auto wire = std::make_shared<Array>();
    for (const auto& item : items) {
        if (!item) {
            continue;
        }
        const std::string label = item->attributedTitle() ? item->attributedTitle()->string() : std::string();
        const auto value = ExtensionRequest::loadValueOfItem({ item }, label, kLoadTimeout);
        wire->push_back(Value(std::make_shared<Dictionary>(Dictionary {
            { std::string(kLabelKey), Value(label) },
            { std::string(kValueKey), value ? encodeValue(*value, region) : Value() },
        })));
    }
    return Value(std::move(wire));
}

std::optional<ExtensionItems> ExtensionProtocol::decodeItems(
    const Value& wire, const SharedPayloadRegion* region, std::string* refusal)
{
    std::string ignored;
    auto& reason = refusal != nullptr ? *refusal : ignored;
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
