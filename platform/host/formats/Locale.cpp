#include "platform/formats/Locale.h"

#include "platform/host/device/SimulatedDevice.h"

namespace lumora::platform {

std::vector<std::string> Locale::preferredLanguages()
{
    return host::SimulatedDevice::shared().preferredLanguages();
}

std::string Locale::currentLocaleIdentifier()
{
    return host::SimulatedDevice::shared().localeIdentifier();
}

} // namespace lumora::platform
