#include "widgets/LMVideoOverlayButton.h"

#include "platform/system/Device.h"
#include "widgets/LMFlatVideoOverlayButton.h"
#include "widgets/LMHighFidelityVideoOverlayButton.h"

namespace lumora {

std::shared_ptr<platform::View> LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(std::int64_t style)
{
    const bool flat = style == StyleFlat
        || (style == StyleAutomatic
            && platform::Device::currentDevice()->graphicsQuality() == platform::Device::ReducedGraphicsQuality);
    if (flat) {
        return LMFlatVideoOverlayButton::initWithStyle(style);
    }
    return LMHighFidelityVideoOverlayButton::initWithStyle(style);
}

} // namespace lumora
