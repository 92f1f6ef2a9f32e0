#include "platform/Date.h"

#include "platform/Clock.h"

namespace lumora::platform {

Date Date::now()
{
    return Clock::now();
}

} // namespace lumora::platform
