#pragma once

#include "platform/graphics/Geometry.h"

#include <cairo.h>

namespace lumora::platform {
class Layer;
} // namespace lumora::platform

namespace lumora::platform::host {

class BackdropLayer;

/// Draws layer trees into a cairo image surface as the render server would:
/// each layer at its shown frame (animations in flight applied), its
/// background colour, contents image and own drawing, then its sublayers
/// by depth order, with opacity multiplied down the tree, hidden layers
/// skipped and clipping to bounds where asked. Blurred backdrops blur what
/// has been drawn beneath them so far.
class Compositor {
public:
    /// Draws through `cairo`, whose target must be an ARGB32 image surface
    /// and whose matrix maps points to that surface's pixels.
    explicit Compositor(cairo_t* cairo) : cairo_(cairo) { }

    /// Draws `layer` and its sublayers in its superlayer's coordinates.
    /// `ignoreOwnOpacity` draws the layer itself fully opaque (its
    /// sublayers keep theirs): the shape of a mask view.
    void drawLayer(const Layer& layer, double alpha = 1, bool ignoreOwnOpacity = false);

private:
    void drawBackdrop(const BackdropLayer& layer, double alpha);

    cairo_t* cairo_;
};

} // namespace lumora::platform::host
