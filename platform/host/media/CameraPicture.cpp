#include "platform/host/media/CameraPicture.h"

#include "platform/graphics/Color.h"
#include "platform/graphics/GraphicsContext.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumora::platform::host {

namespace {

// The part of `period` that has passed at `uptime`, 0 up to 1.
double phaseAt(double uptime, double period)
{
    const double turns = uptime / period;
    return turns - std::floor(turns);
}

void fill(GraphicsContext& context, const CameraPicture::Colour& colour)
{
    context.setFillColor(Color(colour.red, colour.green, colour.blue, 1));
}

} // namespace

double CameraPicture::barTopAt(double uptime)
{
    return phaseAt(uptime, BarPeriod) * (1 - BarHeight);
}

void CameraPicture::draw(GraphicsContext& context, Rect target, double uptime)
{
    // Positions are parts of the picture's width and height, mapped onto the target.
    const auto at = [&target](double x, double y, double width, double height) {
        return Rect { { target.origin.x + (x * target.size.width), target.origin.y + (y * target.size.height) },
            { width * target.size.width, height * target.size.height } };
    };
    context.saveGState();
    context.clipToRect(target);
    fill(context, Background);
    context.fillRect(target);

    fill(context, Face);
    context.fillEllipseInRect(at(0.2, 0.25, 0.6, 0.5));
    fill(context, { 0.1, 0.1, 0.1 });
    context.fillEllipseInRect(at(0.34, 0.38, 0.08, 0.06));
    context.fillEllipseInRect(at(0.58, 0.38, 0.08, 0.06));
    fill(context, { 0.6, 0.1, 0.1 });
    context.fillRect(at(0.38, 0.6, 0.24, 0.04));

    // The hand turns clockwise from twelve o'clock.
    const double length = 0.25 * target.size.width;
    const double thickness = std::max(1.0, 0.02 * target.size.width);
    context.saveGState();
    context.translateBy(target.origin.x + (0.5 * target.size.width), target.origin.y + (0.5 * target.size.height));
    context.rotateBy((2 * std::numbers::pi * phaseAt(uptime, HandPeriod)) - (std::numbers::pi / 2));
    fill(context, { 1, 1, 1 });
    context.fillRect({ { 0, -thickness / 2 }, { length, thickness } });
    context.restoreGState();

    fill(context, Bar);
    context.fillRect(at(0, barTopAt(uptime), 1, BarHeight));
    context.restoreGState();
}

} // namespace lumora::platform::host
