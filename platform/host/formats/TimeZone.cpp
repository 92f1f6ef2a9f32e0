#include "platform/formats/TimeZone.h"

#include "platform/host/device/SimulatedDevice.h"

#include <memory>
#include <unicode/timezone.h>

namespace lumora::platform {

std::shared_ptr<const TimeZone> TimeZone::timeZoneWithName(const std::string& name)
{
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(name)));
    if (!zone || *zone == icu::TimeZone::getUnknown()) {
        return nullptr;
    }
    return std::make_shared<const TimeZone>(name);
}

std::shared_ptr<const TimeZone> TimeZone::localTimeZone()
{
    return std::make_shared<const TimeZone>(host::SimulatedDevice::shared().timeZoneName());
}

} // namespace lumora::platform
