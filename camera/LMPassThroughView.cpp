#include "camera/LMPassThroughView.h"

namespace lumora {

void LMPassThroughView::addSubview(const std::shared_ptr<platform::View>& view)
{
    platform::View::addSubview(view);
    hitableView_ = view;
}

bool LMPassThroughView::pointInside_withEvent(
    platform::Point point, const std::shared_ptr<platform::Event>& event) const
{
    if (!hitableView_) {
        return false;
    }
    return hitableView_->pointInside_withEvent(hitableView_->convertPoint_fromView(point, this), event);
}

} // namespace lumora
