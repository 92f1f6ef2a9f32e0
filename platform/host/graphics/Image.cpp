#include "platform/graphics/Image.h"

#include "platform/host/graphics/ImageBacking.h"
#include "platform/system/Bundle.h"
#include "platform/ui/Screen.h"

#include <array>
#include <cmath>
#include <cstring>
#include <fmt/format.h>

namespace lumora::platform {

Image::Backing::Backing(host::Bitmap bitmap) : bitmap_(std::move(bitmap))
{
    if (!bitmap_.isEmpty()) {
        surface_ = cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(bitmap_.data()),
            CAIRO_FORMAT_ARGB32, bitmap_.width(), bitmap_.height(), bitmap_.stride());
    }
}

Image::Backing::~Backing()
{
    if (surface_ != nullptr) {
        cairo_surface_destroy(surface_);
    }
}

namespace {

// Reads a PNG file into premultiplied pixels; an empty bitmap when it cannot.
host::Bitmap readPNG(const std::string& path, double scale)
{
    auto* surface = cairo_image_surface_create_from_png(path.c_str());
    host::Bitmap bitmap;
    if (cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS) {
        const int width = cairo_image_surface_get_width(surface);
        const int height = cairo_image_surface_get_height(surface);
        bitmap = host::Bitmap(width, height, scale);
        if (!bitmap.isEmpty()) {
            auto* target = cairo_image_surface_create_for_data(
                reinterpret_cast<unsigned char*>(bitmap.data()), CAIRO_FORMAT_ARGB32, width, height, bitmap.stride());
            auto* cairo = cairo_create(target);
            cairo_set_operator(cairo, CAIRO_OPERATOR_SOURCE);
            cairo_set_source_surface(cairo, surface, 0, 0);
            cairo_paint(cairo);
            cairo_destroy(cairo);
            cairo_surface_destroy(target);
        }
    }
    cairo_surface_destroy(surface);
    return bitmap;
}

double scaleOfFileName(const std::string& path)
{
    const auto slash = path.find_last_of('/');
    const auto name = path.substr(slash == std::string::npos ? 0 : slash + 1);
    const auto dot = name.find_last_of('.');
    const auto stem = name.substr(0, dot);
    if (stem.ends_with("@3x")) {
        return 3;
    }
    if (stem.ends_with("@2x")) {
        return 2;
    }
    return 1;
}

} // namespace

Image::Image(std::shared_ptr<const Backing> backing, double scale, std::string name)
    : backing_(std::move(backing)), scale_(std::isfinite(scale) && scale > 0 ? scale : 1), name_(std::move(name))
{ }

Size Image::size() const
{
    if (!backing_) {
        return {};
    }
    return { backing_->bitmap().width() / scale_, backing_->bitmap().height() / scale_ };
}

std::string Image::description() const
{
    const auto points = size();
    return fmt::format("Image {}x{} @{}x", points.width, points.height, scale_);
}

std::shared_ptr<Image> Image::imageWithContentsOfFile(const std::string& path)
{
    const double scale = scaleOfFileName(path);
    auto bitmap = readPNG(path, scale);
    if (bitmap.isEmpty()) {
        return nullptr;
    }
    return std::make_shared<Image>(std::make_shared<const Backing>(std::move(bitmap)), scale);
}

std::shared_ptr<Image> Image::imageNamed_inBundle(const std::string& name, const std::shared_ptr<Bundle>& bundle)
{
    const auto source = bundle ? bundle : Bundle::mainBundle();
    if (!source || name.empty()) {
        return nullptr;
    }
    const auto screen = Screen::mainScreen();
    const int wanted = screen ? static_cast<int>(std::clamp(std::lround(screen->scale()), 1L, 3L)) : 1;
    // The variant for the screen first, then the larger ones, then the smaller ones.
    std::array<int, 3> order {};
    std::size_t next = 0;
    order.at(next++) = wanted;
    for (int scale = wanted + 1; scale <= 3; ++scale) {
        order.at(next++) = scale;
    }
    for (int scale = wanted - 1; scale >= 1; --scale) {
        order.at(next++) = scale;
    }
    for (const int scale : order) {
        const auto resource = scale == 1 ? name : fmt::format("{}@{}x", name, scale);
        if (const auto path = source->pathForResource(resource, "png")) {
            if (const auto image = imageWithContentsOfFile(*path)) {
                return std::make_shared<Image>(image->backing(), image->scale(), name);
            }
        }
    }
    return nullptr;
}

} // namespace lumora::platform
