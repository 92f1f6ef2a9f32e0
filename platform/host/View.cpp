#include "platform/View.h"

#include "platform/Window.h"

#include <algorithm>
#include <ranges>

namespace lumora::platform {

View::View() : layer_(std::make_shared<Layer>()) { }

View::View(Rect frame) : View()
{
    layer_->setFrame(frame);
}

void View::setFrame(Rect frame)
{
    const bool resized = frame.size != layer_->frame().size;
    layer_->setFrame(frame);
    if (resized) {
        setNeedsLayout();
    }
}

void View::setBounds(Rect bounds)
{
    const bool resized = bounds.size != layer_->bounds().size;
    layer_->setBounds(bounds);
    if (resized) {
        setNeedsLayout();
    }
}

void View::setCenter(Point center)
{
    auto frame = layer_->frame();
    frame.origin = { center.x - frame.size.width / 2, center.y - frame.size.height / 2 };
    layer_->setFrame(frame);
}

void View::setBackgroundColor(std::shared_ptr<Color> color)
{
    layer_->setBackgroundColor(color);
    backgroundColor_ = std::move(color);
}

void View::setHidden(bool hidden)
{
    layer_->setHidden(hidden);
}

void View::addSubview(const std::shared_ptr<View>& view)
{
    insertSubview_atIndex(view, subviews_.size());
}

void View::insertSubview_atIndex(const std::shared_ptr<View>& view, std::size_t index)
{
    if (!view || view.get() == this || isDescendantOfView(view.get())) {
        return;
    }
    // `view` may be the old parent's own reference, gone once it lets go.
    const auto keep = view; // NOLINT(performance-unnecessary-copy-initialization)
    if (keep->superview_.lock().get() == this) {
        // Moving within this view: drop the old place without a move notice.
        std::erase(subviews_, keep);
    } else {
        keep->removeFromSuperview();
    }
    index = std::min(index, subviews_.size());
    subviews_.insert(subviews_.begin() + static_cast<std::ptrdiff_t>(index), keep);
    keep->superview_ = sharedFrom(this);
    // The layer tree follows the view tree: the subview's layer goes just
    // above the layer of the subview it now lies in front of.
    std::size_t layerIndex = 0;
    if (index > 0) {
        const auto& sublayers = layer_->sublayers();
        const auto below = std::find(sublayers.begin(), sublayers.end(), subviews_[index - 1]->layer_);
        layerIndex
            = below == sublayers.end() ? sublayers.size() : static_cast<std::size_t>(below - sublayers.begin()) + 1;
    }
    layer_->insertSublayer_atIndex(keep->layer_, layerIndex);
    keep->didMoveToSuperview();
}

void View::removeFromSuperview()
{
    const auto self = sharedFrom(this);
    const auto parent = superview_.lock();
    if (!parent) {
        return;
    }
    superview_.reset();
    std::erase_if(parent->subviews_, [this](const std::shared_ptr<View>& view) { return view.get() == this; });
    layer_->removeFromSuperlayer();
    didMoveToSuperview();
}

void View::bringSubviewToFront(const std::shared_ptr<View>& view)
{
    if (view && view->superview_.lock().get() == this) {
        addSubview(view);
    }
}

bool View::isDescendantOfView(const View* view) const
{
    std::shared_ptr<View> holder;
    for (const View* current = this; current != nullptr; current = holder.get()) {
        if (current == view) {
            return true;
        }
        holder = current->superview();
    }
    return false;
}

std::shared_ptr<Window> View::window() const
{
    for (auto current = superview(); current; current = current->superview()) {
        if (auto window = std::dynamic_pointer_cast<Window>(current)) {
            return window;
        }
    }
    return nullptr;
}

void View::layoutIfNeeded()
{
    if (needsLayout_) {
        needsLayout_ = false;
        layoutSubviews();
    }
}

Point View::offsetToRoot(const View** root) const
{
    Point offset;
    const View* current = this;
    for (auto parent = superview(); parent; parent = parent->superview()) {
        offset.x += current->frame().origin.x - current->bounds().origin.x;
        offset.y += current->frame().origin.y - current->bounds().origin.y;
        current = parent.get();
    }
    *root = current;
    return offset;
}

Point View::convertPoint_toView(Point point, const View* view) const
{
    const View* root = nullptr;
    const auto offset = offsetToRoot(&root);
    Point inRoot { point.x + offset.x, point.y + offset.y };
    if (view == nullptr) {
        return inRoot;
    }
    const View* otherRoot = nullptr;
    const auto otherOffset = view->offsetToRoot(&otherRoot);
    if (otherRoot != root) {
        inRoot.x += root->frame().origin.x - otherRoot->frame().origin.x;
        inRoot.y += root->frame().origin.y - otherRoot->frame().origin.y;
    }
    return { inRoot.x - otherOffset.x, inRoot.y - otherOffset.y };
}

Point View::convertPoint_fromView(Point point, const View* view) const
{
    if (view == nullptr) {
        const View* root = nullptr;
        const auto offset = offsetToRoot(&root);
        return { point.x - offset.x, point.y - offset.y };
    }
    return view->convertPoint_toView(point, this);
}

Rect View::convertRect_toView(Rect rect, const View* view) const
{
    return { convertPoint_toView(rect.origin, view), rect.size };
}

Rect View::convertRect_fromView(Rect rect, const View* view) const
{
    return { convertPoint_fromView(rect.origin, view), rect.size };
}

bool View::pointInside_withEvent(Point point, const std::shared_ptr<Event>& /*event*/) const
{
    return bounds().containsPoint(point);
}

std::shared_ptr<View> View::hitTest_withEvent(Point point, const std::shared_ptr<Event>& event)
{
    if (isHidden() || !userInteractionEnabled_ || alpha() < 0.01 || !pointInside_withEvent(point, event)) {
        return nullptr;
    }
    // Front to back: the last subview lies on top.
    for (const auto& subview : std::views::reverse(subviews_)) {
        const Point inSubview { point.x - subview->frame().origin.x + subview->bounds().origin.x,
            point.y - subview->frame().origin.y + subview->bounds().origin.y };
        if (auto hit = subview->hitTest_withEvent(inSubview, event)) {
            return hit;
        }
    }
    return sharedFrom(this);
}

} // namespace lumora::platform
