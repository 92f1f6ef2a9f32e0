#include "platform/host/graphics/Compositor.h"

#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/Layer.h"
#include "platform/host/graphics/BackdropLayer.h"
#include "platform/host/graphics/CairoGraphicsContext.h"
#include "platform/host/graphics/LayerAnimations.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

namespace lumora::platform::host {

namespace {

double unit(double value)
{
    return value > 0 ? std::min(value, 1.0) : 0.0; // NaN falls to 0 too
}

bool hasArea(Rect rect)
{
    return rect.width() > 0 && rect.height() > 0 && std::isfinite(rect.width()) && std::isfinite(rect.height())
        && std::isfinite(rect.minX()) && std::isfinite(rect.minY());
}

Rect shownFrame(const Layer& layer)
{
    const auto& animations = LayerAnimations::shared();
    return animations.isIdle() ? layer.frame() : animations.presentedFrame(layer);
}

double shownOpacity(const Layer& layer)
{
    const auto& animations = LayerAnimations::shared();
    return animations.isIdle() ? layer.opacity() : animations.presentedOpacity(layer);
}

// Where the origin of `layer`'s own coordinates lies in the coordinates of
// its outermost superlayer, and that layer.
Point originInRoot(const Layer& layer, const Layer** root)
{
    Point origin;
    const Layer* current = &layer;
    std::shared_ptr<Layer> parent = current->superlayer();
    while (parent) {
        const auto frame = shownFrame(*current);
        origin.x += frame.minX() - current->bounds().minX();
        origin.y += frame.minY() - current->bounds().minY();
        current = parent.get();
        parent = current->superlayer();
    }
    *root = current;
    return origin;
}

Rect contentsRect(const Layer& layer, const Image& image)
{
    const auto bounds = layer.bounds();
    const auto size = image.size();
    switch (layer.contentsGravity()) {
    case Layer::ContentsGravity::Resize:
        return bounds;
    case Layer::ContentsGravity::TopLeft:
        return { bounds.origin, size };
    case Layer::ContentsGravity::Center:
        return { { bounds.minX() + (bounds.width() - size.width) / 2,
                     bounds.minY() + (bounds.height() - size.height) / 2 },
            size };
    case Layer::ContentsGravity::ResizeAspect: {
        if (!(size.width > 0) || !(size.height > 0)) {
            return {};
        }
        const double factor = std::min(bounds.width() / size.width, bounds.height() / size.height);
        const Size fitted { size.width * factor, size.height * factor };
        return { { bounds.minX() + (bounds.width() - fitted.width) / 2,
                     bounds.minY() + (bounds.height() - fitted.height) / 2 },
            fitted };
    }
    }
    return bounds;
}

// Three passes of a box blur approach a Gaussian blur. Pixels are
// premultiplied, so colours blur without dark fringes.
void boxBlur(std::vector<std::uint32_t>& pixels, int width, int height, int radius)
{
    if (radius <= 0 || width <= 0 || height <= 0) {
        return;
    }
    std::vector<std::uint32_t> line(static_cast<std::size_t>(std::max(width, height)));
    const auto blurLine = [&](std::uint32_t* start, int count, int step) {
        for (int index = 0; index < count; ++index) {
            line[static_cast<std::size_t>(index)] = start[static_cast<std::ptrdiff_t>(index) * step]; // NOLINT
        }
        std::array<std::uint32_t, 4> sums {};
        const int window = 2 * radius + 1;
        const auto at = [&](int index) { return line[static_cast<std::size_t>(std::clamp(index, 0, count - 1))]; };
        for (int index = -radius; index <= radius; ++index) {
            const auto word = at(index);
            for (unsigned channel = 0; channel < 4; ++channel) {
                sums.at(channel) += (word >> (channel * 8U)) & 0xFFU;
            }
        }
        for (int index = 0; index < count; ++index) {
            std::uint32_t word = 0;
            for (unsigned channel = 0; channel < 4; ++channel) {
                word |= ((sums.at(channel) + static_cast<std::uint32_t>(window) / 2)
                            / static_cast<std::uint32_t>(window))
                    << (channel * 8U);
            }
            start[static_cast<std::ptrdiff_t>(index) * step] = word; // NOLINT
            const auto leaving = at(index - radius);
            const auto entering = at(index + radius + 1);
            for (unsigned channel = 0; channel < 4; ++channel) {
                sums.at(channel) += ((entering >> (channel * 8U)) & 0xFFU);
                sums.at(channel) -= ((leaving >> (channel * 8U)) & 0xFFU);
            }
        }
    };
    for (int pass = 0; pass < 3; ++pass) {
        for (int row = 0; row < height; ++row) {
            blurLine(pixels.data() + static_cast<std::ptrdiff_t>(row) * width, width, 1);
        }
        for (int column = 0; column < width; ++column) {
            blurLine(pixels.data() + column, height, width);
        }
    }
}

} // namespace

void Compositor::drawLayer(const Layer& layer, double alpha, bool ignoreOwnOpacity)
{
    if (layer.isHidden()) {
        return;
    }
    alpha *= ignoreOwnOpacity ? 1.0 : unit(shownOpacity(layer));
    if (alpha <= 0) {
        return;
    }
    const auto frame = shownFrame(layer);
    const auto bounds = layer.bounds();
    if (!std::isfinite(frame.minX()) || !std::isfinite(frame.minY()) || !std::isfinite(bounds.minX())
        || !std::isfinite(bounds.minY())) {
        return;
    }
    const bool area = hasArea(bounds);
    if (layer.masksToBounds() && !area) {
        return; // clipped to nothing
    }
    cairo_save(cairo_);
    cairo_translate(cairo_, frame.minX() - bounds.minX(), frame.minY() - bounds.minY());
    if (layer.masksToBounds()) {
        addRoundedRect(cairo_, bounds, layer.cornerRadius());
        cairo_clip(cairo_);
    }
    if (area) {
        if (const auto* backdrop = dynamic_cast<const BackdropLayer*>(&layer)) {
            drawBackdrop(*backdrop, alpha);
        }
        if (const auto& color = layer.backgroundColor(); color && color->alpha() > 0) {
            cairo_set_operator(cairo_, CAIRO_OPERATOR_OVER);
            cairo_set_source_rgba(
                cairo_, unit(color->red()), unit(color->green()), unit(color->blue()), unit(color->alpha()) * alpha);
            addRoundedRect(cairo_, bounds, layer.cornerRadius());
            cairo_fill(cairo_);
        }
        if (const auto& image = layer.contents()) {
            cairo_set_operator(cairo_, CAIRO_OPERATOR_OVER);
            CairoGraphicsContext::paintImage(cairo_, *image, contentsRect(layer, *image), alpha);
        }
        if (layer.drawsContent()) {
            cairo_save(cairo_);
            CairoGraphicsContext context(cairo_, alpha);
            layer.drawInContext(context);
            cairo_restore(cairo_);
        }
    }
    const auto& sublayers = layer.sublayers();
    if (std::any_of(
            sublayers.begin(), sublayers.end(), [](const auto& sublayer) { return sublayer->zPosition() != 0; })) {
        for (const auto& sublayer : layer.sublayersInDrawingOrder()) {
            drawLayer(*sublayer, alpha);
        }
    } else {
        for (const auto& sublayer : sublayers) {
            drawLayer(*sublayer, alpha);
        }
    }
    cairo_restore(cairo_);
}

void Compositor::drawBackdrop(const BackdropLayer& layer, double alpha)
{
    auto* target = cairo_get_target(cairo_);
    if (cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE
        || cairo_image_surface_get_format(target) != CAIRO_FORMAT_ARGB32) {
        return;
    }
    const auto bounds = layer.bounds();
    // The bounds in the target's pixels (views are never turned, so the
    // bounds stay a rectangle).
    double left = bounds.minX();
    double top = bounds.minY();
    double right = bounds.maxX();
    double bottom = bounds.maxY();
    cairo_user_to_device(cairo_, &left, &top);
    cairo_user_to_device(cairo_, &right, &bottom);
    const double pixelsPerPoint = std::abs(right - left) / bounds.width();
    const int blurRadius = static_cast<int>(std::lround(layer.blurRadius() * pixelsPerPoint / 2));
    const int surfaceWidth = cairo_image_surface_get_width(target);
    const int surfaceHeight = cairo_image_surface_get_height(target);
    // The region blurred reaches beyond the bounds by the blur's reach, so
    // that colours just outside bleed in as they would.
    const int reach = 3 * blurRadius;
    const int x0 = std::clamp(static_cast<int>(std::floor(std::min(left, right))) - reach, 0, surfaceWidth);
    const int y0 = std::clamp(static_cast<int>(std::floor(std::min(top, bottom))) - reach, 0, surfaceHeight);
    const int x1 = std::clamp(static_cast<int>(std::ceil(std::max(left, right))) + reach, 0, surfaceWidth);
    const int y1 = std::clamp(static_cast<int>(std::ceil(std::max(top, bottom))) + reach, 0, surfaceHeight);
    const int width = x1 - x0;
    const int height = y1 - y0;
    if (width <= 0 || height <= 0) {
        return;
    }

    cairo_surface_flush(target);
    const auto* data = cairo_image_surface_get_data(target);
    const int stride = cairo_image_surface_get_stride(target);
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int row = 0; row < height; ++row) {
        const auto* source
            = data + static_cast<std::ptrdiff_t>(y0 + row) * stride + static_cast<std::ptrdiff_t>(x0) * 4; // NOLINT
        std::memcpy(
            pixels.data() + static_cast<std::ptrdiff_t>(row) * width, source, static_cast<std::size_t>(width) * 4);
    }
    boxBlur(pixels, width, height, blurRadius);
    auto* blurred = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data()),
        CAIRO_FORMAT_ARGB32, width, height, width * 4); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)

    // Each mask view's shape, drawn in the region's pixels.
    cairo_matrix_t matrix;
    cairo_get_matrix(cairo_, &matrix);
    const Layer* backdropRoot = nullptr;
    const auto backdropOrigin = originInRoot(layer, &backdropRoot);
    const auto shapeOf = [&](const Layer& maskLayer) -> cairo_surface_t* {
        const auto parent = maskLayer.superlayer();
        if (!parent) {
            return nullptr;
        }
        const Layer* root = nullptr;
        const auto parentOrigin = originInRoot(*parent, &root);
        if (root != backdropRoot) {
            return nullptr;
        }
        auto* shape = cairo_image_surface_create(CAIRO_FORMAT_A8, width, height);
        auto* shapeCairo = cairo_create(shape);
        cairo_matrix_t shifted = matrix;
        shifted.x0 -= x0;
        shifted.y0 -= y0;
        cairo_set_matrix(shapeCairo, &shifted);
        cairo_translate(shapeCairo, parentOrigin.x - backdropOrigin.x, parentOrigin.y - backdropOrigin.y);
        Compositor(shapeCairo).drawLayer(maskLayer, 1, true);
        cairo_destroy(shapeCairo);
        return shape;
    };

    std::vector<cairo_surface_t*> blurShapes;
    std::vector<cairo_surface_t*> tintShapes;
    bool anyMask = false;
    for (const auto& weak : layer.maskViews()) {
        const auto view = weak.lock();
        if (!view) {
            continue;
        }
        anyMask = true;
        const auto flags = view->backdropMaskViewFlags();
        if ((flags & View::BackdropMaskFilters) != 0) {
            if (auto* shape = shapeOf(*view->layer())) {
                blurShapes.push_back(shape);
            }
        }
        if ((flags & (View::BackdropMaskGrayscaleTint | View::BackdropMaskColorTint)) != 0) {
            if (auto* shape = shapeOf(*view->layer())) {
                tintShapes.push_back(shape);
            }
        }
    }

    cairo_save(cairo_);
    cairo_rectangle(cairo_, bounds.minX(), bounds.minY(), bounds.width(), bounds.height());
    cairo_clip(cairo_);
    cairo_identity_matrix(cairo_);
    cairo_set_operator(cairo_, CAIRO_OPERATOR_OVER);
    const auto& tint = layer.tint();
    const auto paintThrough = [&](cairo_surface_t* shape) {
        // The layer's alpha fades the backdrop as a whole.
        if (alpha < 1) {
            cairo_push_group(cairo_);
        }
        if (shape != nullptr) {
            cairo_mask_surface(cairo_, shape, x0, y0);
        } else {
            cairo_paint(cairo_);
        }
        if (alpha < 1) {
            cairo_pop_group_to_source(cairo_);
            cairo_paint_with_alpha(cairo_, alpha);
        }
    };
    const auto blurSource = [&] { cairo_set_source_surface(cairo_, blurred, x0, y0); };
    const auto tintSource = [&] {
        cairo_set_source_rgba(cairo_, unit(tint->red()), unit(tint->green()), unit(tint->blue()), unit(tint->alpha()));
    };
    if (!anyMask) {
        blurSource();
        paintThrough(nullptr);
        tintSource();
        paintThrough(nullptr);
    } else {
        for (auto* shape : blurShapes) {
            blurSource();
            paintThrough(shape);
        }
        for (auto* shape : tintShapes) {
            tintSource();
            paintThrough(shape);
        }
    }
    cairo_restore(cairo_);

    for (auto* shape : blurShapes) {
        cairo_surface_destroy(shape);
    }
    for (auto* shape : tintShapes) {
        cairo_surface_destroy(shape);
    }
    cairo_surface_destroy(blurred);
}

} // namespace lumora::platform::host
