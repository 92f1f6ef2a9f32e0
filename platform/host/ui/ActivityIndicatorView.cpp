#include "platform/ui/ActivityIndicatorView.h"

#include "platform/foundation/Clock.h"
#include "platform/graphics/GraphicsContext.h"

#include <cmath>
#include <numbers>

namespace lumora::platform {

namespace {

constexpr int Spokes = 12;
constexpr double LargeSide = 37;
constexpr double SmallSide = 20;

// Draws the spokes; the brightest one moves on a spoke every twelfth of a
// second of the device clock while the spinner animates.
class SpinnerLayer final : public Layer {
public:
    explicit SpinnerLayer(std::shared_ptr<Color> color) : color_(std::move(color)) { }

    [[nodiscard]] bool drawsContent() const override { return true; }

    void drawInContext(GraphicsContext& context) const override
    {
        const auto box = bounds();
        const double side = std::min(box.width(), box.height());
        if (!(side > 0)) {
            return;
        }
        int lead = 0;
        if (animating_) {
            // The clock counts whole nanoseconds: a twelfth of a second is a hair short.
            lead = static_cast<int>(std::floor((Clock::uptime() - startedAt_) * Spokes + 1e-6)) % Spokes;
            lead = (lead + Spokes) % Spokes;
        }
        const double outer = side / 2;
        const double inner = outer * 0.45;
        const double thickness = std::max(outer * 0.19, 1.0);
        context.saveGState();
        context.translateBy(box.minX() + box.width() / 2, box.minY() + box.height() / 2);
        for (int spoke = 0; spoke < Spokes; ++spoke) {
            // The lead spoke is opaque; those behind it fade out.
            const int behind = (lead - spoke + Spokes) % Spokes;
            const double alpha = 1.0 - 0.7 * behind / (Spokes - 1);
            context.saveGState();
            context.rotateBy(2 * std::numbers::pi * spoke / Spokes - std::numbers::pi / 2);
            context.setFillColor(*color_);
            context.setAlpha(alpha);
            context.fillRoundedRect({ { inner, -thickness / 2 }, { outer - inner, thickness } }, thickness / 2);
            context.restoreGState();
        }
        context.restoreGState();
    }

    void start()
    {
        if (!animating_) {
            animating_ = true;
            startedAt_ = Clock::uptime();
        }
    }
    void stop() { animating_ = false; }
    [[nodiscard]] bool isAnimating() const { return animating_; }
    [[nodiscard]] const std::shared_ptr<Color>& color() const { return color_; }

    [[nodiscard]] std::string className() const override { return "SpinnerLayer"; }

private:
    std::shared_ptr<Color> color_;
    bool animating_ = false;
    double startedAt_ = 0;
};

double sideOf(ActivityIndicatorView::Style style)
{
    return style == ActivityIndicatorView::Style::WhiteLarge ? LargeSide : SmallSide;
}

std::shared_ptr<Color> colorOf(ActivityIndicatorView::Style style)
{
    return style == ActivityIndicatorView::Style::Gray ? Color::grayColor() : Color::whiteColor();
}

SpinnerLayer& spinner(const View& view)
{
    return static_cast<SpinnerLayer&>(*view.layer());
}

} // namespace

ActivityIndicatorView::ActivityIndicatorView(Style style)
    : View(std::make_shared<SpinnerLayer>(colorOf(style)), Rect { {}, { sideOf(style), sideOf(style) } }), style_(style)
{
    setHidden(true);
}

std::shared_ptr<Color> ActivityIndicatorView::color() const
{
    return spinner(*this).color();
}

void ActivityIndicatorView::startAnimating()
{
    spinner(*this).start();
    if (hidesWhenStopped_) {
        setHidden(false);
    }
}

void ActivityIndicatorView::stopAnimating()
{
    spinner(*this).stop();
    if (hidesWhenStopped_) {
        setHidden(true);
    }
}

bool ActivityIndicatorView::isAnimating() const
{
    return spinner(*this).isAnimating();
}

void ActivityIndicatorView::setHidesWhenStopped(bool hides)
{
    hidesWhenStopped_ = hides;
    if (!isAnimating()) {
        setHidden(hides);
    }
}

Size ActivityIndicatorView::sizeThatFits(Size /*size*/) const
{
    return { sideOf(style_), sideOf(style_) };
}

} // namespace lumora::platform
