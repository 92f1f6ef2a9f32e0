#pragma once

#include "platform/Color.h"
#include "platform/Event.h"
#include "platform/Geometry.h"
#include "platform/Layer.h"
#include "platform/Object.h"
#include "platform/Touch.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lumora::platform {

class GestureRecognizer;
class Window;

/// A rectangle on screen that draws, holds subviews and takes touches.
///
/// Every view is backed by a layer, and the view tree is mirrored in the layer
/// tree: a subview's layer is a sublayer of its superview's layer. `frame` and
/// `bounds` are the layer's. Subviews are held strongly in back-to-front
/// order; the superview is held weakly. Views are used on the MainQueue.
///
/// Hit testing and coordinate conversion use where views are shown: a view
/// in the middle of an animation is touched where the user sees it.
class View : public Object {
public:
    /// Options of the animation operations (the platform's numbering).
    using AnimationOptions = std::uint64_t;
    static constexpr AnimationOptions AnimationOptionAllowUserInteraction = 1U << 1U;
    static constexpr AnimationOptions AnimationOptionBeginFromCurrentState = 1U << 2U;
    static constexpr AnimationOptions AnimationOptionCurveEaseInOut = 0U << 16U;
    static constexpr AnimationOptions AnimationOptionCurveEaseIn = 1U << 16U;
    static constexpr AnimationOptions AnimationOptionCurveEaseOut = 2U << 16U;
    static constexpr AnimationOptions AnimationOptionCurveLinear = 3U << 16U;

    /// How a view follows its superview's size changes (the platform's bits).
    using AutoresizingMask = std::uint64_t;
    static constexpr AutoresizingMask AutoresizingNone = 0;
    static constexpr AutoresizingMask AutoresizingFlexibleLeftMargin = 1U << 0U;
    static constexpr AutoresizingMask AutoresizingFlexibleWidth = 1U << 1U;
    static constexpr AutoresizingMask AutoresizingFlexibleRightMargin = 1U << 2U;
    static constexpr AutoresizingMask AutoresizingFlexibleTopMargin = 1U << 3U;
    static constexpr AutoresizingMask AutoresizingFlexibleHeight = 1U << 4U;
    static constexpr AutoresizingMask AutoresizingFlexibleBottomMargin = 1U << 5U;

    /// What a view's shape contributes to a blurred backdrop view it is
    /// registered with (`BackdropView::updateMaskViewsForView`); bits.
    using BackdropMaskFlags = std::int64_t;
    /// The view's shape is tinted lighter over the blur.
    static constexpr BackdropMaskFlags BackdropMaskGrayscaleTint = 1;
    static constexpr BackdropMaskFlags BackdropMaskColorTint = 2;
    /// The view's shape is where the blur shows.
    static constexpr BackdropMaskFlags BackdropMaskFilters = 4;

    View();
    explicit View(Rect frame);

    // ---- Animations --------------------------------------------------------------------
    /// Animates the changes `animations` makes to views' frames, centres,
    /// bounds and alphas over `duration` seconds of the device clock,
    /// starting after `delay`, along the curve the options name. The
    /// properties take their new values at once; the views are shown moving
    /// to them. A change to a property that is already animating starts from
    /// where it is shown and replaces the running animation. `completion`
    /// (may be empty) runs on the MainQueue once every animation of the
    /// block has ended: `finished` is false when one was removed or replaced
    /// first. With no change to animate, or a duration that is zero,
    /// negative or not a number, the changes are made at once and the
    /// completion is queued with `finished` true.
    static void animateWithDuration_delay_options_animations_completion(double duration, double delay,
        AnimationOptions options, const std::function<void()>& animations,
        std::function<void(bool finished)> completion);
    static void animateWithDuration_animations_completion(
        double duration, const std::function<void()>& animations, std::function<void(bool finished)> completion);
    static void animateWithDuration_animations(double duration, const std::function<void()>& animations);
    /// The same with the motion of a damped spring that settles within
    /// `duration`: `dampingRatio` 1 comes to rest without overshooting,
    /// smaller values oscillate (values at or below 0 are taken as a very
    /// small damping); `velocity` is the initial speed in units of the whole
    /// distance per second. The curve options are ignored.
    static void animateWithDuration_delay_usingSpringWithDamping_initialSpringVelocity_options_animations_completion(
        double duration, double delay, double dampingRatio, double velocity, AnimationOptions options,
        const std::function<void()>& animations, std::function<void(bool finished)> completion);
    /// Runs `actions` with animation off, even inside an animation block.
    static void performWithoutAnimation(const std::function<void()>& actions);

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
    /// A promise that the view draws every pixel of its bounds opaque; the
    /// screen draws it the same either way.
    [[nodiscard]] bool isOpaque() const { return opaque_; }
    void setOpaque(bool opaque) { opaque_ = opaque; }
    [[nodiscard]] bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    [[nodiscard]] bool clipsToBounds() const { return layer_->masksToBounds(); }
    void setClipsToBounds(bool clips) { layer_->setMasksToBounds(clips); }
    [[nodiscard]] std::int64_t tag() const { return tag_; }
    void setTag(std::int64_t tag) { tag_ = tag; }
    [[nodiscard]] AutoresizingMask autoresizingMask() const { return autoresizingMask_; }
    void setAutoresizingMask(AutoresizingMask mask) { autoresizingMask_ = mask; }
    [[nodiscard]] BackdropMaskFlags backdropMaskViewFlags() const { return backdropMaskViewFlags_; }
    void setBackdropMaskViewFlags(BackdropMaskFlags flags) { backdropMaskViewFlags_ = flags; }

    /// The size the view would like within `size`; by default its current size.
    [[nodiscard]] virtual Size sizeThatFits(Size size) const;
    /// Resizes the view to `sizeThatFits` its current size, keeping its origin.
    void sizeToFit();

    // ---- Hierarchy -----------------------------------------------------------------
    [[nodiscard]] const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    [[nodiscard]] std::shared_ptr<View> superview() const { return superview_.lock(); }
    /// Adds `view` in front of the other subviews, taking it from its current
    /// superview first.
    virtual void addSubview(const std::shared_ptr<View>& view);
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

    // ---- Touches and gestures ----------------------------------------------------------
    /// The touches the platform delivers to the hit-tested view. By default
    /// each passes them on to the superview.
    virtual void touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    virtual void touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);

    /// Attaches a recognizer (held strongly) that sees the touches of this
    /// view and its subviews.
    void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    void removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    [[nodiscard]] const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const
    {
        return gestureRecognizers_;
    }
    /// Whether recognizers of the superviews see touches that begin on this
    /// view or below it (true by default). A control turns it off to keep
    /// its taps from starting a drag of what contains it.
    [[nodiscard]] bool passesGestureTouchesToSuperview() const { return passesGestureTouchesToSuperview_; }
    void setPassesGestureTouchesToSuperview(bool passes) { passesGestureTouchesToSuperview_ = passes; }

    [[nodiscard]] std::string className() const override { return "View"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "View" || Object::isKindOfClassNamed(name);
    }

protected:
    /// A view backed by a layer of a class of the subclass's choosing.
    View(std::shared_ptr<Layer> layer, Rect frame);

private:
    /// The offset from this view's coordinates to those of the outermost
    /// ancestor, and that ancestor.
    [[nodiscard]] Point offsetToRoot(const View** root) const;

    std::shared_ptr<Layer> layer_;
    std::shared_ptr<Color> backgroundColor_;
    std::vector<std::shared_ptr<View>> subviews_;
    std::weak_ptr<View> superview_;
    std::vector<std::shared_ptr<GestureRecognizer>> gestureRecognizers_;
    std::int64_t tag_ = 0;
    AutoresizingMask autoresizingMask_ = AutoresizingNone;
    BackdropMaskFlags backdropMaskViewFlags_ = 0;
    bool opaque_ = true;
    bool userInteractionEnabled_ = true;
    bool passesGestureTouchesToSuperview_ = true;
    bool needsLayout_ = true;
};

} // namespace lumora::platform
