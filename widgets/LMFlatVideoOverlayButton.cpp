#include "widgets/LMFlatVideoOverlayButton.h"

#include "platform/graphics/ImageContext.h"
#include "recording/LMExtensions.h"

#include <mutex>
#include <string>

namespace lumora {

using platform::BlendMode;
using platform::Control;

LMFlatVideoOverlayButton::LMFlatVideoOverlayButton(Token /*token*/, std::int64_t style)
    : platform::Button(platform::Rect {}), style_(style)
{ }

std::shared_ptr<LMFlatVideoOverlayButton> LMFlatVideoOverlayButton::initWithStyle(std::int64_t style)
{
    auto self = std::make_shared<LMFlatVideoOverlayButton>(Token {}, style);
    self->setImage_forState(_normalButtonImage(), Control::StateNormal);
    self->setImage_forState(_highlightedButtonImage(), Control::StateHighlighted);
    self->sizeToFit();
    self->setPassesGestureTouchesToSuperview(false);
    self->addTarget_action_forControlEvents(
        Control::Action(self, &LMFlatVideoOverlayButton::_handleTap), Control::EventTouchUpInside);
    return self;
}

void LMFlatVideoOverlayButton::setTarget_action(const std::shared_ptr<platform::Object>& target, Action action)
{
    target_ = target;
    action_ = std::move(action);
}

void LMFlatVideoOverlayButton::_handleTap(const std::shared_ptr<platform::Object>& /*sender*/)
{
    action_.sendTo(target_.lock(), sharedFrom(this));
}

std::shared_ptr<platform::Image> LMFlatVideoOverlayButton::_normalButtonImage()
{
    static std::once_flag once;
    // Deliberately never destroyed: shared by every flat button for the life of the process.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* image = new std::shared_ptr<platform::Image>();
    std::call_once(once, [] {
        *image = _createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
            LMVideoOverlayFlatBackgroundWhite, LMVideoOverlayFlatBackgroundAlpha, LMVideoOverlayDefaultGlyphAlpha);
    });
    return *image;
}

std::shared_ptr<platform::Image> LMFlatVideoOverlayButton::_highlightedButtonImage()
{
    static std::once_flag once;
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* image = new std::shared_ptr<platform::Image>();
    std::call_once(once, [] {
        *image = _createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
            LMVideoOverlayFlatBackgroundWhite, LMVideoOverlayFlatBackgroundAlpha, LMVideoOverlayHighlightedGlyphAlpha);
    });
    return *image;
}

std::shared_ptr<platform::Image>
LMFlatVideoOverlayButton::_createOverlayImageWithBackgroundWhite_backgroundAlpha_glyphAlpha(
    double white, double backgroundAlpha, double glyphAlpha)
{
    const auto bundle = LMExtensions::_lmFrameworkBundle();
    const auto background
        = platform::Image::imageNamed_inBundle(std::string(LMVideoOverlayBackgroundMaskImageName), bundle);
    const auto glyph = platform::Image::imageNamed_inBundle(std::string(LMVideoOverlayGlyphMaskImageName), bundle);
    // Without the plate's shape there is nothing to size the image by: the
    // button is left empty.
    const auto size = background ? background->size() : platform::Size {};
    const auto context = platform::ImageContext::beginImageContextWithOptions(size, false, 0);
    if (!context) {
        return nullptr;
    }
    context->setGrayFillColor_alpha(white, backgroundAlpha);
    context->fillRect({ { 0, 0 }, size });
    context->drawImage_atPoint_blendMode_alpha(*background, { 0, 0 }, BlendMode::DestinationOut, 1.0);
    if (glyph) {
        context->drawImage_atPoint_blendMode_alpha(*glyph, { 0, 0 }, BlendMode::DestinationOut, 1.0);
        context->drawImage_atPoint_blendMode_alpha(*glyph, { 0, 0 }, BlendMode::Normal, glyphAlpha);
    }
    return context->imageFromCurrentImageContext();
}

} // namespace lumora
