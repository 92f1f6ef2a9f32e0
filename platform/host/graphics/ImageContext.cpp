#include "platform/graphics/ImageContext.h"

#include "platform/foundation/Log.h"
#include "platform/graphics/Image.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/graphics/CairoGraphicsContext.h"
#include "platform/host/graphics/ImageBacking.h"
#include "platform/ui/Screen.h"

#include <cmath>
#include <fmt/format.h>

namespace lumora::platform {

namespace {

// An image context drawing with cairo into a bitmap of its own.
class BitmapImageContext final : public ImageContext {
public:
    BitmapImageContext(Size size, bool opaque, double scale, host::Bitmap bitmap)
        : size_(size),
          scale_(scale),
          opaque_(opaque),
          bitmap_(std::move(bitmap)),
          surface_(cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(bitmap_.data()),
              CAIRO_FORMAT_ARGB32, bitmap_.width(), bitmap_.height(), bitmap_.stride())),
          cairo_(cairo_create(surface_)),
          drawing_(cairo_)
    {
        cairo_scale(cairo_, scale, scale);
        if (opaque) {
            cairo_set_source_rgb(cairo_, 0, 0, 0);
            cairo_paint(cairo_);
        }
    }

    ~BitmapImageContext() override
    {
        cairo_destroy(cairo_);
        cairo_surface_destroy(surface_);
    }
    BitmapImageContext(const BitmapImageContext&) = delete;
    BitmapImageContext& operator=(const BitmapImageContext&) = delete;
    BitmapImageContext(BitmapImageContext&&) = delete;
    BitmapImageContext& operator=(BitmapImageContext&&) = delete;

    [[nodiscard]] Size size() const override { return size_; }
    [[nodiscard]] double scale() const override { return scale_; }

    [[nodiscard]] std::shared_ptr<Image> imageFromCurrentImageContext() const override
    {
        cairo_surface_flush(surface_);
        auto copy = bitmap_;
        if (opaque_) {
            // The context promised opaque pixels; whatever was left
            // translucent is shown over black, as the platform does.
            for (int index = 0; index < copy.width() * copy.height(); ++index) {
                copy.data()[index] |= 0xFF000000U; // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
            }
        }
        return std::make_shared<Image>(std::make_shared<const Image::Backing>(std::move(copy)), scale_);
    }

    void setGrayFillColor_alpha(double gray, double alpha) override { drawing_.setGrayFillColor_alpha(gray, alpha); }
    void setFillColor(const Color& color) override { drawing_.setFillColor(color); }
    void setBlendMode(BlendMode mode) override { drawing_.setBlendMode(mode); }
    void setAlpha(double alpha) override { drawing_.setAlpha(alpha); }
    void fillRect(Rect rect) override { drawing_.fillRect(rect); }
    void fillRoundedRect(Rect rect, double radius) override { drawing_.fillRoundedRect(rect, radius); }
    void fillEllipseInRect(Rect rect) override { drawing_.fillEllipseInRect(rect); }
    void drawImage_atPoint_blendMode_alpha(const Image& image, Point point, BlendMode mode, double alpha) override
    {
        drawing_.drawImage_atPoint_blendMode_alpha(image, point, mode, alpha);
    }
    void drawImage_inRect_blendMode_alpha(const Image& image, Rect rect, BlendMode mode, double alpha) override
    {
        drawing_.drawImage_inRect_blendMode_alpha(image, rect, mode, alpha);
    }
    void saveGState() override { drawing_.saveGState(); }
    void restoreGState() override { drawing_.restoreGState(); }
    void translateBy(double dx, double dy) override { drawing_.translateBy(dx, dy); }
    void rotateBy(double radians) override { drawing_.rotateBy(radians); }
    void clipToRect(Rect rect) override { drawing_.clipToRect(rect); }

private:
    Size size_;
    double scale_;
    bool opaque_;
    host::Bitmap bitmap_;
    cairo_surface_t* surface_;
    cairo_t* cairo_;
    host::CairoGraphicsContext drawing_;
};

} // namespace

std::unique_ptr<ImageContext> ImageContext::beginImageContextWithOptions(Size size, bool opaque, double scale)
{
    if (!(scale > 0) || !std::isfinite(scale)) {
        const auto screen = Screen::mainScreen();
        scale = screen ? screen->scale() : 1;
    }
    const double width = std::ceil(size.width * scale);
    const double height = std::ceil(size.height * scale);
    if (!(size.width > 0) || !(size.height > 0) || !std::isfinite(width) || !std::isfinite(height)) {
        Log::error("ImageContext: invalid size %@", fmt::format("{}x{}", size.width, size.height));
        return nullptr;
    }
    host::Bitmap bitmap(static_cast<int>(std::min(width, 1e9)), static_cast<int>(std::min(height, 1e9)), scale);
    if (bitmap.isEmpty()) {
        Log::error("ImageContext: invalid size %@", fmt::format("{}x{}", size.width, size.height));
        return nullptr;
    }
    return std::make_unique<BitmapImageContext>(size, opaque, scale, std::move(bitmap));
}

} // namespace lumora::platform
