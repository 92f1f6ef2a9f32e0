#pragma once

#include "platform/foundation/Object.h"

#include <memory>

namespace lumora::platform {

/// A colour: red, green, blue and alpha components from 0 to 1.
class Color final : public Object {
public:
    /// A colour of the given components, each clamped to 0...1.
    static std::shared_ptr<Color> colorWithRed_green_blue_alpha(double red, double green, double blue, double alpha);
    /// A gray of the given level (0 black, 1 white) and alpha, each clamped to
    /// 0...1.
    static std::shared_ptr<Color> colorWithWhite_alpha(double white, double alpha);
    /// Fully transparent black.
    static std::shared_ptr<Color> clearColor();
    /// Opaque black.
    static std::shared_ptr<Color> blackColor();
    /// Opaque white.
    static std::shared_ptr<Color> whiteColor();
    /// Opaque middle gray (level 0.5).
    static std::shared_ptr<Color> grayColor();

    /// A colour of the given components, each clamped to 0...1.
    Color(double red, double green, double blue, double alpha);

    /// The red component, 0...1.
    [[nodiscard]] double red() const { return red_; }
    /// The green component, 0...1.
    [[nodiscard]] double green() const { return green_; }
    /// The blue component, 0...1.
    [[nodiscard]] double blue() const { return blue_; }
    /// The opacity, 0 (transparent) to 1 (opaque).
    [[nodiscard]] double alpha() const { return alpha_; }

    /// Whether `other` has the same four components.
    [[nodiscard]] bool isEqual(const Color& other) const;

    [[nodiscard]] std::string className() const override { return "Color"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Color" || Object::isKindOfClassNamed(name);
    }
    [[nodiscard]] std::string description() const override;

private:
    double red_;
    double green_;
    double blue_;
    double alpha_;
};

} // namespace lumora::platform
