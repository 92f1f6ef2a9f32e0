#include "platform/formats/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace lumora::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

void appendBigEndian(Bytes& out, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = width; i > 0; --i) {
        out.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
    }
}

// Hand-assembled binary property lists: objects are appended in order and
// referred to by index, with four-byte offsets and references.
struct BinaryPlist {
    std::vector<Bytes> objects;

    std::uint64_t add(Bytes object)
    {
        objects.push_back(std::move(object));
        return objects.size() - 1;
    }
    std::uint64_t array(const std::vector<std::uint64_t>& references)
    {
        Bytes object { 0xAF, 0x12 };
        appendBigEndian(object, references.size(), 4);
        for (const auto reference : references) {
            appendBigEndian(object, reference, 4);
        }
        return add(std::move(object));
    }
    std::uint64_t date(double sinceReferenceDate)
    {
        Bytes object { 0x33 };
        std::uint64_t bits = 0;
        std::memcpy(&bits, &sinceReferenceDate, sizeof bits);
        appendBigEndian(object, bits, 8);
        return add(std::move(object));
    }

    // `count` replaces the object count written in the trailer when given.
    [[nodiscard]] Data build(std::uint64_t top = 0, std::optional<std::uint64_t> count = std::nullopt) const
    {
        Bytes out { 'b', 'p', 'l', 'i', 's', 't', '0', '0' };
        std::vector<std::uint64_t> offsets;
        for (const auto& object : objects) {
            offsets.push_back(out.size());
            out.insert(out.end(), object.begin(), object.end());
        }
        const std::uint64_t table = out.size();
        for (const auto offset : offsets) {
            appendBigEndian(out, offset, 4);
        }
        out.insert(out.end(), 6, 0);
        out.push_back(4);
        out.push_back(4);
        appendBigEndian(out, count.value_or(objects.size()), 8);
        appendBigEndian(out, top, 8);
        appendBigEndian(out, table, 8);
        return Data(std::move(out));
    }
};

Data text(const std::string& string)
{
    return { string.data(), string.size() };
}

TEST(PropertyList, ReadsSharedObjectsOnceAndKeepsThemShared)
{
    // Forty arrays, each holding the next one twice: read as a tree this is
    // 2^40 leaves from a file of under a kilobyte.
    BinaryPlist plist;
    constexpr std::uint64_t kLevels = 40;
    for (std::uint64_t level = 0; level < kLevels; ++level) {
        plist.array({ level + 1, level + 1 });
    }
    plist.add({ 0x10, 0x07 });
    const Data data = plist.build();
    ASSERT_LT(data.length(), 1024U);

    const auto value = PropertyList::valueFromData(data);
    ASSERT_TRUE(value);
    ArrayRef level = value->array();
    for (std::uint64_t i = 0; i < kLevels; ++i) {
        ASSERT_TRUE(level);
        ASSERT_EQ(level->size(), 2U);
        EXPECT_EQ((*level)[0].array().get(), (*level)[1].array().get());
        if (i + 1 < kLevels) {
            level = (*level)[0].array();
        } else {
            EXPECT_EQ((*level)[0], Value(7));
        }
    }
    // Written back, the binary form keeps the sharing; the XML form, which
    // cannot, refuses rather than expanding it.
    const auto binary = PropertyList::dataFromValue(*value, PropertyList::Format::Binary);
    ASSERT_TRUE(binary);
    EXPECT_LT(binary->length(), 1024U);
    EXPECT_EQ(PropertyList::dataFromValue(*value, PropertyList::Format::XML), std::nullopt);
}

TEST(PropertyList, BoundsTheTextCopiedForAStringReferredToManyTimes)
{
    // A value holds its own copy of a string, so references to one long
    // string multiply it: here 64 KiB times 200,000 (13 GB) from under 1 MB.
    const auto plistOfReferences = [](std::size_t length, std::size_t references) {
        BinaryPlist plist;
        Bytes string { 0x5F, 0x12 };
        appendBigEndian(string, length, 4);
        string.insert(string.end(), length, 'x');
        plist.array(std::vector<std::uint64_t>(references, 1));
        plist.add(std::move(string));
        return plist.build();
    };
    const Data hostile = plistOfReferences(std::size_t { 64 } << 10U, 200'000);
    ASSERT_LT(hostile.length(), std::size_t { 1 } << 20U);
    EXPECT_EQ(PropertyList::valueFromData(hostile), std::nullopt);

    // Ordinary sharing stays readable.
    const auto value = PropertyList::valueFromData(plistOfReferences(100, 1'000));
    ASSERT_TRUE(value && value->array());
    ASSERT_EQ(value->array()->size(), 1'000U);
    EXPECT_EQ(value->array()->back(), Value(std::string(100, 'x')));
}

TEST(PropertyList, RefusesNestingBeyondTheLimitInBothForms)
{
    constexpr int kHostileDepth = 100000;
    BinaryPlist deep;
    for (int level = 0; level < kHostileDepth; ++level) {
        deep.array({ static_cast<std::uint64_t>(level + 1) });
    }
    deep.add({ 0x08 });
    EXPECT_EQ(PropertyList::valueFromData(deep.build()), std::nullopt);

    const std::string header = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    std::string opened;
    std::string closed;
    for (int level = 0; level < kHostileDepth; ++level) {
        opened += level % 2 == 0 ? "<array>" : "<dict><key>k</key>";
    }
    for (int level = kHostileDepth - 1; level >= 0; --level) {
        closed += level % 2 == 0 ? "</array>" : "</dict>";
    }
    EXPECT_EQ(PropertyList::valueFromData(text(header + opened + closed + "</plist>")), std::nullopt);
    EXPECT_EQ(PropertyList::valueFromData(text(header + opened)), std::nullopt);

    // Ordinary nesting still reads, in both forms.
    Value nested(true);
    for (int level = 0; level < 200; ++level) {
        nested = Value(std::make_shared<Array>(Array { nested }));
    }
    for (const auto format : { PropertyList::Format::XML, PropertyList::Format::Binary }) {
        const auto data = PropertyList::dataFromValue(nested, format);
        ASSERT_TRUE(data);
        EXPECT_EQ(PropertyList::valueFromData(*data), nested);
    }
}

TEST(PropertyList, MeasuresTheDepthOfAValueWithoutFollowingItDownTheStack)
{
    const auto nest = [](int depth) {
        Value value(true);
        for (int level = 0; level < depth; ++level) {
            value = Value(std::make_shared<const Array>(Array { value }));
        }
        return value;
    };
    EXPECT_TRUE(PropertyList::isWithinDepth(Value(std::int64_t { 1 }), 0));
    EXPECT_TRUE(PropertyList::isWithinDepth(nest(PropertyList::MaximumDepth)));
    EXPECT_FALSE(PropertyList::isWithinDepth(nest(PropertyList::MaximumDepth + 1)));
    // Deep enough that following it down the stack would overflow it.
    auto deep = nest(200000);
    EXPECT_FALSE(PropertyList::isWithinDepth(deep));
    // Taking it apart from the top keeps its destruction off the stack too.
    while (const auto array = deep.array()) {
        deep = array->empty() ? Value() : (*array)[0];
    }
}

TEST(PropertyList, RefusesBrokenTablesReferencesAndDates)
{
    BinaryPlist valid;
    valid.array({ 1 });
    valid.add({ 0x09 });
    ASSERT_EQ(PropertyList::valueFromData(valid.build()), Value(std::make_shared<Array>(Array { Value(true) })));

    // An object count larger than the offset table holds.
    EXPECT_EQ(PropertyList::valueFromData(valid.build(0, 1000)), std::nullopt);
    // A top object outside the table.
    EXPECT_EQ(PropertyList::valueFromData(valid.build(5)), std::nullopt);
    // An offset table cut short by the end of the file.
    const Data whole = valid.build();
    Bytes truncated(whole.span().begin(), whole.span().end());
    truncated.erase(truncated.end() - 36, truncated.end() - 32);
    EXPECT_EQ(PropertyList::valueFromData(Data(truncated)), std::nullopt);

    BinaryPlist outOfRange;
    outOfRange.array({ 1, 99 });
    outOfRange.add({ 0x09 });
    EXPECT_EQ(PropertyList::valueFromData(outOfRange.build()), std::nullopt);

    BinaryPlist cycle;
    cycle.array({ 1 });
    cycle.array({ 0 });
    EXPECT_EQ(PropertyList::valueFromData(cycle.build()), std::nullopt);

    BinaryPlist stringKey;
    stringKey.add({ 0xD1, 0x01, 0x01, 0x00, 0x00, 0x00, 0x01 }); // a dictionary whose key is itself a number
    stringKey.add({ 0x10, 0x01 });
    EXPECT_EQ(PropertyList::valueFromData(stringKey.build()), std::nullopt);

    for (const double since :
        { 1e300, -1e300, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN(), 4.0e9 }) {
        BinaryPlist far;
        far.date(since);
        EXPECT_EQ(PropertyList::valueFromData(far.build()), std::nullopt) << since;
    }
    BinaryPlist near;
    near.date(86400.0);
    EXPECT_EQ(PropertyList::valueFromData(near.build()), Value(Date::dateWithTimeIntervalSince1970(978393600.0)));
    // Dates the binary form cannot hold are not written either.
    EXPECT_EQ(
        PropertyList::dataFromValue(Value(Date::dateWithTimeIntervalSince1970(1e300)), PropertyList::Format::Binary),
        std::nullopt);
}

TEST(PropertyList, BinaryFormRoundTripsEveryScalarKind)
{
    auto dictionary = std::make_shared<Dictionary>();
    (*dictionary)["Grüße 😀"] = Value("naïve ☃ 𝄞");
    (*dictionary)["negative"] = Value(std::int64_t { -5 });
    (*dictionary)["large"] = Value(std::int64_t { 1 } << 40);
    (*dictionary)["when"] = Value(Date::dateWithTimeIntervalSince1970(1700000000.0));
    (*dictionary)["uid"] = PropertyList::uidValue(300);
    (*dictionary)["empty"] = Value(Data());
    // A NUL inside a string is kept, in both string encodings.
    (*dictionary)[std::string("key\0with NUL", 12)] = Value(std::string("a\0b", 3));
    (*dictionary)["unicode with NUL"] = Value(std::string("Gr\xC3\xBC\0\xC3\x9F", 7));
    const auto data = PropertyList::dataFromValue(Value(dictionary), PropertyList::Format::Binary);
    ASSERT_TRUE(data);
    EXPECT_EQ(PropertyList::valueFromData(*data), Value(dictionary));
}

} // namespace
} // namespace lumora::platform
