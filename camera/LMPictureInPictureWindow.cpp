#include "camera/LMPictureInPictureWindow.h"

namespace lumora {

bool LMPictureInPictureWindow::pointInside_withEvent(
    platform::Point point, const std::shared_ptr<platform::Event>& event) const
{
    if (!contentView_) {
        return false;
    }
    return contentView_->pointInside_withEvent(contentView_->convertPoint_fromView(point, this), event);
}

} // namespace lumora
