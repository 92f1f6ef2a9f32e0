// Requests whose items are all payloads cross to an extension's process as
// one packed record in the shared block. What arrives is exactly what was
// sent; a record that is cut short, out of form or too large is refused.
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/extensions/SharedPayloadRegion.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <cstring>

namespace lumora::test {
namespace {

using platform::Array;
using platform::Data;
using platform::Dictionary;
using platform::ExtensionItems;
using platform::Value;
using platform::host::ExtensionProtocol;
using platform::host::ExtensionRequest;
using platform::host::SharedPayloadRegion;

Value payload(std::int64_t type, std::size_t bytes)
{
    return Value(std::make_shared<Dictionary>(Dictionary {
        { "SampleType", Value(type) },
        { "Rate", Value(44100.5) },
        { "Muted", Value(type % 2 == 0) },
        { "Timing", Value(Data(std::vector<std::uint8_t>(72, 9))) },
        { "Audio", Value(Data(std::vector<std::uint8_t>(bytes, static_cast<std::uint8_t>(type)))) },
        { "Empty", Value(Data()) },
    }));
}

Value list(std::initializer_list<Value> elements)
{
    return Value(std::make_shared<Array>(elements));
}

// The value of each item, in order.
std::vector<Value> valuesOf(const ExtensionItems& items, std::initializer_list<std::string_view> labels)
{
    std::vector<Value> values;
    for (const auto label : labels) {
        values.push_back(ExtensionRequest::loadValueOfItem(items, label).value_or(Value("missing")));
    }
    return values;
}

// The place a packed wire form names, read back as its bytes.
std::vector<std::uint8_t> recordOf(const Value& wire, const SharedPayloadRegion& region)
{
    const auto place = wire.dictionary()->valueForKey("$packed").array();
    const auto bytes = region.view(
        static_cast<std::uint64_t>((*place)[0].int64Value()), static_cast<std::uint64_t>((*place)[1].int64Value()));
    return { bytes->begin(), bytes->end() };
}

// `record` written at the start of `region` and decoded from there.
std::optional<ExtensionItems> decodeRecord(
    const std::vector<std::uint8_t>& record, SharedPayloadRegion& region, std::string* refusal)
{
    region.rewind();
    const auto offset = region.append(Data(record));
    EXPECT_TRUE(offset.has_value());
    const Value wire(std::make_shared<Dictionary>(Dictionary { { "$packed",
        list({ Value(static_cast<std::int64_t>(*offset)), Value(static_cast<std::int64_t>(record.size())) }) } }));
    refusal->clear();
    return ExtensionProtocol::decodeItems(wire, &region, refusal);
}

TEST(PackedPayloadTest, PayloadsArriveAsSentAndAnythingElseTravelsAsBefore)
{
    const auto writer = SharedPayloadRegion::create(std::size_t { 1 } << 20U);
    ASSERT_NE(writer, nullptr);
    const auto reader = SharedPayloadRegion::map(writer->descriptor());
    ASSERT_NE(reader, nullptr);

    const Value payloads = list({ payload(2, 4096), payload(3, 300), payload(2, 1) });
    const Value single = payload(3, 46080);
    const ExtensionItems items { ExtensionRequest::labelledItem("payload", payloads),
        ExtensionRequest::labelledItem("action", single) };
    writer->rewind();
    const auto wire = ExtensionProtocol::encodeItems(items, writer.get());
    ASSERT_TRUE(wire.isDictionary()) << "payloads travel packed";
    std::string refusal;
    const auto decoded = ExtensionProtocol::decodeItems(wire, reader.get(), &refusal);
    ASSERT_TRUE(decoded.has_value()) << refusal;
    EXPECT_EQ(valuesOf(*decoded, { "payload", "action" }), (std::vector<Value> { payloads, single }));

    // Without shared memory, a packed record cannot be read.
    EXPECT_FALSE(ExtensionProtocol::decodeItems(wire, nullptr, &refusal).has_value());
    EXPECT_EQ(refusal, "a packed record without shared memory");

    // One value that is not a payload sends the whole request the general way.
    const Value withText(std::make_shared<Dictionary>(Dictionary { { "Channel", Value("lumora") } }));
    const Value badKey(std::make_shared<Dictionary>(Dictionary { { "caf\xC3\xA9", Value(1) } }));
    for (const auto& other : { withText, badKey, list({ payload(2, 8), Value(1) }), Value(7) }) {
        const ExtensionItems mixed { ExtensionRequest::labelledItem("payload", payloads),
            ExtensionRequest::labelledItem("other", other) };
        writer->rewind();
        const auto general = ExtensionProtocol::encodeItems(mixed, writer.get());
        EXPECT_TRUE(general.isArray());
        const auto back = ExtensionProtocol::decodeItems(general, reader.get(), &refusal);
        ASSERT_TRUE(back.has_value()) << refusal;
        EXPECT_EQ(valuesOf(*back, { "payload", "other" }), (std::vector<Value> { payloads, other }));
    }

    // A record larger than the block goes the general way too.
    const auto small = SharedPayloadRegion::create(4096);
    ASSERT_NE(small, nullptr);
    EXPECT_TRUE(
        ExtensionProtocol::encodeItems({ ExtensionRequest::labelledItem("payload", single) }, small.get()).isArray());
}

TEST(PackedPayloadTest, RecordsCutShortOrOutOfFormAreRefused)
{
    const auto region = SharedPayloadRegion::create(std::size_t { 1 } << 20U);
    ASSERT_NE(region, nullptr);
    // One item "p", one dictionary with a boolean under "k":
    // magic 4, count 4, label 2+1, shape 1, entries 4, key 2+1, kind 1, value 1.
    const ExtensionItems items { ExtensionRequest::labelledItem(
        "p", Value(std::make_shared<Dictionary>(Dictionary { { "k", Value(true) } }))) };
    const auto record = recordOf(ExtensionProtocol::encodeItems(items, region.get()), *region);
    ASSERT_EQ(record.size(), 21U);
    std::string refusal;
    ASSERT_TRUE(decodeRecord(record, *region, &refusal).has_value()) << refusal;

    for (std::size_t length = 0; length < record.size(); ++length) {
        const std::vector<std::uint8_t> cut(record.begin(), record.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(decodeRecord(cut, *region, &refusal).has_value()) << "cut at " << length;
        EXPECT_FALSE(refusal.empty());
    }
    auto longer = record;
    longer.push_back(0);
    EXPECT_FALSE(decodeRecord(longer, *region, &refusal).has_value());
    EXPECT_EQ(refusal, "a packed record with bytes after its items");

    const auto changed = [&](std::size_t at, std::uint8_t byte) {
        auto copy = record;
        copy.at(at) = byte;
        return decodeRecord(copy, *region, &refusal).has_value();
    };
    EXPECT_FALSE(changed(0, 0)) << "magic";
    EXPECT_FALSE(changed(4, ExtensionProtocol::MaxItems + 1)) << "item count";
    EXPECT_FALSE(changed(10, 0x07)) << "a label that is not printable";
    EXPECT_FALSE(changed(11, 3)) << "shape";
    EXPECT_FALSE(changed(18, 0x7F)) << "a key that is not printable";
    EXPECT_FALSE(changed(19, 5)) << "kind";
    EXPECT_FALSE(changed(20, 2)) << "a boolean that is neither";
    EXPECT_TRUE(changed(20, 0)) << "false is a boolean";

    // Counts that announce more values than a request may have are refused
    // before anything is made for them.
    auto many = record;
    many.at(11) = 1; // a list
    many.insert(many.begin() + 12, { 0xFF, 0xFF, 0xFF, 0x7F });
    EXPECT_FALSE(decodeRecord(many, *region, &refusal).has_value());
    EXPECT_EQ(refusal, "a packed list longer than a request may be");
    auto wide = record;
    std::uint32_t entries = ExtensionProtocol::MaxPackedValues;
    std::memcpy(&wide.at(12), &entries, sizeof entries);
    EXPECT_FALSE(decodeRecord(wide, *region, &refusal).has_value());
    EXPECT_EQ(refusal, "a packed dictionary larger than a request may have");

    // Places outside the block, or malformed, are refused.
    for (const auto& place :
        { list({ Value(1 << 20), Value(1) }), list({ Value(-1), Value(4) }), list({ Value(0) }), Value("0, 21") }) {
        const Value wire(std::make_shared<Dictionary>(Dictionary { { "$packed", place } }));
        EXPECT_FALSE(ExtensionProtocol::decodeItems(wire, region.get(), &refusal).has_value());
    }
}

} // namespace
} // namespace lumora::test
