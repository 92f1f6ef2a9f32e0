#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

class Color;
class Image;

/// How drawn pixels combine with those already there (the platform's numbering).
enum class BlendMode : std::int32_t {
    Normal = 0, ///< source over destination
    Multiply = 1, ///< source times destination, darkening
    Clear = 16, ///< the destination becomes transparent
    Copy = 17, ///< the source replaces the destination
    SourceIn = 18, ///< the source, only where the destination is opaque
    SourceOut = 19, ///< the source, only where the destination is transparent
    SourceAtop = 20, ///< the source over the destination, only where the destination is
    DestinationOver = 21, ///< the destination over the source
    DestinationIn = 22, ///< the destination, kept only where the source is opaque
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
    /// The colour later fills use.
    virtual void setFillColor(const Color& color) = 0;
    /// How later fills and image drawing combine with what is there (Normal initially).
    virtual void setBlendMode(BlendMode mode) = 0;
    /// An alpha that later drawing is multiplied by (1 initially).
    virtual void setAlpha(double alpha) = 0;

    /// Fills a rectangle with the fill colour. An empty or negative rectangle fills nothing.
    virtual void fillRect(Rect rect) = 0;
    /// Fills a rectangle with rounded corners of `radius`.
    virtual void fillRoundedRect(Rect rect, double radius) = 0;
    /// Fills the ellipse inscribed in `rect` with the fill colour.
    virtual void fillEllipseInRect(Rect rect) = 0;

    /// Draws `image` at its own size with its top-left corner at `point`,
    /// combined by `mode` and multiplied by `alpha`.
    virtual void drawImage_atPoint_blendMode_alpha(const Image& image, Point point, BlendMode mode, double alpha) = 0;
    /// Draws `image` stretched into `rect`.
    virtual void drawImage_inRect_blendMode_alpha(const Image& image, Rect rect, BlendMode mode, double alpha) = 0;

    /// Saves the fill colour, blend mode, alpha, clip and transform;
    /// `restoreGState` brings back the last saved state.
    virtual void saveGState() = 0;
    /// Brings back the state saved last; nothing when none is saved.
    virtual void restoreGState() = 0;
    /// Moves the origin of later drawing by `dx`, `dy` points.
    virtual void translateBy(double dx, double dy) = 0;
    /// Rotates later drawing about the current origin, clockwise on screen.
    virtual void rotateBy(double radians) = 0;
    /// Restricts later drawing to `rect` (intersected with the current clip).
    virtual void clipToRect(Rect rect) = 0;
};

} // namespace lumora::platform
