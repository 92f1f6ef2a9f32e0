#include "platform/foundation/Value.h"
#include "platform/formats/PropertyList.h"
#include "platform/foundation/URL.h"

#include <gtest/gtest.h>

namespace lumora::platform {
namespace {

TEST(URL, FileURLsAndParsedURLsAreMadeDifferently)
{
    const auto file = URL::fileURLWithPath("/tmp/a movie#1.mp4");
    EXPECT_TRUE(file.isFileURL());
    EXPECT_EQ(file.path(), "/tmp/a movie#1.mp4");
    EXPECT_EQ(file.absoluteString(), "file:///tmp/a%20movie%231.mp4");

    // Text is parsed: "#1.mp4" is a fragment, and "%20" is an escape.
    const auto parsed = URL::URLWithString("file:///tmp/a%20movie#1.mp4");
    ASSERT_TRUE(parsed);
    EXPECT_TRUE(parsed->isFileURL());
    EXPECT_EQ(parsed->path(), "/tmp/a movie");

    EXPECT_EQ(URL::URLWithString("/tmp/plain/path"), std::nullopt);
    EXPECT_EQ(URL::URLWithString("not a url"), std::nullopt);
    EXPECT_EQ(URL::URLWithString("https://example.com/live?key=1")->path(), "/live");
}

TEST(Value, NumbersReadAcrossKindsAndOtherKindsReadAsZero)
{
    EXPECT_EQ(Value(true).int64Value(), 1);
    EXPECT_EQ(Value(-2.9).int64Value(), -2);
    EXPECT_EQ(Value(1e300).int64Value(), 0);
    EXPECT_EQ(Value("12").int64Value(), 0);
    EXPECT_TRUE(Value(std::int64_t { 3 }).boolValue());
    EXPECT_FALSE(Value().boolValue());
}

TEST(Value, ContainersCompareByContentsAndKeepIdentity)
{
    auto a = std::make_shared<Dictionary>(
        Dictionary { { "k", Value(1) }, { "list", Value(std::make_shared<Array>(Array { Value("x") })) } });
    auto b = std::make_shared<Dictionary>(*a);
    EXPECT_EQ(Value(a), Value(b));
    EXPECT_NE(Value(a).dictionary().get(), Value(b).dictionary().get());
    (*b)["k"] = Value(2);
    EXPECT_NE(Value(a), Value(b));
    EXPECT_NE(Value(1), Value(1.0));
}

TEST(PropertyList, RoundTripsBothFormatsAndRefusesGarbage)
{
    auto dictionary = std::make_shared<Dictionary>();
    (*dictionary)["name"] = Value("Lumora");
    (*dictionary)["count"] = Value(42);
    (*dictionary)["ratio"] = Value(0.5);
    (*dictionary)["flag"] = Value(true);
    (*dictionary)["bytes"] = Value(Data(std::vector<std::uint8_t> { 0, 1, 2, 255 }));
    (*dictionary)["list"] = Value(std::make_shared<Array>(Array { Value("a"), Value(2) }));
    for (const auto format : { PropertyList::Format::XML, PropertyList::Format::Binary }) {
        const auto data = PropertyList::dataFromValue(Value(dictionary), format);
        ASSERT_TRUE(data);
        EXPECT_EQ(PropertyList::valueFromData(*data), Value(dictionary));
    }
    EXPECT_EQ(PropertyList::valueFromData(Data("not a plist", 11)), std::nullopt);
    EXPECT_EQ(PropertyList::valueFromData(Data()), std::nullopt);
    // Only property-list kinds have an image.
    EXPECT_EQ(PropertyList::dataFromValue(Value(URL::fileURLWithPath("/x")), PropertyList::Format::XML), std::nullopt);
}

} // namespace
} // namespace lumora::platform
