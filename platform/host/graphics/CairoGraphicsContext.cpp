#include "platform/host/graphics/CairoGraphicsContext.h"

#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"
#include "platform/host/graphics/ImageBacking.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumora::platform::host {

namespace {

double unit(double value)
{
    return value > 0 ? std::min(value, 1.0) : 0.0; // NaN falls to 0 too
}

bool drawable(Rect rect)
{
    return rect.width() > 0 && rect.height() > 0 && std::isfinite(rect.minX()) && std::isfinite(rect.minY())
        && std::isfinite(rect.width()) && std::isfinite(rect.height());
}

} // namespace

void addRoundedRect(cairo_t* cairo, Rect rect, double radius)
{
    radius = std::clamp(radius, 0.0, std::min(rect.width(), rect.height()) / 2);
    if (radius <= 0) {
        cairo_rectangle(cairo, rect.minX(), rect.minY(), rect.width(), rect.height());
        return;
    }
    constexpr double quarter = std::numbers::pi / 2;
    cairo_new_sub_path(cairo);
    cairo_arc(cairo, rect.maxX() - radius, rect.minY() + radius, radius, -quarter, 0);
    cairo_arc(cairo, rect.maxX() - radius, rect.maxY() - radius, radius, 0, quarter);
    cairo_arc(cairo, rect.minX() + radius, rect.maxY() - radius, radius, quarter, 2 * quarter);
    cairo_arc(cairo, rect.minX() + radius, rect.minY() + radius, radius, 2 * quarter, 3 * quarter);
    cairo_close_path(cairo);
}

CairoGraphicsContext::CairoGraphicsContext(cairo_t* cairo, double alpha)
    : cairo_(cairo_reference(cairo)), baseAlpha_(unit(alpha))
{ }

CairoGraphicsContext::~CairoGraphicsContext()
{
    cairo_destroy(cairo_);
}

cairo_operator_t CairoGraphicsContext::operatorFor(BlendMode mode)
{
    switch (mode) {
    case BlendMode::Normal:
        return CAIRO_OPERATOR_OVER;
    case BlendMode::Multiply:
        return CAIRO_OPERATOR_MULTIPLY;
    case BlendMode::Clear:
        return CAIRO_OPERATOR_CLEAR;
    case BlendMode::Copy:
        return CAIRO_OPERATOR_SOURCE;
    case BlendMode::SourceIn:
        return CAIRO_OPERATOR_IN;
    case BlendMode::SourceOut:
        return CAIRO_OPERATOR_OUT;
    case BlendMode::SourceAtop:
        return CAIRO_OPERATOR_ATOP;
    case BlendMode::DestinationOver:
        return CAIRO_OPERATOR_DEST_OVER;
    case BlendMode::DestinationIn:
        return CAIRO_OPERATOR_DEST_IN;
    case BlendMode::DestinationOut:
        return CAIRO_OPERATOR_DEST_OUT;
    }
    return CAIRO_OPERATOR_OVER;
}

void CairoGraphicsContext::paintImage(cairo_t* cairo, const Image& image, Rect rect, double alpha)
{
    const auto& backing = image.backing();
    if (!backing || backing->surface() == nullptr || !drawable(rect)) {
        return;
    }
    const auto& bitmap = backing->bitmap();
    cairo_save(cairo);
    cairo_rectangle(cairo, rect.minX(), rect.minY(), rect.width(), rect.height());
    cairo_clip(cairo);
    cairo_translate(cairo, rect.minX(), rect.minY());
    cairo_scale(cairo, rect.width() / bitmap.width(), rect.height() / bitmap.height());
    cairo_set_source_surface(cairo, backing->surface(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cairo), CAIRO_FILTER_GOOD);
    cairo_paint_with_alpha(cairo, unit(alpha));
    cairo_restore(cairo);
}

void CairoGraphicsContext::setGrayFillColor_alpha(double gray, double alpha)
{
    state_.red = state_.green = state_.blue = unit(gray);
    state_.alpha = unit(alpha);
}

void CairoGraphicsContext::setFillColor(const Color& color)
{
    state_.red = unit(color.red());
    state_.green = unit(color.green());
    state_.blue = unit(color.blue());
    state_.alpha = unit(color.alpha());
}

void CairoGraphicsContext::setBlendMode(BlendMode mode)
{
    state_.mode = mode;
}

void CairoGraphicsContext::setAlpha(double alpha)
{
    state_.globalAlpha = unit(alpha);
}

void CairoGraphicsContext::fillCurrentPath()
{
    cairo_set_operator(cairo_, operatorFor(state_.mode));
    cairo_set_source_rgba(
        cairo_, state_.red, state_.green, state_.blue, state_.alpha * state_.globalAlpha * baseAlpha_);
    cairo_fill(cairo_);
}

void CairoGraphicsContext::fillRect(Rect rect)
{
    if (!drawable(rect)) {
        return;
    }
    cairo_rectangle(cairo_, rect.minX(), rect.minY(), rect.width(), rect.height());
    fillCurrentPath();
}

void CairoGraphicsContext::fillRoundedRect(Rect rect, double radius)
{
    if (!drawable(rect)) {
        return;
    }
    addRoundedRect(cairo_, rect, std::isfinite(radius) ? radius : 0);
    fillCurrentPath();
}

void CairoGraphicsContext::fillEllipseInRect(Rect rect)
{
    if (!drawable(rect)) {
        return;
    }
    cairo_save(cairo_);
    cairo_translate(cairo_, rect.minX() + rect.width() / 2, rect.minY() + rect.height() / 2);
    cairo_scale(cairo_, rect.width() / 2, rect.height() / 2);
    cairo_arc(cairo_, 0, 0, 1, 0, 2 * std::numbers::pi);
    cairo_restore(cairo_);
    fillCurrentPath();
}

void CairoGraphicsContext::drawImage_atPoint_blendMode_alpha(
    const Image& image, Point point, BlendMode mode, double alpha)
{
    drawImage_inRect_blendMode_alpha(image, { point, image.size() }, mode, alpha);
}

void CairoGraphicsContext::drawImage_inRect_blendMode_alpha(const Image& image, Rect rect, BlendMode mode, double alpha)
{
    cairo_set_operator(cairo_, operatorFor(mode));
    paintImage(cairo_, image, rect, unit(alpha) * state_.globalAlpha * baseAlpha_);
}

void CairoGraphicsContext::saveGState()
{
    saved_.push_back(state_);
    cairo_save(cairo_);
}

void CairoGraphicsContext::restoreGState()
{
    if (saved_.empty()) {
        return; // unbalanced: nothing to restore
    }
    state_ = saved_.back();
    saved_.pop_back();
    cairo_restore(cairo_);
}

void CairoGraphicsContext::translateBy(double dx, double dy)
{
    if (std::isfinite(dx) && std::isfinite(dy)) {
        cairo_translate(cairo_, dx, dy);
    }
}

void CairoGraphicsContext::rotateBy(double radians)
{
    if (std::isfinite(radians)) {
        cairo_rotate(cairo_, radians);
    }
}

void CairoGraphicsContext::clipToRect(Rect rect)
{
    if (!drawable(rect)) {
        rect = {};
    }
    cairo_rectangle(cairo_, rect.minX(), rect.minY(), rect.width(), rect.height());
    cairo_clip(cairo_);
}

} // namespace lumora::platform::host
