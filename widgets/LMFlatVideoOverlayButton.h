#pragma once

#include "platform/graphics/Image.h"
#include "platform/ui/Button.h"
#include "widgets/LMVideoOverlayButton.h"

#include <memory>

namespace lumora {

/// The overlay button drawn without a live blur: a near-white plate (gray
/// 0.96 at alpha 0.96) that is transparent where the background mask is
/// opaque, with the glyph at alpha 0.3, or 0.5 while highlighted.
///
/// Its two images are drawn once per process, by whichever button asks
/// first, and shared by every flat button; a missing mask image gives an
/// empty image.
class LMFlatVideoOverlayButton : public platform::Button, public LMVideoOverlayButton {
    struct Token { };

public:
    /// The overlay button's action (not the control's own target-action).
    using Action = LMVideoOverlayButton::Action;

    /// A new flat button with the style number it was asked for.
    static std::shared_ptr<LMFlatVideoOverlayButton> initWithStyle(std::int64_t style);
    /// Made by `initWithStyle` only (the token is private): an empty button that
    /// keeps `style`.
    LMFlatVideoOverlayButton(Token /*token*/, std::int64_t style);

    /// The style number the button was made with.
    [[nodiscard]] std::int64_t style() const override { return style_; }
    void setTarget_action(const std::shared_ptr<platform::Object>& target, Action action) override;
    /// The object the action is sent to (held weakly), or null.
    [[nodiscard]] std::shared_ptr<platform::Object> target() const { return target_.lock(); }
    /// Sets the target; held weakly.
    void setTarget(const std::shared_ptr<platform::Object>& target) { target_ = target; }
    /// The operation sent to the target on a tap; empty until set.
    [[nodiscard]] const Action& action() const { return action_; }
    /// Sets the action.
    void setAction(Action action) { action_ = std::move(action); }

    /// Sends the action to the target with this button as the sender.
    void _handleTap(const std::shared_ptr<platform::Object>& sender);

    /// The shared image of the normal state: the glyph at alpha 0.3.
    static std::shared_ptr<platform::Image> _normalButtonImage();
    /// The shared image of the highlighted state: the glyph at alpha 0.5.
    static std::shared_ptr<platform::Image> _highlightedButtonImage();
    /// Draws a plate of gray `white` at `backgroundAlpha` with the background
    /// mask cut out of it and the glyph painted at `glyphAlpha`, at the main
    /// screen's scale.
    static std::shared_ptr<platform::Image> _createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
        double white, double backgroundAlpha, double glyphAlpha);

    [[nodiscard]] std::string className() const override { return "LMFlatVideoOverlayButton"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMFlatVideoOverlayButton" || platform::Button::isKindOfClassNamed(name);
    }

private:
    std::int64_t style_;
    std::weak_ptr<platform::Object> target_;
    Action action_;
};

} // namespace lumora
