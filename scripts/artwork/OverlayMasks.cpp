// Draws the two mask images of the video overlay buttons, at 1x, 2x and 3x:
//
//   LMVideoOverlayGlyphMask       the play glyph, opaque white on transparent;
//   LMVideoOverlayBackgroundMask  the plate behind it, an opaque white disc.
//
// Both are 60 x 60 points, so the buttons can lay them over each other
// top-left aligned. Only their alpha matters to the buttons: the plate's alpha
// shapes the blurred backdrop and is punched out of the flat button's gray,
// the glyph's alpha is painted at the glyph alpha.
//
// Usage: OverlayMasks <output folder>   (scripts/make-overlay-masks.sh builds and runs it)

#include <cairo.h>

#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr double sidePoints = 60;
constexpr double plateRadius = 28;
// The triangle's corners, its tip to the right; its centroid sits a little
// right of the plate's centre so that it looks centred.
constexpr double glyphLeft = 24;
constexpr double glyphTop = 17.5;
constexpr double glyphBottom = 42.5;
constexpr double glyphTip = 44;
constexpr double glyphCornerRounding = 3;

using Painter = void (*)(cairo_t*);

void paintPlate(cairo_t* cr)
{
    cairo_arc(cr, sidePoints / 2, sidePoints / 2, plateRadius, 0, 2 * 3.141592653589793);
    cairo_fill(cr);
}

void paintGlyph(cairo_t* cr)
{
    cairo_move_to(cr, glyphLeft, glyphTop);
    cairo_line_to(cr, glyphTip, sidePoints / 2);
    cairo_line_to(cr, glyphLeft, glyphBottom);
    cairo_close_path(cr);
    // A round stroke on top of the fill softens the corners.
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_set_line_width(cr, glyphCornerRounding);
    cairo_fill_preserve(cr);
    cairo_stroke(cr);
}

bool writeMask(const std::string& folder, const std::string& name, int scale, Painter paint)
{
    const int side = static_cast<int>(sidePoints) * scale;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, side, side);
    cairo_t* cr = cairo_create(surface);
    cairo_scale(cr, scale, scale);
    cairo_set_source_rgba(cr, 1, 1, 1, 1);
    paint(cr);
    cairo_destroy(cr);
    const std::string suffix = scale == 1 ? "" : "@" + std::to_string(scale) + "x";
    const std::string path = folder + "/" + name + suffix + ".png";
    const bool written = cairo_surface_write_to_png(surface, path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(surface);
    if (!written) {
        std::cerr << "could not write " << path << '\n';
    }
    return written;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv, argv + argc);
    if (arguments.size() != 2) {
        std::cerr << "usage: OverlayMasks <output folder>\n";
        return 2;
    }
    const std::string& folder = arguments[1];
    bool ok = true;
    for (const int scale : { 1, 2, 3 }) {
        ok = writeMask(folder, "LMVideoOverlayGlyphMask", scale, paintGlyph) && ok;
        ok = writeMask(folder, "LMVideoOverlayBackgroundMask", scale, paintPlate) && ok;
    }
    return ok ? 0 : 1;
}
