#include "platform/ui/Touch.h"

#include "platform/ui/View.h"
#include "platform/ui/Window.h"

namespace lumora::platform {

Touch::Touch(std::shared_ptr<Window> window, std::shared_ptr<View> view, Point locationInWindow, double timestamp)
    : window_(std::move(window)),
      view_(std::move(view)),
      location_(locationInWindow),
      previousLocation_(locationInWindow),
      timestamp_(timestamp)
{ }

Point Touch::convertFromWindow(Point point, const View* view) const
{
    if (view == nullptr || !window_) {
        return point;
    }
    return view->convertPoint_fromView(point, window_.get());
}

Point Touch::locationInView(const View* view) const
{
    return convertFromWindow(location_, view);
}

Point Touch::previousLocationInView(const View* view) const
{
    return convertFromWindow(previousLocation_, view);
}

void Touch::updatePhase_locationInWindow_timestamp(Phase phase, Point locationInWindow, double timestamp)
{
    phase_ = phase;
    previousLocation_ = location_;
    location_ = locationInWindow;
    timestamp_ = timestamp;
}

} // namespace lumora::platform
