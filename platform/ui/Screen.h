#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"

#include <memory>

namespace lumora::platform {

/// The device's built-in display.
class Screen final : public Object {
public:
    /// The built-in screen, or null on a device that has none attached (a
    /// headless configuration of the simulated device).
    static std::shared_ptr<Screen> mainScreen();

    Screen() = default;

    /// The screen's size in points, origin zero, in the current interface orientation.
    [[nodiscard]] Rect bounds() const;
    /// Pixels per point.
    [[nodiscard]] double scale() const;

    [[nodiscard]] std::string className() const override { return "Screen"; }
};

} // namespace lumora::platform
