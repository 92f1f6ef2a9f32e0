#include "platform/PropertyList.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <plist/plist.h>
#include <span>

namespace lumora::platform {

namespace {

// Seconds between 1970-01-01 and 2001-01-01, the epoch of property-list dates.
constexpr double kPlistEpochOffset = 978307200.0;

struct PlistDeleter {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

Value toValue(plist_t node, int depth)
{
    // Nesting this deep only comes from a hostile or broken file.
    if (node == nullptr || depth > 512) {
        return {};
    }
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        std::uint8_t flag = 0;
        plist_get_bool_val(node, &flag);
        return Value(flag != 0);
    }
    case PLIST_UINT: {
        std::uint64_t number = 0;
        plist_get_uint_val(node, &number);
        return Value(static_cast<std::int64_t>(number));
    }
    case PLIST_REAL: {
        double number = 0;
        plist_get_real_val(node, &number);
        return Value(number);
    }
    case PLIST_STRING: {
        // Read in place with its length: a damaged file may hold a string
        // with a NUL inside, which the copying reader refuses with an abort.
        std::uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        return Value(text != nullptr ? std::string(text, static_cast<std::size_t>(length)) : std::string());
    }
    case PLIST_DATA: {
        std::uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        return Value(bytes != nullptr ? Data(bytes, static_cast<std::size_t>(length)) : Data());
    }
    case PLIST_DATE: {
        std::int32_t seconds = 0;
        std::int32_t microseconds = 0;
        plist_get_date_val(node, &seconds, &microseconds);
        return Value(Date::dateWithTimeIntervalSince1970(kPlistEpochOffset + seconds + microseconds / 1e6));
    }
    case PLIST_ARRAY: {
        auto array = std::make_shared<Array>();
        const std::uint32_t size = plist_array_get_size(node);
        array->reserve(size);
        for (std::uint32_t i = 0; i < size; ++i) {
            array->push_back(toValue(plist_array_get_item(node, i), depth + 1));
        }
        return Value(std::move(array));
    }
    case PLIST_DICT: {
        auto dictionary = std::make_shared<Dictionary>();
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iter, &key, &item);
            if (key == nullptr) {
                break;
            }
            dictionary->insert_or_assign(std::string(key), toValue(item, depth + 1));
            std::free(key); // NOLINT(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
        }
        std::free(iter); // NOLINT(cppcoreguidelines-no-malloc,cppcoreguidelines-owning-memory)
        return Value(std::move(dictionary));
    }
    case PLIST_UID: {
        std::uint64_t uid = 0;
        plist_get_uid_val(node, &uid);
        return PropertyList::uidValue(uid);
    }
    default:
        return {};
    }
}

plist_t toPlist(const Value& value)
{
    struct Convert {
        plist_t operator()(std::monostate /*unused*/) const { return nullptr; }
        plist_t operator()(bool flag) const { return plist_new_bool(flag ? 1 : 0); }
        plist_t operator()(std::int64_t number) const { return plist_new_uint(static_cast<std::uint64_t>(number)); }
        plist_t operator()(double number) const { return plist_new_real(number); }
        plist_t operator()(const std::string& text) const { return plist_new_string(text.c_str()); }
        plist_t operator()(const Data& data) const
        {
            return plist_new_data(reinterpret_cast<const char*>(data.bytes()), data.length()); // NOLINT
        }
        plist_t operator()(const Date& date) const
        {
            const double since = date.timeIntervalSince1970() - kPlistEpochOffset;
            const double whole = std::floor(since);
            return plist_new_date(static_cast<std::int32_t>(whole), static_cast<std::int32_t>((since - whole) * 1e6));
        }
        plist_t operator()(const URL& /*unused*/) const { return nullptr; }
        plist_t operator()(const ArrayRef& array) const
        {
            PlistPtr node(plist_new_array());
            for (const auto& element : *array) {
                plist_t item = toPlist(element);
                if (item == nullptr) {
                    return nullptr;
                }
                plist_array_append_item(node.get(), item);
            }
            return node.release();
        }
        plist_t operator()(const DictionaryRef& dictionary) const
        {
            if (const auto uid = PropertyList::uidFromValue(Value(dictionary))) {
                return plist_new_uid(*uid);
            }
            PlistPtr node(plist_new_dict());
            for (const auto& [key, element] : *dictionary) {
                plist_t item = toPlist(element);
                if (item == nullptr) {
                    return nullptr;
                }
                plist_dict_set_item(node.get(), key.c_str(), item);
            }
            return node.release();
        }
        plist_t operator()(const ObjectRef& /*unused*/) const { return nullptr; }
    };
    return std::visit(Convert {}, value.storage());
}

std::uint64_t readBigEndian(std::span<const std::uint8_t> bytes, std::size_t at, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = (value << 8U) | bytes[at + i];
    }
    return value;
}

// Whether every string object of a binary property list is free of NUL
// characters. The reader aborts the process on a dictionary key with a NUL
// inside, so such files are refused before they reach it. Anything this scan
// cannot make sense of is left for the reader to refuse.
bool binaryStringsAreFreeOfNul(std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t kHeader = 8;
    constexpr std::size_t kTrailer = 32;
    if (bytes.size() < kHeader + kTrailer || std::memcmp(bytes.data(), "bplist00", kHeader) != 0) {
        return true;
    }
    const std::size_t trailer = bytes.size() - kTrailer;
    const std::size_t offsetWidth = bytes[trailer + 6];
    const std::uint64_t count = readBigEndian(bytes, trailer + 8, 8);
    const std::uint64_t table = readBigEndian(bytes, trailer + 24, 8);
    if (offsetWidth == 0 || offsetWidth > 8 || table >= trailer || count > (trailer - table) / offsetWidth) {
        return true;
    }
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t offset = readBigEndian(bytes, table + i * offsetWidth, offsetWidth);
        if (offset >= trailer) {
            continue;
        }
        const unsigned kind = bytes[offset] >> 4U;
        if (kind != 0x5 && kind != 0x6) { // ASCII and UTF-16 strings
            continue;
        }
        std::uint64_t length = bytes[offset] & 0xFU;
        std::uint64_t position = offset + 1;
        if (length == 0xF) {
            if (position >= trailer || (bytes[position] >> 4U) != 0x1) {
                continue;
            }
            const std::size_t width = std::size_t { 1 } << (bytes[position] & 0xFU);
            if (width > 8 || position + 1 + width > trailer) {
                continue;
            }
            length = readBigEndian(bytes, position + 1, width);
            position += 1 + width;
        }
        const std::size_t unit = kind == 0x5 ? 1 : 2;
        if (length > (trailer - position) / unit) {
            continue;
        }
        for (std::uint64_t c = 0; c < length; ++c) {
            const std::size_t at = position + c * unit;
            if (bytes[at] == 0 && (unit == 1 || bytes[at + 1] == 0)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

Value PropertyList::uidValue(std::uint64_t uid)
{
    // UIDs of real archives are far below 2^63; larger ones cannot be told apart.
    auto dictionary = std::make_shared<Dictionary>();
    dictionary->emplace(std::string(UIDKey), Value(static_cast<std::int64_t>(uid)));
    return Value(std::move(dictionary));
}

std::optional<std::uint64_t> PropertyList::uidFromValue(const Value& value)
{
    const auto dictionary = value.dictionary();
    if (!dictionary || dictionary->size() != 1) {
        return std::nullopt;
    }
    const Value& uid = dictionary->valueForKey(UIDKey);
    if (!uid.isInteger() || uid.int64Value() < 0) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(uid.int64Value());
}

std::optional<Value> PropertyList::valueFromData(const Data& data)
{
    if (data.empty() || data.length() > std::numeric_limits<std::uint32_t>::max()
        || !binaryStringsAreFreeOfNul(data.span())) {
        return std::nullopt;
    }
    plist_t root = nullptr;
    plist_from_memory(
        reinterpret_cast<const char*>(data.bytes()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        static_cast<std::uint32_t>(data.length()), &root);
    if (root == nullptr) {
        return std::nullopt;
    }
    const PlistPtr owner(root);
    return toValue(root, 0);
}

std::optional<Data> PropertyList::dataFromValue(const Value& value, Format format)
{
    const PlistPtr root(toPlist(value));
    if (!root) {
        return std::nullopt;
    }
    char* bytes = nullptr;
    std::uint32_t length = 0;
    if (format == Format::XML) {
        plist_to_xml(root.get(), &bytes, &length);
    } else {
        plist_to_bin(root.get(), &bytes, &length);
    }
    if (bytes == nullptr) {
        return std::nullopt;
    }
    Data data(bytes, length);
    if (format == Format::XML) {
        plist_to_xml_free(bytes);
    } else {
        plist_to_bin_free(bytes);
    }
    return data;
}

std::optional<Value> PropertyList::valueWithContentsOfFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return valueFromData(Data(std::move(bytes)));
}

bool PropertyList::writeValueToFile(const Value& value, const std::string& path, Format format)
{
    const auto data = dataFromValue(value, format);
    if (!data) {
        return false;
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(data->bytes()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        static_cast<std::streamsize>(data->length()));
    return static_cast<bool>(file);
}

} // namespace lumora::platform
