#include "camera/LMPictureInPictureViewController.h"

#include "camera/LMPassThroughView.h"

#include <algorithm>

namespace lumora {

namespace {

constexpr double springDuration = 0.5;
constexpr double springDampingRatio = 0.8;
constexpr double springInitialVelocity = 0.3;

} // namespace

void LMPictureInPictureViewController::setContentView(const std::shared_ptr<platform::View>& contentView)
{
    const auto oldView = view();
    const auto passThrough = std::make_shared<LMPassThroughView>(oldView->frame());
    setView(passThrough);
    // The new view takes the old one's place in the window, if it had one.
    if (const auto parent = oldView->superview()) {
        const auto& siblings = parent->subviews();
        const auto index
            = static_cast<std::size_t>(std::find(siblings.begin(), siblings.end(), oldView) - siblings.begin());
        oldView->removeFromSuperview();
        parent->insertSubview_atIndex(passThrough, index);
    }

    contentView_ = contentView;
    passThrough->addSubview(contentView);

    const auto pan = std::make_shared<platform::PanGestureRecognizer>(
        platform::PanGestureRecognizer::Action(sharedFrom(this), &LMPictureInPictureViewController::viewDidPan));
    if (contentView) {
        contentView->setUserInteractionEnabled(true);
        contentView->addGestureRecognizer(pan);
    }
    updateContentViewWithAlignment_size(PipAlignment::TopLeft, passThrough->bounds().size);
}

void LMPictureInPictureViewController::viewDidPan(const std::shared_ptr<platform::PanGestureRecognizer>& recognizer)
{
    const auto content = contentView();
    if (!recognizer || !content) {
        return;
    }
    const auto state = recognizer->state();
    if (state == platform::GestureRecognizer::State::Began) {
        // A spring still in flight stops where it is shown, under the finger.
        content->layer()->removeAllAnimations();
    }
    const auto ownView = view();
    const auto translation = recognizer->translationInView(ownView.get());
    const auto center = content->center();
    content->setCenter({ center.x + translation.x, center.y + translation.y });
    recognizer->setTranslation_inView({ 0, 0 }, ownView.get());

    if (state != platform::GestureRecognizer::State::Ended) {
        return;
    }
    const auto moved = content->center();
    const auto halfWidth = ownView->frame().size.width / 2;
    const auto halfHeight = ownView->frame().size.height / 2;
    // Every comparison is strict, so a centre on either midline goes to the
    // top left, whichever side it is on.
    auto alignment = PipAlignment::TopLeft;
    if (moved.x > halfWidth && moved.y < halfHeight) {
        alignment = PipAlignment::TopRight;
    } else if (moved.x < halfWidth && moved.y > halfHeight) {
        alignment = PipAlignment::BottomLeft;
    } else if (moved.x > halfWidth && moved.y > halfHeight) {
        alignment = PipAlignment::BottomRight;
    }
    updateContentViewWithAlignment_size(alignment, ownView->bounds().size);
}

void LMPictureInPictureViewController::updateContentViewWithAlignment_size(PipAlignment alignment, platform::Size size)
{
    currentAlignment_ = alignment;
    const auto content = contentView();
    if (!content) {
        return;
    }
    content->layer()->removeAllAnimations();

    const auto half = platform::Size { content->bounds().size.width / 2, content->bounds().size.height / 2 };
    platform::Point target;
    switch (alignment) {
    case PipAlignment::TopLeft:
        target = { half.width + CornerMargin, half.height + CornerMargin };
        break;
    case PipAlignment::TopRight:
        target = { size.width - CornerMargin - half.width, half.height + CornerMargin };
        break;
    case PipAlignment::BottomLeft:
        target = { half.width + CornerMargin, size.height - CornerMargin - half.height };
        break;
    case PipAlignment::BottomRight:
    default: {
        // Deliberately measured on this controller's own view rather than on
        // `size`, unlike the other corners: during a rotation the two differ.
        const auto own = view()->bounds().size;
        target = { own.width - CornerMargin - half.width, own.height - CornerMargin - half.height };
        break;
    }
    }

    platform::View::
        animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
            springDuration, 0, springDampingRatio, springInitialVelocity, platform::View::AnimationOptionCurveEaseIn,
            [weak = weakFrom(this), target] {
                if (const auto self = weak.lock()) {
                    if (const auto moving = self->contentView()) {
                        moving->setCenter(target);
                    }
                }
            },
            nullptr);
}

void LMPictureInPictureViewController::viewWillTransitionToSize_withTransitionCoordinator(
    platform::Size size, const std::shared_ptr<platform::TransitionCoordinator>& coordinator)
{
    platform::ViewController::viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
    if (!coordinator) {
        return;
    }
    coordinator->animateAlongsideTransition_completion(
        [weak = weakFrom(this), size](const platform::TransitionCoordinatorContext& /*context*/) {
            if (const auto self = weak.lock()) {
                self->updateContentViewWithAlignment_size(self->currentAlignment(), size);
            }
        },
        nullptr);
}

} // namespace lumora
