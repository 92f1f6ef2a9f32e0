#pragma once

#include "platform/Geometry.h"
#include "platform/Noncopyable.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

class Color;
class Image;

/// How drawn pixels combine with those already there (the platform's numbering).
enum class BlendMode : std::int32_t {
    Normal = 0, ///< source over destination
    Multiply = 1,
    Clear = 16,
    Copy = 17,
    SourceIn = 18,
    SourceOut = 19,
    SourceAtop = 20,
    DestinationOver = 21,
    DestinationIn = 22,
    DestinationOut = 23, ///< the source's alpha erases the destination
};

/// A drawing destination in points, origin at the top left, y growing
/// downwards. The platform maps points to its pixels at the destination's
/// scale. A context is used by one thread at a time.
class GraphicsContext : private Noncopyable {
public:
    virtual ~GraphicsContext() = default;

    /// The colour later fills use: a gray level and an alpha (each clamped to 0...1).
    virtual void setGrayFillColor_alpha(double gray, double alpha) = 0;
    virtual void setFillColor(const Color& color) = 0;
    /// How later fills and image drawing combine with what is there (Normal initially).
    virtual void setBlendMode(BlendMode mode) = 0;
    /// An alpha that later drawing is multiplied by (1 initially).
    virtual void setAlpha(double alpha) = 0;

    /// Fills a rectangle with the fill colour. An empty or negative rectangle fills nothing.
    virtual void fillRect(Rect rect) = 0;
    /// Fills a rectangle with rounded corners of `radius`.
    virtual void fillRoundedRect(Rect rect, double radius) = 0;
    virtual void fillEllipseInRect(Rect rect) = 0;

    /// Draws `image` at its own size with its top-left corner at `point`,
    /// combined by `mode` and multiplied by `alpha`.
    virtual void drawImage_atPoint_blendMode_alpha(const Image& image, Point point, BlendMode mode, double alpha) = 0;
    /// Draws `image` stretched into `rect`.
    virtual void drawImage_inRect_blendMode_alpha(const Image& image, Rect rect, BlendMode mode, double alpha) = 0;

    /// Saves the fill colour, blend mode, alpha, clip and transform;
    /// `restoreGState` brings back the last saved state.
    virtual void saveGState() = 0;
    virtual void restoreGState() = 0;
    virtual void translateBy(double dx, double dy) = 0;
    /// Rotates later drawing about the current origin, clockwise on screen.
    virtual void rotateBy(double radians) = 0;
    /// Restricts later drawing to `rect` (intersected with the current clip).
    virtual void clipToRect(Rect rect) = 0;
};

} // namespace lumora::platform
