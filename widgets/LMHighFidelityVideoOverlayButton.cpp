#include "widgets/LMHighFidelityVideoOverlayButton.h"

#include "platform/ui/ImageView.h"
#include "recording/LMExtensions.h"

#include <string>

namespace lumora {

namespace {

using platform::Control;
using platform::View;

// The glyph's shape is tinted over the blur; the plate's shape is where the
// blur shows, tinted as well.
constexpr View::BackdropMaskFlags glyphMaskFlags = View::BackdropMaskGrayscaleTint | View::BackdropMaskColorTint;
constexpr View::BackdropMaskFlags plateMaskFlags = glyphMaskFlags | View::BackdropMaskFilters;

} // namespace

LMHighFidelityVideoOverlayButton::LMHighFidelityVideoOverlayButton(Token /*token*/, platform::Rect frame) : View(frame)
{ }

std::shared_ptr<LMHighFidelityVideoOverlayButton> LMHighFidelityVideoOverlayButton::initWithStyle(std::int64_t style)
{
    const auto bundle = LMExtensions::_lmFrameworkBundle();
    const auto glyph = platform::Image::imageNamed_inBundle(std::string(LMVideoOverlayGlyphMaskImageName), bundle);
    auto button = std::make_shared<platform::Button>(platform::Rect {});
    button->setImage_forState(glyph, Control::StateNormal);
    button->sizeToFit();

    auto self = std::make_shared<LMHighFidelityVideoOverlayButton>(Token {}, button->frame());
    self->style_ = style;
    self->button_ = button;

    using Self = LMHighFidelityVideoOverlayButton;
    button->addTarget_action_forControlEvents(
        Control::Action(self, &Self::_playButtonTapped), Control::EventTouchUpInside);
    button->addTarget_action_forControlEvents(
        Control::Action(self, &Self::_playButtonActivate), Control::EventTouchDown | Control::EventTouchDragEnter);
    button->addTarget_action_forControlEvents(
        Control::Action(self, &Self::_playButtonDeactivate), Control::EventTouchDragExit);
    // A cancelled touch deliberately has no action: the glyph stays
    // highlighted until the next drag exit or tap.
    button->setPassesGestureTouchesToSuperview(false);

    self->addSubview(button);
    self->setAutoresizingMask(View::AutoresizingFlexibleLeftMargin | View::AutoresizingFlexibleRightMargin
        | View::AutoresizingFlexibleTopMargin | View::AutoresizingFlexibleBottomMargin);

    if (style == StyleAutomatic) {
        const auto plate = std::make_shared<platform::ImageView>(
            platform::Image::imageNamed_inBundle(std::string(LMVideoOverlayBackgroundMaskImageName), bundle));
        self->backdropView_ = std::make_shared<platform::BackdropView>(BackdropStyle);
        // The backdrop covers the whole button and follows its size.
        self->backdropView_->setFrame(self->bounds());
        self->backdropView_->setAutoresizingMask(View::AutoresizingFlexibleWidth | View::AutoresizingFlexibleHeight);
        self->insertSubview_atIndex(self->backdropView_, 0);
        self->addSubview(plate);
        // The plate never shows itself: it only shapes the backdrop.
        plate->setBackdropMaskViewFlags(plateMaskFlags);
        plate->setAlpha(0);
        self->backdropView_->updateMaskViewsForView(plate);
        button->setBackdropMaskViewFlags(glyphMaskFlags);
        self->backdropView_->updateMaskViewsForView(button);
    }

    self->_playButtonDeactivate(nullptr);
    return self;
}

void LMHighFidelityVideoOverlayButton::setTarget_action(const std::shared_ptr<platform::Object>& target, Action action)
{
    target_ = target;
    action_ = std::move(action);
}

void LMHighFidelityVideoOverlayButton::_playButtonActivate(const std::shared_ptr<platform::Object>& /*sender*/)
{
    button_->setAlpha(LMVideoOverlayHighlightedGlyphAlpha);
}

void LMHighFidelityVideoOverlayButton::_playButtonDeactivate(const std::shared_ptr<platform::Object>& /*sender*/)
{
    button_->setAlpha(LMVideoOverlayDefaultGlyphAlpha);
}

void LMHighFidelityVideoOverlayButton::_playButtonTapped(const std::shared_ptr<platform::Object>& sender)
{
    _playButtonDeactivate(sender);
    // The sender is this button, not the inner one.
    action_.sendTo(target_.lock(), sharedFrom(this));
}

} // namespace lumora
