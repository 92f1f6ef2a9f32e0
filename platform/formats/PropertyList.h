#pragma once

#include "platform/foundation/Data.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::platform {

/// Property lists: XML and binary images of Values (dictionaries, arrays,
/// strings, numbers, booleans, data and dates; URLs and objects have no
/// property-list form).
///
/// A UID (the object reference of keyed archives) reads as a dictionary whose
/// only key is "CF$UID" with a non-negative integer, as in the XML form of a
/// property list, and such a dictionary is written back as a UID.
class PropertyList {
public:
    /// The two encodings of a property list.
    enum class Format : std::uint8_t { XML, Binary };

    /// The only key of a dictionary that stands for a UID.
    static constexpr std::string_view UIDKey = "CF$UID";
    /// The value that stands for the UID `uid`.
    static Value uidValue(std::uint64_t uid);
    /// The UID that `value` stands for, or nullopt when it stands for none.
    static std::optional<std::uint64_t> uidFromValue(const Value& value);

    /// Parses an XML or binary property list; nullopt when `data` is not one,
    /// or is a binary one with a NUL character inside a string.
    static std::optional<Value> valueFromData(const Data& data);
    /// The image of `value`; nullopt when it holds something without a
    /// property-list form.
    static std::optional<Data> dataFromValue(const Value& value, Format format);

    /// Reads a property-list file; nullopt when the file is missing or unreadable.
    static std::optional<Value> valueWithContentsOfFile(const std::string& path);
    /// Writes the image of `value` in `format` to the file at `path`, replacing
    /// it whole (through a temporary file renamed onto it, so a failure leaves
    /// the old file); false when `value` has no property-list form or the file
    /// cannot be written.
    static bool writeValueToFile(const Value& value, const std::string& path, Format format);
};

} // namespace lumora::platform
