#pragma once

#include "platform/Color.h"
#include "platform/Event.h"
#include "platform/Geometry.h"
#include "platform/Layer.h"
#include "platform/Object.h"

#include <memory>
#include <vector>

namespace lumora::platform {

class Window;

/// A rectangle on screen that draws, holds subviews and takes touches.
///
/// Every view is backed by a layer, and the view tree is mirrored in the layer
/// tree: a subview's layer is a sublayer of its superview's layer. `frame` and
/// `bounds` are the layer's. Subviews are held strongly in back-to-front
/// order; the superview is held weakly. Views are used on the MainQueue.
class View : public Object {
public:
    View();
    explicit View(Rect frame);

    [[nodiscard]] Rect frame() const { return layer_->frame(); }
    virtual void setFrame(Rect frame);
    [[nodiscard]] Rect bounds() const { return layer_->bounds(); }
    virtual void setBounds(Rect bounds);
    [[nodiscard]] Point center() const { return frame().center(); }
    void setCenter(Point center);

    [[nodiscard]] const std::shared_ptr<Layer>& layer() const { return layer_; }
    [[nodiscard]] const std::shared_ptr<Color>& backgroundColor() const { return backgroundColor_; }
    virtual void setBackgroundColor(std::shared_ptr<Color> color);
    [[nodiscard]] bool isHidden() const { return layer_->isHidden(); }
    virtual void setHidden(bool hidden);
    [[nodiscard]] double alpha() const { return layer_->opacity(); }
    void setAlpha(double alpha) { layer_->setOpacity(alpha); }
    [[nodiscard]] bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    [[nodiscard]] bool clipsToBounds() const { return layer_->masksToBounds(); }
    void setClipsToBounds(bool clips) { layer_->setMasksToBounds(clips); }
    [[nodiscard]] std::int64_t tag() const { return tag_; }
    void setTag(std::int64_t tag) { tag_ = tag; }

    // ---- Hierarchy -----------------------------------------------------------------
    [[nodiscard]] const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    [[nodiscard]] std::shared_ptr<View> superview() const { return superview_.lock(); }
    /// Adds `view` in front of the other subviews, taking it from its current
    /// superview first.
    void addSubview(const std::shared_ptr<View>& view);
    void insertSubview_atIndex(const std::shared_ptr<View>& view, std::size_t index);
    void removeFromSuperview();
    void bringSubviewToFront(const std::shared_ptr<View>& view);
    /// Whether `view` is this view or lies below it in the tree.
    [[nodiscard]] bool isDescendantOfView(const View* view) const;
    /// The window the view is in (the view itself when it is a window), or null.
    [[nodiscard]] virtual std::shared_ptr<Window> window() const;

    /// Called after the view moved to another superview (or none).
    virtual void didMoveToSuperview() { }

    // ---- Layout ----------------------------------------------------------------------
    virtual void layoutSubviews() { }
    void setNeedsLayout() { needsLayout_ = true; }
    /// Runs `layoutSubviews` now if a layout is pending.
    void layoutIfNeeded();

    // ---- Coordinates and touches -------------------------------------------------------
    /// Converts a point of this view's coordinates to `view`'s; to those of
    /// the outermost ancestor (the window, when the view is in one) when
    /// `view` is null. Views of different trees meet in screen coordinates,
    /// each outermost ancestor's frame placing it on the screen.
    [[nodiscard]] Point convertPoint_toView(Point point, const View* view) const;
    [[nodiscard]] Point convertPoint_fromView(Point point, const View* view) const;
    [[nodiscard]] Rect convertRect_toView(Rect rect, const View* view) const;
    [[nodiscard]] Rect convertRect_fromView(Rect rect, const View* view) const;

    /// Whether `point` (in this view's coordinates) lies inside the view.
    [[nodiscard]] virtual bool pointInside_withEvent(Point point, const std::shared_ptr<Event>& event) const;
    /// The frontmost visible, touchable view under `point` (in this view's
    /// coordinates): a subview's hit if one has it, else this view, else null.
    [[nodiscard]] virtual std::shared_ptr<View> hitTest_withEvent(Point point, const std::shared_ptr<Event>& event);

    [[nodiscard]] std::string className() const override { return "View"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "View" || Object::isKindOfClassNamed(name);
    }

private:
    /// The offset from this view's coordinates to those of the outermost
    /// ancestor, and that ancestor.
    [[nodiscard]] Point offsetToRoot(const View** root) const;

    std::shared_ptr<Layer> layer_;
    std::shared_ptr<Color> backgroundColor_;
    std::vector<std::shared_ptr<View>> subviews_;
    std::weak_ptr<View> superview_;
    std::int64_t tag_ = 0;
    bool userInteractionEnabled_ = true;
    bool needsLayout_ = true;
};

} // namespace lumora::platform
