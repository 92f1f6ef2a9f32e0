#include "platform/host/device/SimulatedDisplay.h"

#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/graphics/Compositor.h"
#include "platform/host/graphics/LayerAnimations.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"

#include <algorithm>
#include <cmath>

#include <cairo.h>

namespace lumora::platform::host {

namespace {

// Runs `draw` with a cairo context over `bitmap` that maps points to its pixels.
template <class Draw> void drawInto(Bitmap& bitmap, const Draw& draw)
{
    if (bitmap.isEmpty()) {
        return;
    }
    auto* surface = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(bitmap.data()),
        CAIRO_FORMAT_ARGB32, bitmap.width(), bitmap.height(), bitmap.stride());
    auto* cairo = cairo_create(surface);
    cairo_scale(cairo, bitmap.scale(), bitmap.scale());
    draw(cairo);
    cairo_destroy(cairo);
    cairo_surface_flush(surface);
    cairo_surface_destroy(surface);
}

int pixels(double points, double scale)
{
    const double value = std::ceil(points * scale - 1e-9);
    return std::isfinite(value) && value > 0 ? static_cast<int>(std::min(value, 1e6)) : 0;
}

} // namespace

void SimulatedDisplay::reset()
{
    LayerAnimations::shared().reset();
}

Bitmap SimulatedDisplay::snapshotScreen() const
{
    Bitmap bitmap;
    drawScreen(bitmap);
    return bitmap;
}

void SimulatedDisplay::drawScreen(Bitmap& bitmap) const
{
    auto& screens = SimulatedDevice::shared().screens();
    if (!screens.mainScreen()) {
        bitmap = {};
        return;
    }
    const auto bounds = screens.mainScreenBounds();
    const double scale = screens.mainScreenScale();
    const int width = pixels(bounds.width(), scale);
    const int height = pixels(bounds.height(), scale);
    if (bitmap.width() != width || bitmap.height() != height || bitmap.scale() != scale) {
        bitmap = Bitmap(width, height, scale);
    }
    auto windows = SimulatedDevice::shared().application().windows();
    std::erase_if(windows, [](const auto& window) { return window->isHidden(); });
    std::stable_sort(windows.begin(), windows.end(),
        [](const auto& first, const auto& second) { return first->windowLevel() < second->windowLevel(); });
    drawInto(bitmap, [&](cairo_t* cairo) {
        cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
        cairo_set_source_rgb(cairo, 0, 0, 0);
        cairo_paint(cairo);
        cairo_translate(cairo, -bounds.minX(), -bounds.minY());
        Compositor compositor(cairo);
        for (const auto& window : windows) {
            compositor.drawLayer(*window->layer());
        }
    });
}

Bitmap SimulatedDisplay::snapshotView(const View& view) const
{
    auto& screens = SimulatedDevice::shared().screens();
    const double scale = screens.mainScreen() ? screens.mainScreenScale() : 1;
    const auto bounds = view.bounds();
    Bitmap bitmap(pixels(bounds.width(), scale), pixels(bounds.height(), scale), scale);
    const auto frame = view.layer()->presentationLayer()->frame();
    drawInto(bitmap, [&](cairo_t* cairo) {
        cairo_translate(cairo, -frame.minX(), -frame.minY());
        Compositor(cairo).drawLayer(*view.layer());
    });
    return bitmap;
}

void SimulatedDisplay::removeAllAnimations()
{
    LayerAnimations::shared().reset();
}

} // namespace lumora::platform::host
