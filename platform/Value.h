#pragma once

#include "platform/Data.h"
#include "platform/Date.h"
#include "platform/Object.h"
#include "platform/URL.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lumora::platform {

class Array;
class Dictionary;

using ArrayRef = std::shared_ptr<const Array>;
using DictionaryRef = std::shared_ptr<const Dictionary>;

/// One property-list style value: nothing, a boolean, an integer, a float, a
/// string, data, a date, a URL, an array, a string-keyed dictionary or a
/// reference to a platform object (an image, a colour, an archived object).
///
/// Arrays and dictionaries are shared, immutable containers: copying a Value
/// copies a reference, and the pointer identifies the container, so "the same
/// dictionary" can be told from "an equal dictionary". To change one, copy it
/// (`std::make_shared<Dictionary>(*dict)`), change the copy and publish that.
class Value {
public:
    using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, URL, ArrayRef,
        DictionaryRef, ObjectRef>;

    Value() = default;
    Value(std::nullptr_t) { } // NOLINT(google-explicit-constructor)
    Value(bool value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    Value(int value) : storage_(std::int64_t { value }) { } // NOLINT(google-explicit-constructor)
    Value(std::int64_t value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    Value(std::uint32_t value) : storage_(std::int64_t { value }) { } // NOLINT(google-explicit-constructor)
    Value(double value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    Value(const char* value) : storage_(std::string(value)) { } // NOLINT(google-explicit-constructor)
    Value(std::string value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    Value(std::string_view value) : storage_(std::string(value)) { } // NOLINT(google-explicit-constructor)
    Value(Data value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    Value(Date value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    Value(URL value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    Value(ArrayRef value); // NOLINT(google-explicit-constructor)
    Value(DictionaryRef value); // NOLINT(google-explicit-constructor)
    Value(std::shared_ptr<Array> value); // NOLINT(google-explicit-constructor)
    Value(std::shared_ptr<Dictionary> value); // NOLINT(google-explicit-constructor)
    template <class T>
    requires std::is_base_of_v<Object, T> Value(std::shared_ptr<T> object) // NOLINT(google-explicit-constructor)
    {
        if (object) {
            storage_ = ObjectRef(std::move(object));
        }
    }

    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
    [[nodiscard]] bool isBool() const { return std::holds_alternative<bool>(storage_); }
    [[nodiscard]] bool isInteger() const { return std::holds_alternative<std::int64_t>(storage_); }
    [[nodiscard]] bool isReal() const { return std::holds_alternative<double>(storage_); }
    /// Booleans, integers and floats are all numbers.
    [[nodiscard]] bool isNumber() const { return isBool() || isInteger() || isReal(); }
    [[nodiscard]] bool isString() const { return std::holds_alternative<std::string>(storage_); }
    [[nodiscard]] bool isData() const { return std::holds_alternative<Data>(storage_); }
    [[nodiscard]] bool isDate() const { return std::holds_alternative<Date>(storage_); }
    [[nodiscard]] bool isURL() const { return std::holds_alternative<URL>(storage_); }
    [[nodiscard]] bool isArray() const { return std::holds_alternative<ArrayRef>(storage_); }
    [[nodiscard]] bool isDictionary() const { return std::holds_alternative<DictionaryRef>(storage_); }
    [[nodiscard]] bool isObject() const { return std::holds_alternative<ObjectRef>(storage_); }

    /// Number readings. A non-number reads as 0 (false); a float is truncated
    /// toward zero, and one outside the 64-bit range reads as 0.
    [[nodiscard]] std::int64_t int64Value() const;
    [[nodiscard]] double doubleValue() const;
    [[nodiscard]] bool boolValue() const;

    /// Typed access; null, nullopt or empty when the value holds another kind.
    [[nodiscard]] const std::string* string() const& { return std::get_if<std::string>(&storage_); }
    [[nodiscard]] const Data* data() const& { return std::get_if<Data>(&storage_); }
    // A pointer into a temporary would dangle: name the value first.
    const std::string* string() const&& = delete;
    const Data* data() const&& = delete;
    [[nodiscard]] std::optional<Date> date() const;
    [[nodiscard]] std::optional<URL> url() const;
    [[nodiscard]] ArrayRef array() const;
    [[nodiscard]] DictionaryRef dictionary() const;
    [[nodiscard]] ObjectRef object() const;
    template <class T> [[nodiscard]] std::shared_ptr<T> objectAs() const
    {
        return std::dynamic_pointer_cast<T>(object());
    }

    [[nodiscard]] const Storage& storage() const { return storage_; }

    /// A short description for logs ("%@").
    [[nodiscard]] std::string description() const;

    /// Deep equality: containers compare by contents, objects by identity.
    friend bool operator==(const Value& lhs, const Value& rhs);

private:
    Storage storage_;
};

class Array : public std::vector<Value> {
public:
    using std::vector<Value>::vector;
};

class Dictionary : public std::map<std::string, Value, std::less<>> {
public:
    using std::map<std::string, Value, std::less<>>::map;

    /// The value under `key`, or a null Value when the key is missing.
    [[nodiscard]] const Value& valueForKey(std::string_view key) const;
    /// The string under `key`, copied out; nullopt when missing or not a string.
    [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;
};

} // namespace lumora::platform
