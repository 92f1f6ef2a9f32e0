#include "platform/ui/View.h"

#include "platform/host/graphics/LayerAnimations.h"
#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/Window.h"

#include <algorithm>
#include <array>
#include <ranges>

namespace lumora::platform {

namespace {

host::LayerAnimations& animations()
{
    return host::LayerAnimations::shared();
}

// Where a view is shown in its superview: its frame, moved by a running
// position animation.
Rect shownFrame(const Layer& layer)
{
    return animations().isIdle() ? layer.frame() : animations().presentedFrame(layer);
}

// Spreads `delta` over the flexible parts of one axis (a margin, the size,
// the other margin), in proportion to their current lengths.
void spread(double delta, const std::array<bool, 3>& flexible, std::array<double, 3>& lengths)
{
    double total = 0;
    int count = 0;
    for (std::size_t part = 0; part < 3; ++part) {
        if (flexible.at(part)) {
            total += std::max(lengths.at(part), 0.0);
            ++count;
        }
    }
    if (count == 0) {
        return;
    }
    for (std::size_t part = 0; part < 3; ++part) {
        if (flexible.at(part)) {
            const double share = total > 0 ? std::max(lengths.at(part), 0.0) / total : 1.0 / count;
            lengths.at(part) += delta * share;
        }
    }
}

// Moves and resizes the subviews that follow their superview's size.
void resizeSubviews(const View& view, Size oldSize)
{
    const auto newSize = view.bounds().size;
    for (const auto& subview : view.subviews()) {
        const auto mask = subview->autoresizingMask();
        if (mask == View::AutoresizingNone) {
            continue;
        }
        const auto frame = subview->frame();
        std::array<double, 3> horizontal { frame.minX(), frame.width(), oldSize.width - frame.maxX() };
        spread(newSize.width - oldSize.width,
            { (mask & View::AutoresizingFlexibleLeftMargin) != 0, (mask & View::AutoresizingFlexibleWidth) != 0,
                (mask & View::AutoresizingFlexibleRightMargin) != 0 },
            horizontal);
        std::array<double, 3> vertical { frame.minY(), frame.height(), oldSize.height - frame.maxY() };
        spread(newSize.height - oldSize.height,
            { (mask & View::AutoresizingFlexibleTopMargin) != 0, (mask & View::AutoresizingFlexibleHeight) != 0,
                (mask & View::AutoresizingFlexibleBottomMargin) != 0 },
            vertical);
        subview->setFrame({ { horizontal[0], vertical[0] }, { horizontal[1], vertical[1] } });
    }
}

} // namespace

View::View() : layer_(std::make_shared<Layer>()) { }

View::View(Rect frame) : View()
{
    layer_->setFrame(frame);
}

View::View(std::shared_ptr<Layer> layer, Rect frame) : layer_(layer ? std::move(layer) : std::make_shared<Layer>())
{
    layer_->setFrame(frame);
}

void View::setFrame(Rect frame)
{
    const auto oldSize = layer_->bounds().size;
    layer_->setFrame(frame);
    if (frame.size != oldSize) {
        resizeSubviews(*this, oldSize);
        setNeedsLayout();
    }
}

void View::setBounds(Rect bounds)
{
    const auto oldSize = layer_->bounds().size;
    layer_->setBounds(bounds);
    if (bounds.size != oldSize) {
        resizeSubviews(*this, oldSize);
        setNeedsLayout();
    }
}

Size View::sizeThatFits(Size /*size*/) const
{
    return bounds().size;
}

void View::sizeToFit()
{
    auto frame = this->frame();
    frame.size = sizeThatFits(frame.size);
    setFrame(frame);
}

void View::animateWithDuration_delay_options_animations_completion(double duration, double delay,
    AnimationOptions options, const std::function<void()>& animations, std::function<void(bool finished)> completion)
{
    host::LayerAnimations::shared().beginBlock(
        duration, delay, host::AnimationTiming::fromOptions(options), std::move(completion));
    if (animations) {
        animations();
    }
    host::LayerAnimations::shared().endBlock();
}

void View::animateWithDuration_animations_completion(
    double duration, const std::function<void()>& animations, std::function<void(bool finished)> completion)
{
    animateWithDuration_delay_options_animations_completion(
        duration, 0, AnimationOptionCurveEaseInOut, animations, std::move(completion));
}

void View::animateWithDuration_animations(double duration, const std::function<void()>& animations)
{
    animateWithDuration_delay_options_animations_completion(
        duration, 0, AnimationOptionCurveEaseInOut, animations, nullptr);
}

void View::animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
    double duration, double delay, double dampingRatio, double velocity, AnimationOptions /*options*/,
    const std::function<void()>& animations, std::function<void(bool finished)> completion)
{
    host::LayerAnimations::shared().beginBlock(
        duration, delay, host::AnimationTiming::spring(dampingRatio, velocity), std::move(completion));
    if (animations) {
        animations();
    }
    host::LayerAnimations::shared().endBlock();
}

void View::performWithoutAnimation(const std::function<void()>& actions)
{
    host::LayerAnimations::shared().beginNonAnimatedBlock();
    if (actions) {
        actions();
    }
    host::LayerAnimations::shared().endNonAnimatedBlock();
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
        const auto frame = shownFrame(*current->layer_);
        offset.x += frame.origin.x - current->bounds().origin.x;
        offset.y += frame.origin.y - current->bounds().origin.y;
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
        const auto rootFrame = shownFrame(*root->layer_);
        const auto otherRootFrame = shownFrame(*otherRoot->layer_);
        inRoot.x += rootFrame.origin.x - otherRootFrame.origin.x;
        inRoot.y += rootFrame.origin.y - otherRootFrame.origin.y;
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
    if (isHidden() || !userInteractionEnabled_ || !(alpha() >= 0.01) || !pointInside_withEvent(point, event)) {
        return nullptr;
    }
    // Front to back: the last subview lies on top.
    for (const auto& subview : std::views::reverse(subviews_)) {
        const auto frame = shownFrame(*subview->layer_);
        const Point inSubview { point.x - frame.origin.x + subview->bounds().origin.x,
            point.y - frame.origin.y + subview->bounds().origin.y };
        if (auto hit = subview->hitTest_withEvent(inSubview, event)) {
            return hit;
        }
    }
    return sharedFrom(this);
}

void View::touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (const auto parent = superview()) {
        parent->touchesBegan_withEvent(touches, event);
    }
}

void View::touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (const auto parent = superview()) {
        parent->touchesMoved_withEvent(touches, event);
    }
}

void View::touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (const auto parent = superview()) {
        parent->touchesEnded_withEvent(touches, event);
    }
}

void View::touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event)
{
    if (const auto parent = superview()) {
        parent->touchesCancelled_withEvent(touches, event);
    }
}

void View::addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer)
{
    if (!recognizer) {
        return;
    }
    if (const auto previous = recognizer->view(); previous && previous.get() != this) {
        previous->removeGestureRecognizer(recognizer);
    }
    if (std::find(gestureRecognizers_.begin(), gestureRecognizers_.end(), recognizer) == gestureRecognizers_.end()) {
        gestureRecognizers_.push_back(recognizer);
    }
    recognizer->setView(sharedFrom(this));
}

void View::removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer)
{
    const auto found = std::find(gestureRecognizers_.begin(), gestureRecognizers_.end(), recognizer);
    if (found == gestureRecognizers_.end()) {
        return;
    }
    gestureRecognizers_.erase(found);
    recognizer->setView(nullptr);
}

} // namespace lumora::platform
