#include "platform/formats/DateFormatter.h"

#include "platform/formats/Locale.h"

#include <memory>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace lumora::platform {

std::shared_ptr<const TimeZone> DateFormatter::timeZone() const
{
    return timeZone_ ? timeZone_ : TimeZone::localTimeZone();
}

std::string DateFormatter::localeIdentifier() const
{
    return localeIdentifier_ ? *localeIdentifier_ : Locale::currentLocaleIdentifier();
}

std::string DateFormatter::stringFromDate(const Date& date) const
{
    UErrorCode status = U_ZERO_ERROR;
    const auto locale = icu::Locale::createCanonical(localeIdentifier().c_str());
    icu::SimpleDateFormat format(icu::UnicodeString::fromUTF8(dateFormat_), locale, status);
    if (U_FAILURE(status) != 0) {
        return {};
    }
    // An unknown zone name (the device's own could be misconfigured) formats as GMT.
    format.adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(timeZone()->name())));
    icu::UnicodeString text;
    format.format(date.timeIntervalSince1970() * 1000.0, text);
    std::string result;
    text.toUTF8String(result);
    return result;
}

} // namespace lumora::platform
