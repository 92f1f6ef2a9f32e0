#pragma once

namespace lumora::platform {

/// Points, sizes and rectangles in points (64-bit floats) unless a caller
/// says pixels.
struct Point {
    double x = 0;
    double y = 0;
    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;
    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    Point origin;
    Size size;

    [[nodiscard]] double minX() const { return origin.x; }
    [[nodiscard]] double minY() const { return origin.y; }
    [[nodiscard]] double maxX() const { return origin.x + size.width; }
    [[nodiscard]] double maxY() const { return origin.y + size.height; }
    [[nodiscard]] double width() const { return size.width; }
    [[nodiscard]] double height() const { return size.height; }
    [[nodiscard]] Point center() const { return { origin.x + size.width / 2, origin.y + size.height / 2 }; }
    [[nodiscard]] bool containsPoint(Point point) const
    {
        return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
    }

    static constexpr Rect zero() { return {}; }
    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace lumora::platform
