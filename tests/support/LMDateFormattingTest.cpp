#include "support/LMDateFormatting.h"

#include "platform/formats/DateFormatter.h"
#include "platform/formats/StringComparison.h"
#include "platform/formats/TimeZone.h"
#include "platform/host/device/SimulatedDevice.h"

#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::Date;
using platform::StringComparison;
using platform::host::SimulatedDevice;

// 5 March 2017 14:07 in Paris (13:07 UTC).
const Date kMarchFifth = Date::dateWithTimeIntervalSince1970(1488719220.0);

TEST(LMDateFormattingTest, TitlesAreInTheDevicesZoneAndLocale)
{
    auto& device = SimulatedDevice::shared();
    device.setTimeZoneName("Europe/Paris");
    EXPECT_EQ(LMDateFormatting::_srGetStringFromDate(kMarchFifth), "March 5 02:07 PM");
    device.setTimeZoneName("America/New_York");
    EXPECT_EQ(LMDateFormatting::_srGetStringFromDate(kMarchFifth), "March 5 08:07 AM");
    device.setLocaleIdentifier("fr_FR");
    EXPECT_EQ(LMDateFormatting::_srGetStringFromDate(kMarchFifth).substr(0, 6), "mars 5");
}

TEST(LMDateFormattingTest, TimeZonesAreLookedUpByDatabaseName)
{
    EXPECT_FALSE(platform::TimeZone::timeZoneWithName("..."));
    EXPECT_FALSE(platform::TimeZone::timeZoneWithName(""));
    ASSERT_TRUE(platform::TimeZone::timeZoneWithName("Asia/Tokyo"));
    platform::DateFormatter formatter;
    formatter.setDateFormat("HH:mm");
    formatter.setTimeZone(platform::TimeZone::timeZoneWithName("Asia/Tokyo"));
    EXPECT_EQ(formatter.stringFromDate(kMarchFifth), "22:07");
    formatter.setTimeZone(nullptr);
    EXPECT_EQ(formatter.timeZone()->name(), "UTC");
    EXPECT_EQ(formatter.stringFromDate(kMarchFifth), "13:07");
}

TEST(StringComparisonTest, PrefixesIgnoreCaseAndAccentsOnlyWhenAsked)
{
    constexpr auto both = StringComparison::CaseInsensitive | StringComparison::DiacriticInsensitive;
    EXPECT_TRUE(StringComparison::hasPrefix("\xc3\x81"
                                            "bc1",
        "abc", both));
    EXPECT_TRUE(StringComparison::hasPrefix("A\xcc\x81"
                                            "BC",
        "\xc3\xa1"
        "b",
        both)); // decomposed against composed
    EXPECT_TRUE(StringComparison::hasPrefix("STRASSE.mp4", "stra\xc3\x9f", both));
    EXPECT_FALSE(StringComparison::hasPrefix("xabc", "abc", both));
    EXPECT_FALSE(StringComparison::hasPrefix("\xc3\x81"
                                             "bc1",
        "abc", StringComparison::CaseInsensitive));
    EXPECT_FALSE(StringComparison::hasPrefix("ABC", "abc", StringComparison::DiacriticInsensitive));
    // Nothing, or nothing but a mark, is no prefix: it must not select every name.
    EXPECT_FALSE(StringComparison::hasPrefix("abc", "", both));
    EXPECT_TRUE(StringComparison::filteredByPrefix({ "abc", "\xcc\x81" }, "\xcc\x81", both).empty());
    // Bytes that are not UTF-8 compare as replacement characters, without harm.
    EXPECT_EQ(StringComparison::filteredByPrefix({ "ab\xff", "\xff\xfe", "abc" }, "AB", both),
        (std::vector<std::string> { "ab\xff", "abc" }));
}

} // namespace
} // namespace lumora
