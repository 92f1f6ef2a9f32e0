#include "platform/graphics/Layer.h"

#include "platform/host/graphics/LayerAnimations.h"

#include <algorithm>

namespace lumora::platform {

namespace {

host::LayerAnimations& animations()
{
    return host::LayerAnimations::shared();
}

} // namespace

void Layer::setFrame(Rect frame)
{
    if (animations().isAnimating()) {
        const auto shown = animations().presentedFrame(*this).center();
        const auto centre = frame.center();
        if (shown != centre) {
            animations().animate(*this, "position", { shown.x, shown.y }, { centre.x, centre.y });
        }
    }
    frame_ = frame;
    bounds_.size = frame.size;
}

void Layer::setOpacity(double opacity)
{
    if (animations().isAnimating()) {
        const auto shown = animations().presentedOpacity(*this);
        if (shown != opacity) {
            animations().animate(*this, "opacity", { shown }, { opacity });
        }
    }
    opacity_ = opacity;
}

void Layer::drawInContext(GraphicsContext& /*context*/) const { }

std::vector<std::string> Layer::animationKeys() const
{
    return animations().keys(*this);
}

void Layer::removeAllAnimations()
{
    Rect shownFrame;
    double shownOpacity = 0;
    animations().removeAll(*this, &shownFrame, &shownOpacity);
    frame_ = shownFrame;
    bounds_.size = shownFrame.size;
    opacity_ = shownOpacity;
}

std::shared_ptr<Layer> Layer::presentationLayer() const
{
    auto copy = std::make_shared<Layer>();
    copy->frame_ = animations().presentedFrame(*this);
    copy->bounds_ = bounds_;
    copy->opacity_ = animations().presentedOpacity(*this);
    copy->zPosition_ = zPosition_;
    copy->masksToBounds_ = masksToBounds_;
    copy->hidden_ = hidden_;
    copy->cornerRadius_ = cornerRadius_;
    copy->backgroundColor_ = backgroundColor_;
    copy->contents_ = contents_;
    copy->contentsGravity_ = contentsGravity_;
    return copy;
}

void Layer::setBounds(Rect bounds)
{
    bounds_ = bounds;
    frame_.size = bounds.size;
}

void Layer::addSublayer(const std::shared_ptr<Layer>& layer)
{
    insertSublayer_atIndex(layer, sublayers_.size());
}

void Layer::insertSublayer_atIndex(const std::shared_ptr<Layer>& layer, std::size_t index)
{
    if (!layer || layer.get() == this) {
        return;
    }
    // Keep the layer alive while it moves from its old parent to this one.
    // `layer` may be the old parent's own reference, gone once it lets go.
    const auto keep = layer; // NOLINT(performance-unnecessary-copy-initialization)
    keep->removeFromSuperlayer();
    index = std::min(index, sublayers_.size());
    sublayers_.insert(sublayers_.begin() + static_cast<std::ptrdiff_t>(index), keep);
    keep->superlayer_ = sharedFrom(this);
}

void Layer::removeFromSuperlayer()
{
    // The parent may hold the only reference to this layer.
    const auto self = sharedFrom(this);
    const auto parent = superlayer_.lock();
    superlayer_.reset();
    if (parent) {
        std::erase_if(parent->sublayers_, [this](const std::shared_ptr<Layer>& layer) { return layer.get() == this; });
    }
}

std::vector<std::shared_ptr<Layer>> Layer::sublayersInDrawingOrder() const
{
    auto ordered = sublayers_;
    std::stable_sort(ordered.begin(), ordered.end(),
        [](const auto& first, const auto& second) { return first->zPosition() < second->zPosition(); });
    return ordered;
}

} // namespace lumora::platform
