#pragma once

namespace lumora::platform {

/// A position. Points, sizes and rectangles are in points (64-bit floats)
/// unless a caller says pixels.
struct Point {
    /// Horizontal distance from the origin, growing rightwards.
    double x = 0;
    /// Vertical distance from the origin, growing downwards.
    double y = 0;
    /// Whether both coordinates are equal.
    friend bool operator==(const Point&, const Point&) = default;
};

/// A width and a height.
struct Size {
    /// The horizontal extent.
    double width = 0;
    /// The vertical extent.
    double height = 0;
    /// Whether both extents are equal.
    friend bool operator==(const Size&, const Size&) = default;
};

/// A rectangle: its top-left corner and its size. A negative size is kept as
/// given; the accessors do not standardize it.
struct Rect {
    /// The top-left corner.
    Point origin;
    /// The width and height.
    Size size;

    /// The left edge.
    [[nodiscard]] double minX() const { return origin.x; }
    /// The top edge.
    [[nodiscard]] double minY() const { return origin.y; }
    /// The right edge.
    [[nodiscard]] double maxX() const { return origin.x + size.width; }
    /// The bottom edge.
    [[nodiscard]] double maxY() const { return origin.y + size.height; }
    /// The width.
    [[nodiscard]] double width() const { return size.width; }
    /// The height.
    [[nodiscard]] double height() const { return size.height; }
    /// The centre.
    [[nodiscard]] Point center() const { return { origin.x + size.width / 2, origin.y + size.height / 2 }; }
    /// Whether `point` lies inside: the left and top edges are inside, the right
    /// and bottom edges outside.
    [[nodiscard]] bool containsPoint(Point point) const
    {
        return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
    }

    /// The empty rectangle at the origin.
    static constexpr Rect zero() { return {}; }
    /// Whether origin and size are equal.
    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace lumora::platform
