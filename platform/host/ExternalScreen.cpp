#include "platform/ExternalScreen.h"

#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedScreens.h"

namespace lumora::platform {

ExternalScreenType ExternalScreen::currentExternalScreenType()
{
    return host::SimulatedDevice::shared().screens().externalScreenType();
}

} // namespace lumora::platform
