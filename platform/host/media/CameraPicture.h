#pragma once

#include "platform/graphics/Geometry.h"

namespace lumora::platform {
class GraphicsContext;
} // namespace lumora::platform

namespace lumora::platform::host {

/// What the simulated front camera sees: a moving picture that is a fixed
/// function of the device clock, so that a preview, a snapshot and a movie of
/// the same moment show the same thing and a test can say what that is.
///
/// The picture is `Width` × `Height` (portrait): a teal background, a yellow
/// face with dark eyes and mouth, a white hand turning about the face's
/// centre once every `HandPeriod` seconds, and a magenta bar across the whole
/// picture sweeping from top to bottom once every `BarPeriod` seconds, drawn
/// last. The colours are far apart, so that each part can be told from the
/// others after scaling and compression.
class CameraPicture {
public:
    /// The picture's own size, in its units; only its proportions matter.
    static constexpr double Width = 480;
    static constexpr double Height = 640;
    static constexpr double BarPeriod = 2;
    /// The bar's height, as a part of the picture's height.
    static constexpr double BarHeight = 0.06;
    static constexpr double HandPeriod = 4;

    /// The colours, components 0...1.
    struct Colour {
        double red = 0;
        double green = 0;
        double blue = 0;
    };
    static constexpr Colour Background { 0, 0.5, 0.5 };
    static constexpr Colour Face { 1, 0.8, 0 };
    static constexpr Colour Bar { 1, 0, 1 };

    /// Where the bar's top edge is at `uptime`, as a part of the picture's
    /// height from its top (0 up to 1 - `BarHeight`).
    [[nodiscard]] static double barTopAt(double uptime);

    /// Draws the picture as it is at `uptime` so that it fills `target`
    /// (stretched to it, in the context's points).
    static void draw(GraphicsContext& context, Rect target, double uptime);
};

} // namespace lumora::platform::host
