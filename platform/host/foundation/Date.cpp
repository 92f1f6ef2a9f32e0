#include "platform/foundation/Date.h"

#include "platform/foundation/Clock.h"

namespace lumora::platform {

Date Date::now()
{
    return Clock::now();
}

} // namespace lumora::platform
