#pragma once

#include "platform/graphics/Color.h"
#include "platform/ui/View.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

/// A spinner: twelve spokes fading round a circle, turning one spoke every
/// twelfth of a second of the device clock while it animates.
class ActivityIndicatorView : public View {
public:
    /// The spinner's size and colour (the platform's numbering).
    enum class Style : std::int64_t {
        WhiteLarge = 0, ///< white, 37 points square
        White = 1, ///< white, 20 points square
        Gray = 2 ///< gray, 20 points square
    };

    /// A spinner of its style's size (37 points square for the large style,
    /// 20 for the others) at the origin, not animating, hidden while stopped.
    explicit ActivityIndicatorView(Style style);

    /// The style the spinner was made with.
    [[nodiscard]] Style activityIndicatorViewStyle() const { return style_; }
    /// The colour of the spokes: white for the white styles, gray for `Gray`.
    [[nodiscard]] std::shared_ptr<Color> color() const;

    /// Starts turning (showing the spinner when it hides while stopped); nothing
    /// if it already turns.
    void startAnimating();
    /// Stops turning, hiding the spinner when it hides while stopped.
    void stopAnimating();
    /// Whether the spinner is turning.
    [[nodiscard]] bool isAnimating() const;
    /// Whether the spinner is hidden while it does not animate (true initially).
    [[nodiscard]] bool hidesWhenStopped() const { return hidesWhenStopped_; }
    /// Sets whether the spinner hides while stopped; a stopped spinner is hidden
    /// or shown at once.
    void setHidesWhenStopped(bool hides);

    /// The style's size.
    [[nodiscard]] Size sizeThatFits(Size size) const override;

    [[nodiscard]] std::string className() const override { return "ActivityIndicatorView"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "ActivityIndicatorView" || View::isKindOfClassNamed(name);
    }

private:
    Style style_;
    bool hidesWhenStopped_ = true;
};

} // namespace lumora::platform
