#include "platform/formats/PropertyList.h"

#include "platform/formats/AtomicFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <memory_resource>
#include <plist/plist.h>
#include <span>
#include <unordered_map>
#include <vector>

namespace lumora::platform {

namespace {

// Seconds between 1970-01-01 and 2001-01-01, the epoch of property-list dates.
constexpr double kPlistEpochOffset = 978307200.0;

// Containers nested deeper than this are refused: real property lists stay
// far below it, and every reader of the result may walk it recursively.
constexpr int kMaxDepth = 512;

// The containers a value holds, looked at without taking a reference.
const Array* arrayOf(const Value& value)
{
    const auto* array = std::get_if<ArrayRef>(&value.storage());
    return array != nullptr ? array->get() : nullptr;
}

const Dictionary* dictionaryOf(const Value& value)
{
    const auto* dictionary = std::get_if<DictionaryRef>(&value.storage());
    return dictionary != nullptr ? dictionary->get() : nullptr;
}

// Dates are kept to the whole seconds since 2001 that the writer can express.
bool dateIsRepresentable(double sinceReferenceDate)
{
    return std::isfinite(sinceReferenceDate)
        && sinceReferenceDate >= static_cast<double>(std::numeric_limits<std::int32_t>::min())
        && sinceReferenceDate < static_cast<double>(std::numeric_limits<std::int32_t>::max()) + 1.0;
}

struct PlistDeleter {
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

Value toValue(plist_t node, int depth)
{
    // Nesting this deep only comes from a hostile or broken file.
    if (node == nullptr || depth > kMaxDepth) {
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
            if (!dateIsRepresentable(since)) {
                return nullptr;
            }
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

void appendUTF8(std::string& out, std::uint32_t code)
{
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out.push_back(static_cast<char>(0xC0U | (code >> 6U)));
        out.push_back(static_cast<char>(0x80U | (code & 0x3FU)));
    } else if (code < 0x10000) {
        out.push_back(static_cast<char>(0xE0U | (code >> 12U)));
        out.push_back(static_cast<char>(0x80U | ((code >> 6U) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | (code & 0x3FU)));
    } else {
        out.push_back(static_cast<char>(0xF0U | (code >> 18U)));
        out.push_back(static_cast<char>(0x80U | ((code >> 12U) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | ((code >> 6U) & 0x3FU)));
        out.push_back(static_cast<char>(0x80U | (code & 0x3FU)));
    }
}

// Reads the binary form. Every object is decoded once and shared by all the
// containers that refer to it, so a file whose objects refer to one another
// many times over costs no more than its size. Strings are the exception (a
// value holds its own copy of one), so the text copied into containers is
// counted, and a file that makes it exceed a fixed multiple of its size is
// unreadable, like one with a reference back to a container still being
// read, a reference or offset outside the file, or nesting deeper than
// kMaxDepth.
class BinaryReader {
public:
    explicit BinaryReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) { }

    std::optional<Value> read()
    {
        constexpr std::size_t kHeader = 8;
        constexpr std::size_t kTrailer = 32;
        if (bytes_.size() < kHeader + kTrailer) {
            return std::nullopt;
        }
        end_ = bytes_.size() - kTrailer;
        offsetWidth_ = bytes_[end_ + 6];
        refWidth_ = bytes_[end_ + 7];
        const std::uint64_t count = readBigEndian(end_ + 8, 8);
        const std::uint64_t top = readBigEndian(end_ + 16, 8);
        const std::uint64_t table = readBigEndian(end_ + 24, 8);
        if (offsetWidth_ == 0 || offsetWidth_ > 8 || refWidth_ == 0 || refWidth_ > 8 || table < kHeader || table >= end_
            || count == 0 || count > (end_ - table) / offsetWidth_ || top >= count) {
            return std::nullopt;
        }
        table_ = table;
        objects_.assign(count, Slot {});
        const Value& value = object(top, 0);
        if (failed_) {
            return std::nullopt;
        }
        return value;
    }

private:
    enum class State : std::uint8_t { Unread, Reading, Read };
    struct Slot {
        State state = State::Unread;
        Value value;
    };

    std::uint64_t readBigEndian(std::size_t at, std::size_t width) const
    {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value = (value << 8U) | bytes_[at + i];
        }
        return value;
    }

    Value fail()
    {
        failed_ = true;
        return {};
    }

    const Value& failedObject()
    {
        static const Value none;
        failed_ = true;
        return none;
    }

    // Counts a string copied into a container; false once the copies exceed
    // the file's budget.
    bool copied(const Value& element)
    {
        constexpr std::size_t kBudgetPerByte = 32;
        constexpr std::size_t kBudgetFloor = std::size_t { 1 } << 20U;
        if (const auto* text = element.string()) {
            copiedText_ += text->size();
        }
        return copiedText_ <= (bytes_.size() * kBudgetPerByte) + kBudgetFloor;
    }

    // The object count and the position after it, for markers whose low four
    // bits are a count (0xF: an integer object with the count follows).
    bool countAt(std::size_t& position, std::uint64_t& count)
    {
        count = bytes_[position] & 0xFU;
        ++position;
        if (count != 0xF) {
            return true;
        }
        if (position >= end_ || (bytes_[position] >> 4U) != 0x1) {
            return false;
        }
        const std::size_t width = std::size_t { 1 } << (bytes_[position] & 0xFU);
        if (width > 8 || width > end_ - position - 1) {
            return false;
        }
        count = readBigEndian(position + 1, width);
        position += 1 + width;
        return true;
    }

    // The object at `index`, read on first use; valid while the reader is.
    const Value& object(std::uint64_t index, int depth)
    {
        if (failed_ || index >= objects_.size()) {
            return failedObject();
        }
        Slot& slot = objects_[index];
        if (slot.state == State::Read) {
            return slot.value;
        }
        if (slot.state == State::Reading || depth > kMaxDepth) {
            return failedObject();
        }
        const std::uint64_t offset = readBigEndian(table_ + index * offsetWidth_, offsetWidth_);
        if (offset < 8 || offset >= end_) {
            return failedObject();
        }
        slot.state = State::Reading;
        Value value = parse(static_cast<std::size_t>(offset), depth);
        // The slot is looked up again: nothing resizes the table while reading.
        Slot& read = objects_[index];
        read.value = std::move(value);
        read.state = State::Read;
        return read.value;
    }

    Value parse(std::size_t position, int depth)
    {
        const std::uint8_t marker = bytes_[position];
        const std::size_t low = marker & 0xFU;
        switch (marker >> 4U) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09) {
                return Value(marker == 0x09);
            }
            return fail();
        case 0x1: {
            const std::size_t width = std::size_t { 1 } << low;
            if (low > 4 || width > end_ - position - 1) {
                return fail();
            }
            // Sixteen-byte integers keep their low 64 bits.
            const std::size_t skip = width > 8 ? width - 8 : 0;
            return Value(static_cast<std::int64_t>(readBigEndian(position + 1 + skip, width - skip)));
        }
        case 0x2: {
            if ((low != 2 && low != 3) || (std::size_t { 1 } << low) > end_ - position - 1) {
                return fail();
            }
            if (low == 2) {
                const auto bits = static_cast<std::uint32_t>(readBigEndian(position + 1, 4));
                return Value(static_cast<double>(std::bit_cast<float>(bits)));
            }
            return Value(std::bit_cast<double>(readBigEndian(position + 1, 8)));
        }
        case 0x3: {
            if (marker != 0x33 || end_ - position - 1 < 8) {
                return fail();
            }
            const auto since = std::bit_cast<double>(readBigEndian(position + 1, 8));
            if (!dateIsRepresentable(since)) {
                return fail();
            }
            return Value(Date::dateWithTimeIntervalSince1970(kPlistEpochOffset + since));
        }
        case 0x4: {
            std::uint64_t length = 0;
            if (!countAt(position, length) || length > end_ - position) {
                return fail();
            }
            return Value(Data(bytes_.data() + position, static_cast<std::size_t>(length)));
        }
        case 0x5: {
            std::uint64_t length = 0;
            if (!countAt(position, length) || length > end_ - position) {
                return fail();
            }
            const auto* text = reinterpret_cast<const char*>(bytes_.data() + position); // NOLINT
            return Value(std::string(text, static_cast<std::size_t>(length)));
        }
        case 0x6:
            return utf16String(position);
        case 0x8: {
            if (low + 1 > end_ - position - 1 || low >= 8) {
                return fail();
            }
            return PropertyList::uidValue(readBigEndian(position + 1, low + 1));
        }
        case 0xA:
            return array(position, depth);
        case 0xD:
            return dictionary(position, depth);
        default:
            return fail();
        }
    }

    Value utf16String(std::size_t position)
    {
        std::uint64_t units = 0;
        if (!countAt(position, units) || units > (end_ - position) / 2) {
            return fail();
        }
        std::string string;
        string.reserve(static_cast<std::size_t>(units));
        for (std::uint64_t i = 0; i < units; ++i) {
            std::uint32_t code = readBigEndian(position + (2 * i), 2);
            if (code >= 0xD800 && code < 0xDC00 && i + 1 < units) {
                const auto next = static_cast<std::uint32_t>(readBigEndian(position + (2 * (i + 1)), 2));
                if (next >= 0xDC00 && next < 0xE000) {
                    code = 0x10000 + ((code - 0xD800) << 10U) + (next - 0xDC00);
                    ++i;
                }
            }
            if (code >= 0xD800 && code < 0xE000) {
                code = 0xFFFD; // an unpaired surrogate
            }
            appendUTF8(string, code);
        }
        return Value(std::move(string));
    }

    // The references of a container at `position`: `groups` runs of `count`.
    bool references(std::size_t& position, std::uint64_t& count, std::uint64_t groups)
    {
        return countAt(position, count) && count <= (end_ - position) / refWidth_ / groups;
    }

    Value array(std::size_t position, int depth)
    {
        std::uint64_t count = 0;
        if (!references(position, count, 1)) {
            return fail();
        }
        auto array = std::make_shared<Array>();
        array->reserve(static_cast<std::size_t>(count));
        for (std::uint64_t i = 0; i < count && !failed_; ++i) {
            const Value& element = object(readBigEndian(position + (i * refWidth_), refWidth_), depth + 1);
            if (!copied(element)) {
                return fail();
            }
            array->push_back(element);
        }
        return failed_ ? Value() : Value(std::move(array));
    }

    Value dictionary(std::size_t position, int depth)
    {
        std::uint64_t count = 0;
        if (!references(position, count, 2)) {
            return fail();
        }
        auto dictionary = std::make_shared<Dictionary>();
        for (std::uint64_t i = 0; i < count && !failed_; ++i) {
            const Value& key = object(readBigEndian(position + (i * refWidth_), refWidth_), depth + 1);
            const std::string* text = key.string();
            if (text == nullptr || !copied(key)) {
                return fail();
            }
            const Value& element = object(readBigEndian(position + ((count + i) * refWidth_), refWidth_), depth + 1);
            if (!copied(element)) {
                return fail();
            }
            dictionary->insert_or_assign(*text, element);
        }
        return failed_ ? Value() : Value(std::move(dictionary));
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t end_ = 0;
    std::size_t table_ = 0;
    std::size_t offsetWidth_ = 0;
    std::size_t refWidth_ = 0;
    // The table of objects lives in the reader while a small file's fits.
    static constexpr std::size_t kArenaSize = 2048;
    std::array<std::byte, kArenaSize> arenaBuffer_ {};
    std::pmr::monotonic_buffer_resource arena_ { arenaBuffer_.data(), arenaBuffer_.size() };
    std::pmr::vector<Slot> objects_ { std::pmr::polymorphic_allocator<Slot>(&arena_) };
    std::size_t copiedText_ = 0;
    bool failed_ = false;
};

std::size_t widthFor(std::uint64_t largest)
{
    if (largest <= 0xFFU) {
        return 1;
    }
    if (largest <= 0xFFFFU) {
        return 2;
    }
    return largest <= 0xFFFFFFFFU ? 4 : 8;
}

void appendBigEndian(std::vector<std::uint8_t>& out, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = width; i > 0; --i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
    }
}

// Appends a marker with a count: in its low four bits when below 15,
// otherwise as an integer object after it.
void appendMarker(std::vector<std::uint8_t>& out, std::uint8_t kind, std::uint64_t count)
{
    if (count < 0xF) {
        out.push_back(static_cast<std::uint8_t>((kind << 4U) | count));
        return;
    }
    out.push_back(static_cast<std::uint8_t>((kind << 4U) | 0xFU));
    const std::size_t width = widthFor(count);
    out.push_back(static_cast<std::uint8_t>(0x10U | static_cast<unsigned>(std::countr_zero(width))));
    appendBigEndian(out, count, width);
}

// The next code point of UTF-8 `text` at `at` (advanced past it); malformed
// bytes read as U+FFFD one at a time.
std::uint32_t nextCodePoint(std::string_view text, std::size_t& at)
{
    const auto lead = static_cast<std::uint8_t>(text[at++]);
    std::size_t extra = 0;
    std::uint32_t code = 0;
    if (lead < 0x80) {
        return lead;
    }
    if ((lead & 0xE0U) == 0xC0U) {
        extra = 1;
        code = lead & 0x1FU;
    } else if ((lead & 0xF0U) == 0xE0U) {
        extra = 2;
        code = lead & 0x0FU;
    } else if ((lead & 0xF8U) == 0xF0U) {
        extra = 3;
        code = lead & 0x07U;
    } else {
        return 0xFFFD;
    }
    if (text.size() - at < extra) {
        return 0xFFFD;
    }
    for (std::size_t i = 0; i < extra; ++i) {
        const auto next = static_cast<std::uint8_t>(text[at + i]);
        if ((next & 0xC0U) != 0x80U) {
            return 0xFFFD;
        }
        code = (code << 6U) | (next & 0x3FU);
    }
    at += extra;
    return code > 0x10FFFF || (code >= 0xD800 && code < 0xE000) ? 0xFFFD : code;
}

// Writes the binary form. Equal strings are written once, and a container
// shared by several others (the same array or dictionary, by identity) is
// written once and referred to from each.
class BinaryWriter {
public:
    std::optional<Data> write(const Value& root)
    {
        // Room for a small list (an archived configuration, a payload)
        // without growing; larger ones grow as usual.
        constexpr std::size_t kTypicalObjects = 16;
        objects_.reserve(kTypicalObjects);
        references_.reserve(2 * kTypicalObjects);
        pending_.reserve(kTypicalObjects);
        strings_.reserve(kTypicalObjects);
        containers_.reserve(kTypicalObjects);
        if (!add(root)) {
            return std::nullopt;
        }
        const std::size_t refWidth = widthFor(objects_.size() - 1);
        std::vector<std::uint8_t> out { 'b', 'p', 'l', 'i', 's', 't', '0', '0' };
        // Enough for small objects, their references and the trailer at once.
        out.reserve(64 + (objects_.size() * 12) + (references_.size() * refWidth));
        std::vector<std::uint64_t> offsets;
        offsets.reserve(objects_.size());
        for (const auto& object : objects_) {
            offsets.push_back(out.size());
            if (!encode(out, object, refWidth)) {
                return std::nullopt;
            }
        }
        const std::uint64_t table = out.size();
        const std::size_t offsetWidth = widthFor(table);
        for (const auto offset : offsets) {
            appendBigEndian(out, offset, offsetWidth);
        }
        out.insert(out.end(), 6, 0);
        out.push_back(static_cast<std::uint8_t>(offsetWidth));
        out.push_back(static_cast<std::uint8_t>(refWidth));
        appendBigEndian(out, objects_.size(), 8);
        appendBigEndian(out, 0, 8);
        appendBigEndian(out, table, 8);
        return Data(std::move(out));
    }

private:
    struct Object {
        const Value* value = nullptr; // null for a dictionary key
        std::string_view key;
        std::optional<std::uint64_t> uid;
        std::size_t firstReference = 0; // in references_
        std::size_t referenceCount = 0;
    };

    std::optional<std::uint64_t> addString(std::string_view text, const Value* value)
    {
        if (const auto found = strings_.find(text); found != strings_.end()) {
            return found->second;
        }
        const std::uint64_t index = objects_.size();
        objects_.push_back(Object { value, text, std::nullopt, 0, 0 });
        strings_.emplace(text, index);
        return index;
    }

    std::optional<std::uint64_t> add(const Value& value)
    {
        if (const auto* text = value.string()) {
            return addString(*text, &value);
        }
        const std::uint64_t index = objects_.size();
        if (const auto uid = PropertyList::uidFromValue(value)) {
            // Each reference gets an object of its own, even where the
            // archiver shares one UID value between references.
            objects_.push_back(Object { &value, {}, uid, 0, 0 });
            return index;
        }
        const Array* const array = arrayOf(value);
        const Dictionary* const dictionary = array == nullptr ? dictionaryOf(value) : nullptr;
        const void* container = array != nullptr ? static_cast<const void*>(array) : dictionary;
        if (container != nullptr) {
            if (const auto found = containers_.find(container); found != containers_.end()) {
                return found->second;
            }
        }
        objects_.push_back(Object { &value, {}, std::nullopt, 0, 0 });
        // A container's references gather on the pending stack (its
        // elements' own references come and go above them) and then move to
        // the flat table in one piece.
        const std::size_t first = pending_.size();
        if (array != nullptr) {
            for (const auto& element : *array) {
                const auto reference = add(element);
                if (!reference) {
                    return std::nullopt;
                }
                pending_.push_back(*reference);
            }
        } else if (dictionary != nullptr) {
            for (const auto& [key, element] : *dictionary) {
                pending_.push_back(*addString(key, nullptr));
            }
            for (const auto& [key, element] : *dictionary) {
                const auto reference = add(element);
                if (!reference) {
                    return std::nullopt;
                }
                pending_.push_back(*reference);
            }
        } else if (value.isNull() || value.isURL() || value.isObject()) {
            return std::nullopt;
        }
        objects_[index].firstReference = references_.size();
        objects_[index].referenceCount = pending_.size() - first;
        references_.insert(references_.end(), pending_.begin() + static_cast<std::ptrdiff_t>(first), pending_.end());
        pending_.resize(first);
        if (container != nullptr) {
            containers_.emplace(container, index);
        }
        return index;
    }

    static void encodeString(std::vector<std::uint8_t>& out, std::string_view text)
    {
        const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
        if (ascii) {
            appendMarker(out, 0x5, text.size());
            out.insert(out.end(), text.begin(), text.end());
            return;
        }
        std::vector<std::uint16_t> units;
        for (std::size_t at = 0; at < text.size();) {
            const std::uint32_t code = nextCodePoint(text, at);
            if (code >= 0x10000) {
                units.push_back(static_cast<std::uint16_t>(0xD800 + ((code - 0x10000) >> 10U)));
                units.push_back(static_cast<std::uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FFU)));
            } else {
                units.push_back(static_cast<std::uint16_t>(code));
            }
        }
        appendMarker(out, 0x6, units.size());
        for (const auto unit : units) {
            appendBigEndian(out, unit, 2);
        }
    }

    bool encode(std::vector<std::uint8_t>& out, const Object& object, std::size_t refWidth) const
    {
        if (object.value == nullptr || object.value->isString()) {
            encodeString(out, object.key);
            return true;
        }
        const Value& value = *object.value;
        if (object.uid) {
            const std::size_t width = widthFor(*object.uid);
            out.push_back(static_cast<std::uint8_t>(0x80U | (width - 1)));
            appendBigEndian(out, *object.uid, width);
        } else if (value.isBool()) {
            out.push_back(value.boolValue() ? 0x09 : 0x08);
        } else if (value.isInteger()) {
            const std::int64_t number = value.int64Value();
            const std::size_t width = number < 0 ? 8 : widthFor(static_cast<std::uint64_t>(number));
            out.push_back(static_cast<std::uint8_t>(0x10U | static_cast<unsigned>(std::countr_zero(width))));
            appendBigEndian(out, static_cast<std::uint64_t>(number), width);
        } else if (value.isReal()) {
            out.push_back(0x23);
            appendBigEndian(out, std::bit_cast<std::uint64_t>(value.doubleValue()), 8);
        } else if (const auto* date = std::get_if<Date>(&value.storage())) {
            const double since = date->timeIntervalSince1970() - kPlistEpochOffset;
            if (!dateIsRepresentable(since)) {
                return false;
            }
            out.push_back(0x33);
            appendBigEndian(out, std::bit_cast<std::uint64_t>(since), 8);
        } else if (const auto* data = value.data()) {
            appendMarker(out, 0x4, data->length());
            out.insert(out.end(), data->span().begin(), data->span().end());
        } else if (value.isArray() || value.isDictionary()) {
            const std::span references(references_.data() + object.firstReference, object.referenceCount);
            appendMarker(out, value.isArray() ? 0xA : 0xD, value.isArray() ? references.size() : references.size() / 2);
            for (const auto reference : references) {
                appendBigEndian(out, reference, refWidth);
            }
        }
        return true;
    }

    // The writer's own tables live in one arena, on the stack while a small
    // list fits in it: writing a small list takes no allocation besides its
    // output.
    static constexpr std::size_t kArenaSize = 4096;
    std::array<std::byte, kArenaSize> arenaBuffer_ {};
    std::pmr::monotonic_buffer_resource arena_ { arenaBuffer_.data(), arenaBuffer_.size() };
    std::pmr::vector<Object> objects_ { std::pmr::polymorphic_allocator<Object>(&arena_) };
    std::pmr::vector<std::uint64_t> references_ { std::pmr::polymorphic_allocator<std::uint64_t>(&arena_) };
    std::pmr::vector<std::uint64_t> pending_ { std::pmr::polymorphic_allocator<std::uint64_t>(&arena_) };
    std::pmr::unordered_map<std::string_view, std::uint64_t> strings_ { &arena_ };
    std::pmr::unordered_map<const void*, std::uint64_t> containers_ { &arena_ };
};

// Objects the XML form of a value may hold.
constexpr std::uint64_t kMaxXMLObjects = std::uint64_t { 1 } << 20U;

// How many objects the XML form of `value` holds, counting each shared
// container once per reference; it stops growing past kMaxXMLObjects.
std::uint64_t expandedObjectCount(const Value& value, std::unordered_map<const void*, std::uint64_t>& counted)
{
    const void* container = nullptr;
    if (const auto& array = value.array()) {
        container = array.get();
    } else if (const auto& dictionary = value.dictionary()) {
        container = dictionary.get();
    } else {
        return 1;
    }
    if (const auto found = counted.find(container); found != counted.end()) {
        return found->second;
    }
    std::uint64_t count = 1;
    if (const auto& array = value.array()) {
        for (const auto& element : *array) {
            count = std::min(count + expandedObjectCount(element, counted), kMaxXMLObjects + 1);
        }
    } else {
        for (const auto& [key, element] : *value.dictionary()) {
            count = std::min(count + 1 + expandedObjectCount(element, counted), kMaxXMLObjects + 1);
        }
    }
    counted.emplace(container, count);
    return count;
}

// The deepest nesting of arrays and dictionaries in an XML property list,
// counted from its tags alone (anything that looks like an opening tag counts,
// closed or not), stopping once it exceeds kMaxDepth. The XML reader and the
// release of what it builds both recurse, so deeper files never reach them.
bool xmlNestingIsShallow(std::span<const std::uint8_t> bytes)
{
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size()); // NOLINT
    int depth = 0;
    for (std::size_t at = text.find('<'); at != std::string_view::npos; at = text.find('<', at + 1)) {
        const std::string_view tag = text.substr(at + 1);
        const bool closing = tag.starts_with('/');
        const std::string_view name = closing ? tag.substr(1) : tag;
        std::size_t nameLength = 0;
        if (name.starts_with("array")) {
            nameLength = 5;
        } else if (name.starts_with("dict")) {
            nameLength = 4;
        } else {
            continue;
        }
        if (name.size() > nameLength && (std::isalnum(static_cast<unsigned char>(name[nameLength])) != 0)) {
            continue;
        }
        const std::size_t close = name.find('>');
        const bool empty = close != std::string_view::npos && close > 0 && name[close - 1] == '/';
        if (closing) {
            depth = std::max(depth - 1, 0);
        } else if (!empty && ++depth > kMaxDepth) {
            return false;
        }
    }
    return true;
}

Value makeUIDValue(std::uint64_t uid)
{
    // UIDs of real archives are far below 2^63; larger ones cannot be told apart.
    auto dictionary = std::make_shared<Dictionary>();
    dictionary->emplace(std::string(PropertyList::UIDKey), Value(static_cast<std::int64_t>(uid)));
    return Value(std::move(dictionary));
}

} // namespace

Value PropertyList::uidValue(std::uint64_t uid)
{
    // Archives refer to their first few hundred objects over and over: those
    // UIDs are made once and shared (a container is immutable once shared).
    constexpr std::uint64_t kShared = 512;
    static const std::vector<Value> shared = [] {
        std::vector<Value> values;
        values.reserve(kShared);
        for (std::uint64_t each = 0; each < kShared; ++each) {
            values.push_back(makeUIDValue(each));
        }
        return values;
    }();
    return uid < kShared ? shared[uid] : makeUIDValue(uid);
}

std::optional<std::uint64_t> PropertyList::uidFromValue(const Value& value)
{
    const Dictionary* const dictionary = dictionaryOf(value);
    if (dictionary == nullptr || dictionary->size() != 1) {
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
    if (data.empty() || data.length() > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    constexpr std::string_view kBinaryMagic = "bplist";
    const std::string_view start(
        reinterpret_cast<const char*>(data.bytes()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        std::min(data.length(), kBinaryMagic.size()));
    if (start == kBinaryMagic) {
        return BinaryReader(data.span()).read();
    }
    if (!xmlNestingIsShallow(data.span())) {
        return std::nullopt;
    }
    plist_t root = nullptr;
    plist_from_xml(reinterpret_cast<const char*>(data.bytes()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
        static_cast<std::uint32_t>(data.length()), &root);
    if (root == nullptr) {
        return std::nullopt;
    }
    const PlistPtr owner(root);
    return toValue(root, 0);
}

std::optional<Data> PropertyList::dataFromValue(const Value& value, Format format)
{
    if (format == Format::Binary) {
        return BinaryWriter().write(value);
    }
    // The XML form has no references: a container shared many times over is
    // written out each time, which a value read from a small hostile file can
    // make astronomically large.
    std::unordered_map<const void*, std::uint64_t> counted;
    if (expandedObjectCount(value, counted) > kMaxXMLObjects) {
        return std::nullopt;
    }
    const PlistPtr root(toPlist(value));
    if (!root) {
        return std::nullopt;
    }
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &bytes, &length);
    if (bytes == nullptr) {
        return std::nullopt;
    }
    Data data(bytes, length);
    plist_to_xml_free(bytes);
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
    return AtomicFile::writeBytes(path, data->bytes(), data->length());
}

} // namespace lumora::platform
