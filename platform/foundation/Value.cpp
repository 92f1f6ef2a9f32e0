#include "platform/foundation/Value.h"

#include <cmath>
#include <fmt/format.h>
#include <limits>

namespace lumora::platform {

Value::Value(ArrayRef value)
{
    if (value) {
        storage_ = std::move(value);
    }
}

Value::Value(DictionaryRef value)
{
    if (value) {
        storage_ = std::move(value);
    }
}

Value::Value(std::shared_ptr<Array> value) : Value(ArrayRef(std::move(value))) { }

Value::Value(std::shared_ptr<Dictionary> value) : Value(DictionaryRef(std::move(value))) { }

std::int64_t Value::int64Value() const
{
    if (const auto* integer = std::get_if<std::int64_t>(&storage_)) {
        return *integer;
    }
    if (const auto* flag = std::get_if<bool>(&storage_)) {
        return *flag ? 1 : 0;
    }
    if (const auto* real = std::get_if<double>(&storage_)) {
        // A float outside the 64-bit range (or not a number) has no integer reading.
        constexpr double limit = 9223372036854775808.0;
        if (std::isnan(*real) || *real >= limit || *real < -limit) {
            return 0;
        }
        return static_cast<std::int64_t>(*real);
    }
    return 0;
}

double Value::doubleValue() const
{
    if (const auto* real = std::get_if<double>(&storage_)) {
        return *real;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&storage_)) {
        return static_cast<double>(*integer);
    }
    if (const auto* flag = std::get_if<bool>(&storage_)) {
        return *flag ? 1.0 : 0.0;
    }
    return 0.0;
}

bool Value::boolValue() const
{
    if (const auto* flag = std::get_if<bool>(&storage_)) {
        return *flag;
    }
    if (const auto* integer = std::get_if<std::int64_t>(&storage_)) {
        return *integer != 0;
    }
    if (const auto* real = std::get_if<double>(&storage_)) {
        return *real != 0.0;
    }
    return false;
}

std::optional<Date> Value::date() const
{
    if (const auto* date = std::get_if<Date>(&storage_)) {
        return *date;
    }
    return std::nullopt;
}

std::optional<URL> Value::url() const
{
    if (const auto* url = std::get_if<URL>(&storage_)) {
        return *url;
    }
    return std::nullopt;
}

ArrayRef Value::array() const
{
    if (const auto* array = std::get_if<ArrayRef>(&storage_)) {
        return *array;
    }
    return nullptr;
}

DictionaryRef Value::dictionary() const
{
    if (const auto* dictionary = std::get_if<DictionaryRef>(&storage_)) {
        return *dictionary;
    }
    return nullptr;
}

ObjectRef Value::object() const
{
    if (const auto* object = std::get_if<ObjectRef>(&storage_)) {
        return *object;
    }
    return nullptr;
}

std::string Value::description() const
{
    struct Describe {
        std::string operator()(std::monostate /*unused*/) const { return "(null)"; }
        std::string operator()(bool value) const { return value ? "1" : "0"; }
        std::string operator()(std::int64_t value) const { return std::to_string(value); }
        std::string operator()(double value) const { return fmt::format("{}", value); }
        std::string operator()(const std::string& value) const { return value; }
        std::string operator()(const Data& value) const { return fmt::format("{{length = {}}}", value.length()); }
        std::string operator()(const Date& value) const { return fmt::format("{}", value.timeIntervalSince1970()); }
        std::string operator()(const URL& value) const { return value.absoluteString(); }
        std::string operator()(const ArrayRef& value) const
        {
            std::string text = "(";
            for (const auto& element : *value) {
                text += (text.size() > 1 ? ", " : "") + element.description();
            }
            return text + ")";
        }
        std::string operator()(const DictionaryRef& value) const
        {
            std::string text = "{";
            for (const auto& [key, element] : *value) {
                text += (text.size() > 1 ? "; " : "") + key + " = " + element.description();
            }
            return text + "}";
        }
        std::string operator()(const ObjectRef& value) const { return value->description(); }
    };
    return std::visit(Describe {}, storage_);
}

bool operator==(const Value& lhs, const Value& rhs)
{
    if (lhs.storage_.index() != rhs.storage_.index()) {
        return false;
    }
    if (const auto* array = std::get_if<ArrayRef>(&lhs.storage_)) {
        const auto& other = std::get<ArrayRef>(rhs.storage_);
        return *array == other
            || static_cast<const std::vector<Value>&>(**array) == static_cast<const std::vector<Value>&>(*other);
    }
    if (const auto* dictionary = std::get_if<DictionaryRef>(&lhs.storage_)) {
        const auto& other = std::get<DictionaryRef>(rhs.storage_);
        using Base = std::map<std::string, Value, std::less<>>;
        return *dictionary == other || static_cast<const Base&>(**dictionary) == static_cast<const Base&>(*other);
    }
    return lhs.storage_ == rhs.storage_;
}

const Value& Dictionary::valueForKey(std::string_view key) const
{
    // Never destroyed: dictionaries may still be read on other threads while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const missing = new const Value();
    const auto found = find(key);
    return found == end() ? *missing : found->second;
}

} // namespace lumora::platform

namespace lumora::platform {

std::optional<std::string> Dictionary::stringForKey(std::string_view key) const
{
    if (const auto* text = valueForKey(key).string()) {
        return *text;
    }
    return std::nullopt;
}

} // namespace lumora::platform
