#pragma once

#include "platform/Color.h"
#include "platform/View.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

/// A spinner: twelve spokes fading round a circle, turning one spoke every
/// twelfth of a second of the device clock while it animates.
class ActivityIndicatorView : public View {
public:
    /// The platform's numbering.
    enum class Style : std::int64_t { WhiteLarge = 0, White = 1, Gray = 2 };

    /// A spinner of its style's size (37 points square for the large style,
    /// 20 for the others) at the origin, not animating, hidden while stopped.
    explicit ActivityIndicatorView(Style style);

    [[nodiscard]] Style activityIndicatorViewStyle() const { return style_; }
    [[nodiscard]] std::shared_ptr<Color> color() const;

    void startAnimating();
    void stopAnimating();
    [[nodiscard]] bool isAnimating() const;
    /// Whether the spinner is hidden while it does not animate (true initially).
    [[nodiscard]] bool hidesWhenStopped() const { return hidesWhenStopped_; }
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
