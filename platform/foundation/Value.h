#pragma once

#include "platform/foundation/Data.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/URL.h"

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
    /// The alternatives a Value can hold, in the order `storage()` reports them.
    using Storage = std::variant<std::monostate, bool, std::int64_t, double, std::string, Data, Date, URL, ArrayRef,
        DictionaryRef, ObjectRef>;

    /// A null Value.
    Value() = default;
    /// A null Value.
    Value(std::nullptr_t) { } // NOLINT(google-explicit-constructor)
    /// A boolean.
    Value(bool value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    /// An integer, held as 64 bits.
    Value(int value) : storage_(std::int64_t { value }) { } // NOLINT(google-explicit-constructor)
    /// An integer.
    Value(std::int64_t value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    /// An unsigned 32-bit integer, held as a signed 64-bit one.
    Value(std::uint32_t value) : storage_(std::int64_t { value }) { } // NOLINT(google-explicit-constructor)
    /// A float.
    Value(double value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    /// A string, copied from a NUL-terminated UTF-8 text (not null).
    Value(const char* value) : storage_(std::string(value)) { } // NOLINT(google-explicit-constructor)
    /// A string (UTF-8).
    Value(std::string value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    /// A string, copied.
    Value(std::string_view value) : storage_(std::string(value)) { } // NOLINT(google-explicit-constructor)
    /// Bytes.
    Value(Data value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    /// A date.
    Value(Date value) : storage_(value) { } // NOLINT(google-explicit-constructor)
    /// A URL.
    Value(URL value) : storage_(std::move(value)) { } // NOLINT(google-explicit-constructor)
    /// A shared array; a null pointer makes a null Value.
    Value(ArrayRef value); // NOLINT(google-explicit-constructor)
    /// A shared dictionary; a null pointer makes a null Value.
    Value(DictionaryRef value); // NOLINT(google-explicit-constructor)
    /// A shared array, from then on read-only; a null pointer makes a null Value.
    Value(std::shared_ptr<Array> value); // NOLINT(google-explicit-constructor)
    /// A shared dictionary, from then on read-only; a null pointer makes a null
    /// Value.
    Value(std::shared_ptr<Dictionary> value); // NOLINT(google-explicit-constructor)
    /// A reference to a platform object; a null pointer makes a null Value.
    template <class T>
    requires std::is_base_of_v<Object, T> Value(std::shared_ptr<T> object) // NOLINT(google-explicit-constructor)
    {
        if (object) {
            storage_ = ObjectRef(std::move(object));
        }
    }

    /// Whether the value holds nothing.
    [[nodiscard]] bool isNull() const { return std::holds_alternative<std::monostate>(storage_); }
    /// Whether the value holds a boolean.
    [[nodiscard]] bool isBool() const { return std::holds_alternative<bool>(storage_); }
    /// Whether the value holds an integer.
    [[nodiscard]] bool isInteger() const { return std::holds_alternative<std::int64_t>(storage_); }
    /// Whether the value holds a float.
    [[nodiscard]] bool isReal() const { return std::holds_alternative<double>(storage_); }
    /// Booleans, integers and floats are all numbers.
    [[nodiscard]] bool isNumber() const { return isBool() || isInteger() || isReal(); }
    /// Whether the value holds a string.
    [[nodiscard]] bool isString() const { return std::holds_alternative<std::string>(storage_); }
    /// Whether the value holds bytes.
    [[nodiscard]] bool isData() const { return std::holds_alternative<Data>(storage_); }
    /// Whether the value holds a date.
    [[nodiscard]] bool isDate() const { return std::holds_alternative<Date>(storage_); }
    /// Whether the value holds a URL.
    [[nodiscard]] bool isURL() const { return std::holds_alternative<URL>(storage_); }
    /// Whether the value holds an array.
    [[nodiscard]] bool isArray() const { return std::holds_alternative<ArrayRef>(storage_); }
    /// Whether the value holds a dictionary.
    [[nodiscard]] bool isDictionary() const { return std::holds_alternative<DictionaryRef>(storage_); }
    /// Whether the value holds a reference to a platform object.
    [[nodiscard]] bool isObject() const { return std::holds_alternative<ObjectRef>(storage_); }

    /// Number readings. A non-number reads as 0 (false); a float is truncated
    /// toward zero, and one outside the 64-bit range reads as 0.
    [[nodiscard]] std::int64_t int64Value() const;
    /// The number as a float; 0 for a non-number, 1 or 0 for a boolean.
    [[nodiscard]] double doubleValue() const;
    /// The number as a boolean: true when it is not zero; false for a non-number.
    [[nodiscard]] bool boolValue() const;

    /// Typed access; null, nullopt or empty when the value holds another kind.
    [[nodiscard]] const std::string* string() const& { return std::get_if<std::string>(&storage_); }
    /// The bytes held, or null. The pointer lives as long as this Value.
    [[nodiscard]] const Data* data() const& { return std::get_if<Data>(&storage_); }
    // A pointer into a temporary would dangle: name the value first.
    const std::string* string() const&& = delete;
    const Data* data() const&& = delete;
    /// The date held, or nullopt.
    [[nodiscard]] std::optional<Date> date() const;
    /// The URL held, or nullopt.
    [[nodiscard]] std::optional<URL> url() const;
    /// The array held, or null.
    [[nodiscard]] ArrayRef array() const;
    /// The dictionary held, or null.
    [[nodiscard]] DictionaryRef dictionary() const;
    /// The platform object held, or null.
    [[nodiscard]] ObjectRef object() const;
    /// The platform object held when it is a `T`, or null.
    template <class T> [[nodiscard]] std::shared_ptr<T> objectAs() const
    {
        return std::dynamic_pointer_cast<T>(object());
    }

    /// The raw alternative held, for visiting every kind at once.
    [[nodiscard]] const Storage& storage() const { return storage_; }

    /// A short description for logs ("%@").
    [[nodiscard]] std::string description() const;

    /// Deep equality: containers compare by contents, objects by identity.
    friend bool operator==(const Value& lhs, const Value& rhs);

private:
    Storage storage_;
};

/// An ordered list of Values; shared through `ArrayRef` and not changed once
/// published.
class Array : public std::vector<Value> {
public:
    using std::vector<Value>::vector;
};

/// A string-keyed map of Values, in key order; shared through `DictionaryRef`
/// and not changed once published.
class Dictionary : public std::map<std::string, Value, std::less<>> {
public:
    using std::map<std::string, Value, std::less<>>::map;

    /// The value under `key`, or a null Value when the key is missing.
    [[nodiscard]] const Value& valueForKey(std::string_view key) const;
    /// The string under `key`, copied out; nullopt when missing or not a string.
    [[nodiscard]] std::optional<std::string> stringForKey(std::string_view key) const;
};

} // namespace lumora::platform
