#pragma once

#include "platform/ui/BackdropView.h"
#include "platform/ui/Button.h"
#include "platform/ui/View.h"
#include "widgets/LMVideoOverlayButton.h"

#include <memory>

namespace lumora {

/// The overlay button whose plate is a live blur of what lies beneath it,
/// cut to the background mask's shape, with the glyph over it.
///
/// The glyph is an inner push button at glyph alpha 0.3, 0.5 while a finger
/// is down on it or has dragged back onto it. Only the automatic style (0)
/// has the blurred plate; other styles show the glyph alone. The button keeps
/// its size and stays centred in its superview.
class LMHighFidelityVideoOverlayButton : public platform::View, public LMVideoOverlayButton {
    struct Token { };

public:
    /// The overlay button's action (not the control's own target-action).
    using Action = LMVideoOverlayButton::Action;

    /// The platform's backdrop style of the blurred plate.
    static constexpr std::int64_t BackdropStyle = 2010;

    /// A new button with the style number it was asked for.
    static std::shared_ptr<LMHighFidelityVideoOverlayButton> initWithStyle(std::int64_t style);
    /// Made by `initWithStyle` only (the token is private): an empty view of
    /// `frame`.
    LMHighFidelityVideoOverlayButton(Token /*token*/, platform::Rect frame);

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

    /// The push button that shows the glyph.
    [[nodiscard]] const std::shared_ptr<platform::Button>& button() const { return button_; }
    /// The blurred plate; null unless the style is automatic.
    [[nodiscard]] const std::shared_ptr<platform::BackdropView>& backdropView() const { return backdropView_; }

    /// Shows the glyph highlighted (alpha 0.5); sent on touch down and drag
    /// enter. `sender` is ignored.
    void _playButtonActivate(const std::shared_ptr<platform::Object>& sender);
    /// Shows the glyph at rest (alpha 0.3); sent on drag exit and before a tap is
    /// reported. `sender` is ignored.
    void _playButtonDeactivate(const std::shared_ptr<platform::Object>& sender);
    /// Deactivates, then sends the action to the target with this button
    /// (not the inner one) as the sender.
    void _playButtonTapped(const std::shared_ptr<platform::Object>& sender);

    [[nodiscard]] std::string className() const override { return "LMHighFidelityVideoOverlayButton"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMHighFidelityVideoOverlayButton" || platform::View::isKindOfClassNamed(name);
    }

private:
    std::int64_t style_ = 0;
    std::shared_ptr<platform::Button> button_;
    std::shared_ptr<platform::BackdropView> backdropView_;
    std::weak_ptr<platform::Object> target_;
    Action action_;
};

} // namespace lumora
