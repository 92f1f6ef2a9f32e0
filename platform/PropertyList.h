#pragma once

#include "platform/Data.h"
#include "platform/Value.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumora::platform {

/// Property lists: XML and binary images of Values (dictionaries, arrays,
/// strings, numbers, booleans, data and dates; URLs and objects have no
/// property-list form).
class PropertyList {
public:
    enum class Format : std::uint8_t { XML, Binary };

    /// Parses an XML or binary property list; nullopt when `data` is not one.
    static std::optional<Value> valueFromData(const Data& data);
    /// The image of `value`; nullopt when it holds something without a
    /// property-list form.
    static std::optional<Data> dataFromValue(const Value& value, Format format);

    /// Reads a property-list file; nullopt when the file is missing or unreadable.
    static std::optional<Value> valueWithContentsOfFile(const std::string& path);
    static bool writeValueToFile(const Value& value, const std::string& path, Format format);
};

} // namespace lumora::platform
