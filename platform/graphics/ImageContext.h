#pragma once

#include "platform/graphics/Geometry.h"
#include "platform/graphics/GraphicsContext.h"

#include <memory>

namespace lumora::platform {

class Image;

/// An off-screen bitmap to draw into and take an image from.
///
/// It starts fully transparent (black when opaque) and ends when it is
/// destroyed. Drawing happens at the context's scale, so an image taken
/// from a context of 30 by 20 points at scale 2 has 60 by 40 pixels.
class ImageContext : public GraphicsContext {
public:
    /// Opens a context of `size` points. `opaque` promises that every pixel
    /// will be drawn opaque (alpha is then dropped from the image); `scale`
    /// is pixels per point, 0 meaning the main screen's scale (1 with no
    /// main screen). Null for an empty, negative or non-finite size (the
    /// platform logs it), or a size too large to hold.
    static std::unique_ptr<ImageContext> beginImageContextWithOptions(Size size, bool opaque, double scale);

    /// The context's size in points.
    [[nodiscard]] virtual Size size() const = 0;
    /// Pixels per point (never 0: a scale of 0 asked for is resolved).
    [[nodiscard]] virtual double scale() const = 0;

    /// An image of what has been drawn so far; later drawing does not change it.
    [[nodiscard]] virtual std::shared_ptr<Image> imageFromCurrentImageContext() const = 0;
};

} // namespace lumora::platform
