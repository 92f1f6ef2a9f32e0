#pragma once

#include "platform/foundation/Date.h"

#include <string>

namespace lumora {

/// The framework's addition to the platform's date type: the short text
/// recording titles use.
class LMDateFormatting {
public:
    /// `date` as "March 5 02:07 PM": month name, day, 12-hour time and the
    /// AM/PM marker, in the device's current time zone and locale.
    static std::string _srGetStringFromDate(const platform::Date& date);
};

} // namespace lumora
