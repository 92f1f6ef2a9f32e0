#include "platform/ui/Screen.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"

namespace lumora::platform {

std::shared_ptr<Screen> Screen::mainScreen()
{
    return host::SimulatedDevice::shared().screens().mainScreen();
}

Rect Screen::bounds() const
{
    return host::SimulatedDevice::shared().screens().mainScreenBounds();
}

double Screen::scale() const
{
    return host::SimulatedDevice::shared().screens().mainScreenScale();
}

} // namespace lumora::platform
