#pragma once

#include "platform/graphics/GraphicsContext.h"

#include <vector>

#include <cairo.h>

namespace lumora::platform::host {

/// The simulated device's drawing: a graphics context over a cairo context
/// (which it references while it lives).
class CairoGraphicsContext : public GraphicsContext {
public:
    /// `alpha` multiplies everything drawn, whatever `setAlpha` says.
    explicit CairoGraphicsContext(cairo_t* cairo, double alpha = 1);
    ~CairoGraphicsContext() override;
    CairoGraphicsContext(const CairoGraphicsContext&) = delete;
    CairoGraphicsContext& operator=(const CairoGraphicsContext&) = delete;
    CairoGraphicsContext(CairoGraphicsContext&&) = delete;
    CairoGraphicsContext& operator=(CairoGraphicsContext&&) = delete;

    /// The cairo operator that blends as `mode` does.
    static cairo_operator_t operatorFor(BlendMode mode);
    /// Paints `image` stretched into `rect` with the current operator, multiplied by `alpha`.
    static void paintImage(cairo_t* cairo, const Image& image, Rect rect, double alpha);

    void setGrayFillColor_alpha(double gray, double alpha) override;
    void setFillColor(const Color& color) override;
    void setBlendMode(BlendMode mode) override;
    void setAlpha(double alpha) override;
    void fillRect(Rect rect) override;
    void fillRoundedRect(Rect rect, double radius) override;
    void fillEllipseInRect(Rect rect) override;
    void drawImage_atPoint_blendMode_alpha(const Image& image, Point point, BlendMode mode, double alpha) override;
    void drawImage_inRect_blendMode_alpha(const Image& image, Rect rect, BlendMode mode, double alpha) override;
    void saveGState() override;
    void restoreGState() override;
    void translateBy(double dx, double dy) override;
    void rotateBy(double radians) override;
    void clipToRect(Rect rect) override;

protected:
    [[nodiscard]] cairo_t* cairo() const { return cairo_; }

private:
    struct State {
        double red = 0;
        double green = 0;
        double blue = 0;
        double alpha = 1;
        double globalAlpha = 1;
        BlendMode mode = BlendMode::Normal;
    };

    void fillCurrentPath();

    cairo_t* cairo_;
    double baseAlpha_;
    State state_;
    std::vector<State> saved_;
};

/// Adds a rectangle with corners rounded by `radius` (clamped to half the
/// shorter side) to the current path.
void addRoundedRect(cairo_t* cairo, Rect rect, double radius);

} // namespace lumora::platform::host
