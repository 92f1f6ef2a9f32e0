#pragma once

#include "platform/Object.h"

#include <memory>

namespace lumora::platform {

/// A colour: red, green, blue and alpha components from 0 to 1.
class Color final : public Object {
public:
    static std::shared_ptr<Color> colorWithRed_green_blue_alpha(double red, double green, double blue, double alpha);
    static std::shared_ptr<Color> colorWithWhite_alpha(double white, double alpha);
    /// Fully transparent black.
    static std::shared_ptr<Color> clearColor();
    static std::shared_ptr<Color> blackColor();
    static std::shared_ptr<Color> whiteColor();
    static std::shared_ptr<Color> grayColor();

    Color(double red, double green, double blue, double alpha);

    [[nodiscard]] double red() const { return red_; }
    [[nodiscard]] double green() const { return green_; }
    [[nodiscard]] double blue() const { return blue_; }
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
