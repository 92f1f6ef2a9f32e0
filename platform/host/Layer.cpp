#include "platform/Layer.h"

#include <algorithm>

namespace lumora::platform {

void Layer::setFrame(Rect frame)
{
    frame_ = frame;
    bounds_.size = frame.size;
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
