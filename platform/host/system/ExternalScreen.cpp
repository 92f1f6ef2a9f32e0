#include "platform/system/ExternalScreen.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"

namespace lumora::platform {

ExternalScreenType ExternalScreen::currentExternalScreenType()
{
    return host::SimulatedDevice::shared().screens().externalScreenType();
}

} // namespace lumora::platform
