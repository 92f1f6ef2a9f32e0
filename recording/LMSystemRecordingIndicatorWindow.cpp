#include "recording/LMSystemRecordingIndicatorWindow.h"

namespace lumora {

std::shared_ptr<platform::View> LMSystemRecordingIndicatorWindow::hitTest_withEvent(
    platform::Point point, const std::shared_ptr<platform::Event>& event)
{
    auto hit = platform::RootWindow::hitTest_withEvent(point, event);
    if (hit.get() == this) {
        return nullptr;
    }
    return hit;
}

} // namespace lumora
