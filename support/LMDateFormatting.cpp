#include "support/LMDateFormatting.h"

#include "platform/formats/DateFormatter.h"
#include "platform/formats/TimeZone.h"

#include <memory>

namespace lumora {

std::string LMDateFormatting::_srGetStringFromDate(const platform::Date& date)
{
    auto formatter = std::make_shared<platform::DateFormatter>();
    formatter->setDateFormat("MMMM d hh:mm a");
    // No zone has this name, so the lookup yields none and the formatter
    // stays in the device's current zone: titles are in local time on purpose.
    formatter->setTimeZone(platform::TimeZone::timeZoneWithName("..."));
    // The locale is left alone, so the device's current locale names the month.
    return formatter->stringFromDate(date);
}

} // namespace lumora
