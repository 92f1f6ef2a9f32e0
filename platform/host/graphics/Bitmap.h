#pragma once

#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumora::platform {
class Image;
} // namespace lumora::platform

namespace lumora::platform::host {

/// One pixel's colour, components 0...1, not premultiplied.
struct Pixel {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 0;
};

/// Pixels in memory: what the simulated device draws into and what its
/// snapshots are. Rows are top to bottom; each pixel is a native-endian
/// 32-bit word holding alpha, red, green and blue (8 bits each, highest
/// first) premultiplied by alpha, so that a bitmap is directly a drawing
/// surface. `scale` says how many pixels make a point.
class Bitmap {
public:
    Bitmap() = default;
    /// A transparent bitmap; an empty one when either side is not positive.
    Bitmap(int width, int height, double scale);

    /// The pixels of `image` (an empty bitmap for null).
    static Bitmap ofImage(const Image* image);

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] double scale() const { return scale_; }
    [[nodiscard]] bool isEmpty() const { return width_ <= 0 || height_ <= 0; }
    /// The size in points.
    [[nodiscard]] Size size() const { return { width_ / scale_, height_ / scale_ }; }

    /// The pixel at column `x`, row `y`; transparent outside the bitmap.
    [[nodiscard]] Pixel pixelAt(int x, int y) const;
    /// The pixel under the point (`x`, `y`) in points.
    [[nodiscard]] Pixel pixelAtPoint(Point point) const;
    /// The pixels as RGBA bytes, not premultiplied, row by row.
    [[nodiscard]] std::vector<std::uint8_t> rgbaBytes() const;
    /// Writes the bitmap as a PNG file; false when it cannot.
    bool writePNG(const std::string& path) const;

    [[nodiscard]] std::uint32_t* data() { return pixels_.data(); }
    [[nodiscard]] const std::uint32_t* data() const { return pixels_.data(); }
    /// Bytes from one row to the next.
    [[nodiscard]] int stride() const { return width_ * 4; }
    /// Makes every pixel transparent.
    void clear();

private:
    std::vector<std::uint32_t> pixels_;
    int width_ = 0;
    int height_ = 0;
    double scale_ = 1;
};

} // namespace lumora::platform::host
