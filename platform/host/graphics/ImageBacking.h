#pragma once

#include "platform/graphics/Image.h"
#include "platform/host/graphics/Bitmap.h"

#include <cairo.h>

namespace lumora::platform {

/// An image's pixels on the simulated device: a bitmap, with a drawing
/// surface over it made once for every context that draws the image.
class Image::Backing {
public:
    explicit Backing(host::Bitmap bitmap);
    ~Backing();
    Backing(const Backing&) = delete;
    Backing& operator=(const Backing&) = delete;
    Backing(Backing&&) = delete;
    Backing& operator=(Backing&&) = delete;

    [[nodiscard]] const host::Bitmap& bitmap() const { return bitmap_; }
    /// A surface reading the bitmap; never written through. Null for an empty bitmap.
    [[nodiscard]] cairo_surface_t* surface() const { return surface_; }

private:
    host::Bitmap bitmap_;
    cairo_surface_t* surface_ = nullptr;
};

} // namespace lumora::platform
