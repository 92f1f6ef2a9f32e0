#include "platform/host/graphics/Bitmap.h"

#include "platform/graphics/Image.h"
#include "platform/host/graphics/ImageBacking.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include <cairo.h>

namespace lumora::platform::host {

namespace {

// The largest bitmap the device makes: 16384 pixels a side.
constexpr int MaximumSide = 16384;

} // namespace

Bitmap::Bitmap(int width, int height, double scale) : scale_(std::isfinite(scale) && scale > 0 ? scale : 1)
{
    if (width <= 0 || height <= 0 || width > MaximumSide || height > MaximumSide) {
        return;
    }
    width_ = width;
    height_ = height;
    pixels_.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
}

Bitmap Bitmap::ofImage(const Image* image)
{
    if (image == nullptr || !image->backing()) {
        return {};
    }
    return image->backing()->bitmap();
}

Pixel Bitmap::pixelAt(int x, int y) const
{
    if (x < 0 || y < 0 || x >= width_ || y >= height_) {
        return {};
    }
    const auto word
        = pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x)];
    const double alpha = static_cast<double>((word >> 24U) & 0xFFU) / 255.0;
    if (alpha == 0) {
        return {};
    }
    const auto channel = [&](unsigned shift) { return static_cast<double>((word >> shift) & 0xFFU) / 255.0 / alpha; };
    return { std::min(channel(16), 1.0), std::min(channel(8), 1.0), std::min(channel(0), 1.0), alpha };
}

Pixel Bitmap::pixelAtPoint(Point point) const
{
    return pixelAt(static_cast<int>(std::floor(point.x * scale_)), static_cast<int>(std::floor(point.y * scale_)));
}

std::vector<std::uint8_t> Bitmap::rgbaBytes() const
{
    std::vector<std::uint8_t> bytes;
    bytes.reserve(pixels_.size() * 4);
    for (const auto word : pixels_) {
        const unsigned alpha = (word >> 24U) & 0xFFU;
        const auto channel = [&](unsigned shift) -> std::uint8_t {
            if (alpha == 0) {
                return 0;
            }
            const unsigned value = (word >> shift) & 0xFFU;
            return static_cast<std::uint8_t>(std::min(255U, (value * 255U + alpha / 2) / alpha));
        };
        bytes.push_back(channel(16));
        bytes.push_back(channel(8));
        bytes.push_back(channel(0));
        bytes.push_back(static_cast<std::uint8_t>(alpha));
    }
    return bytes;
}

bool Bitmap::writePNG(const std::string& path) const
{
    if (isEmpty()) {
        return false;
    }
    // Cairo only reads through the surface here.
    auto* surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>( // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
            const_cast<std::uint32_t*>(pixels_.data())), // NOLINT(cppcoreguidelines-pro-type-const-cast)
        CAIRO_FORMAT_ARGB32, width_, height_, stride());
    const bool written = cairo_surface_write_to_png(surface, path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    return written;
}

void Bitmap::clear()
{
    std::fill(pixels_.begin(), pixels_.end(), 0U);
}

} // namespace lumora::platform::host
