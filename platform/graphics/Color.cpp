#include "platform/graphics/Color.h"

#include <algorithm>
#include <fmt/format.h>

namespace lumora::platform {

std::shared_ptr<Color> Color::colorWithRed_green_blue_alpha(double red, double green, double blue, double alpha)
{
    return std::make_shared<Color>(red, green, blue, alpha);
}

std::shared_ptr<Color> Color::colorWithWhite_alpha(double white, double alpha)
{
    return std::make_shared<Color>(white, white, white, alpha);
}

std::shared_ptr<Color> Color::clearColor()
{
    return colorWithWhite_alpha(0, 0);
}

std::shared_ptr<Color> Color::blackColor()
{
    return colorWithWhite_alpha(0, 1);
}

std::shared_ptr<Color> Color::whiteColor()
{
    return colorWithWhite_alpha(1, 1);
}

std::shared_ptr<Color> Color::grayColor()
{
    return colorWithWhite_alpha(0.5, 1);
}

// Components outside 0...1 are clamped, as the platform's colour space does.
Color::Color(double red, double green, double blue, double alpha)
    : red_(std::clamp(red, 0.0, 1.0)),
      green_(std::clamp(green, 0.0, 1.0)),
      blue_(std::clamp(blue, 0.0, 1.0)),
      alpha_(std::clamp(alpha, 0.0, 1.0))
{ }

bool Color::isEqual(const Color& other) const
{
    return red_ == other.red_ && green_ == other.green_ && blue_ == other.blue_ && alpha_ == other.alpha_;
}

std::string Color::description() const
{
    return fmt::format("Color(r={:g} g={:g} b={:g} a={:g})", red_, green_, blue_, alpha_);
}

} // namespace lumora::platform
