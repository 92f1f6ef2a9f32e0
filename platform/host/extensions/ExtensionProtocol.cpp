#include "platform/host/extensions/ExtensionProtocol.h"

#include "platform/foundation/Error.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/extensions/SharedPayloadRegion.h"

#include <fmt/format.h>

namespace lumora::platform::host {

namespace {

constexpr std::string_view kLabelKey = "label";
constexpr std::string_view kValueKey = "value";
constexpr std::string_view kSharedKey = "$shared";
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
    return value;
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

} // namespace lumora::platform::host
