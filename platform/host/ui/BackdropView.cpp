#include "platform/ui/BackdropView.h"

#include "platform/host/graphics/BackdropLayer.h"

#include <algorithm>

namespace lumora::platform {

namespace {

constexpr double BlurRadius = 12;

std::shared_ptr<host::BackdropLayer> makeLayer(std::int64_t style)
{
    auto tint
        = style == BackdropView::StyleDark ? Color::colorWithWhite_alpha(0, 0.3) : Color::colorWithWhite_alpha(1, 0.2);
    return std::make_shared<host::BackdropLayer>(BlurRadius, std::move(tint));
}

host::BackdropLayer& backdropLayer(const View& view)
{
    return static_cast<host::BackdropLayer&>(*view.layer());
}

} // namespace

BackdropView::BackdropView(std::int64_t style) : View(makeLayer(style), Rect {}), style_(style) { }

double BackdropView::blurRadius() const
{
    return backdropLayer(*this).blurRadius();
}

void BackdropView::updateMaskViewsForView(const std::shared_ptr<View>& view)
{
    if (!view) {
        return;
    }
    auto& masks = backdropLayer(*this).maskViews();
    std::erase_if(masks, [&view](const std::weak_ptr<View>& mask) {
        const auto strong = mask.lock();
        return !strong || strong == view;
    });
    if (view->backdropMaskViewFlags() != 0) {
        masks.push_back(view);
    }
}

std::vector<std::shared_ptr<View>> BackdropView::maskViews() const
{
    std::vector<std::shared_ptr<View>> views;
    for (const auto& mask : backdropLayer(*this).maskViews()) {
        if (auto strong = mask.lock()) {
            views.push_back(std::move(strong));
        }
    }
    return views;
}

} // namespace lumora::platform
