#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Geometry.h"
#include "platform/graphics/Layer.h"
#include "platform/ui/Event.h"
#include "platform/ui/Touch.h"

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
    /// Views keep taking touches while they animate.
    static constexpr AnimationOptions AnimationOptionAllowUserInteraction = 1U << 1U;
    /// Starts from the value shown rather than the value set.
    static constexpr AnimationOptions AnimationOptionBeginFromCurrentState = 1U << 2U;
    /// Slow at both ends (the default curve).
    static constexpr AnimationOptions AnimationOptionCurveEaseInOut = 0U << 16U;
    /// Slow at the start.
    static constexpr AnimationOptions AnimationOptionCurveEaseIn = 1U << 16U;
    /// Slow at the end.
    static constexpr AnimationOptions AnimationOptionCurveEaseOut = 2U << 16U;
    /// Even speed throughout.
    static constexpr AnimationOptions AnimationOptionCurveLinear = 3U << 16U;

    /// How a view follows its superview's size changes (the platform's bits).
    using AutoresizingMask = std::uint64_t;
    /// Keeps its frame when the superview resizes.
    static constexpr AutoresizingMask AutoresizingNone = 0;
    /// The left margin takes part of the width change.
    static constexpr AutoresizingMask AutoresizingFlexibleLeftMargin = 1U << 0U;
    /// The width takes part of the width change.
    static constexpr AutoresizingMask AutoresizingFlexibleWidth = 1U << 1U;
    /// The right margin takes part of the width change.
    static constexpr AutoresizingMask AutoresizingFlexibleRightMargin = 1U << 2U;
    /// The top margin takes part of the height change.
    static constexpr AutoresizingMask AutoresizingFlexibleTopMargin = 1U << 3U;
    /// The height takes part of the height change.
    static constexpr AutoresizingMask AutoresizingFlexibleHeight = 1U << 4U;
    /// The bottom margin takes part of the height change.
    static constexpr AutoresizingMask AutoresizingFlexibleBottomMargin = 1U << 5U;

    /// What a view's shape contributes to a blurred backdrop view it is
    /// registered with (`BackdropView::updateMaskViewsForView`); bits.
    using BackdropMaskFlags = std::int64_t;
    /// The view's shape is tinted lighter over the blur.
    static constexpr BackdropMaskFlags BackdropMaskGrayscaleTint = 1;
    /// The view's shape is tinted with colour over the blur.
    static constexpr BackdropMaskFlags BackdropMaskColorTint = 2;
    /// The view's shape is where the blur shows.
    static constexpr BackdropMaskFlags BackdropMaskFilters = 4;

    /// An empty view with a zero frame, visible, opaque and touchable.
    View();
    /// An empty view with the given frame in its future superview's coordinates.
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
    /// The same with no delay and the default curve.
    static void animateWithDuration_animations_completion(
        double duration, const std::function<void()>& animations, std::function<void(bool finished)> completion);
    /// The same with no delay, the default curve and no completion.
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

    /// The view's frame in its superview's coordinates.
    [[nodiscard]] Rect frame() const { return layer_->frame(); }
    /// Sets the frame. A change of size resizes the subviews by their
    /// autoresizing masks and marks the view as needing layout.
    virtual void setFrame(Rect frame);
    /// The view's own coordinate space: the origin is the point shown at its top
    /// left corner, the size is the frame's.
    [[nodiscard]] Rect bounds() const { return layer_->bounds(); }
    /// Sets the bounds; a change of size resizes the subviews as `setFrame` does.
    virtual void setBounds(Rect bounds);
    /// The centre of the frame, in the superview's coordinates.
    [[nodiscard]] Point center() const { return frame().center(); }
    /// Moves the view so that its frame is centred on `center`, keeping its size.
    void setCenter(Point center);

    /// The layer that backs the view; the same for the view's whole life, never null.
    [[nodiscard]] const std::shared_ptr<Layer>& layer() const { return layer_; }
    /// The colour that fills the bounds behind the view's content; null (the
    /// default) is clear.
    [[nodiscard]] const std::shared_ptr<Color>& backgroundColor() const { return backgroundColor_; }
    /// Sets the background colour (null for clear); the layer's follows.
    virtual void setBackgroundColor(std::shared_ptr<Color> color);
    /// Whether the view is hidden: neither it nor its subviews are drawn or
    /// touched. False by default.
    [[nodiscard]] bool isHidden() const { return layer_->isHidden(); }
    /// Hides or shows the view.
    virtual void setHidden(bool hidden);
    /// The view's opacity, 0 (transparent) to 1 (the default); a view whose alpha
    /// is below 0.01 is not touched.
    [[nodiscard]] double alpha() const { return layer_->opacity(); }
    /// Sets the opacity; animatable.
    void setAlpha(double alpha) { layer_->setOpacity(alpha); }
    /// A promise that the view draws every pixel of its bounds opaque; the
    /// screen draws it the same either way.
    [[nodiscard]] bool isOpaque() const { return opaque_; }
    /// Sets the opaque promise (true by default).
    void setOpaque(bool opaque) { opaque_ = opaque; }
    /// Whether touches reach the view and its subviews (true by default); when
    /// false, hit testing passes over them.
    [[nodiscard]] bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
    /// Turns touch delivery to the view and its subviews on or off.
    void setUserInteractionEnabled(bool enabled) { userInteractionEnabled_ = enabled; }
    /// Whether subviews are drawn only inside the bounds (false by default).
    [[nodiscard]] bool clipsToBounds() const { return layer_->masksToBounds(); }
    /// Sets whether subviews are clipped to the bounds.
    void setClipsToBounds(bool clips) { layer_->setMasksToBounds(clips); }
    /// A number the application gives the view to find it again; 0 by default.
    [[nodiscard]] std::int64_t tag() const { return tag_; }
    /// Sets the tag.
    void setTag(std::int64_t tag) { tag_ = tag; }
    /// How the view's frame follows a change of its superview's size;
    /// `AutoresizingNone` by default.
    [[nodiscard]] AutoresizingMask autoresizingMask() const { return autoresizingMask_; }
    /// Sets the autoresizing mask.
    void setAutoresizingMask(AutoresizingMask mask) { autoresizingMask_ = mask; }
    /// What the view's shape contributes to a backdrop view it is registered
    /// with; 0 (nothing) by default.
    [[nodiscard]] BackdropMaskFlags backdropMaskViewFlags() const { return backdropMaskViewFlags_; }
    /// Sets the flags. A registered view's flags are read each time the
    /// backdrop is drawn; registering or unregistering the view takes
    /// `BackdropView::updateMaskViewsForView`.
    void setBackdropMaskViewFlags(BackdropMaskFlags flags) { backdropMaskViewFlags_ = flags; }

    /// The size the view would like within `size`; by default its current size.
    [[nodiscard]] virtual Size sizeThatFits(Size size) const;
    /// Resizes the view to `sizeThatFits` its current size, keeping its origin.
    void sizeToFit();

    // ---- Hierarchy -----------------------------------------------------------------
    /// The subviews, back to front.
    [[nodiscard]] const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
    /// The view this view is a subview of, or null.
    [[nodiscard]] std::shared_ptr<View> superview() const { return superview_.lock(); }
    /// Adds `view` in front of the other subviews, taking it from its current
    /// superview first.
    virtual void addSubview(const std::shared_ptr<View>& view);
    /// Inserts `view` at `index` of the subviews (0 is the back; past the end is
    /// the front), taking it from its current superview first. Null, this view or
    /// one of its ancestors is ignored.
    void insertSubview_atIndex(const std::shared_ptr<View>& view, std::size_t index);
    /// Takes the view out of its superview, which drops its reference; nothing
    /// when it has none.
    void removeFromSuperview();
    /// Moves `view` in front of the other subviews; nothing unless it is a
    /// subview of this view.
    void bringSubviewToFront(const std::shared_ptr<View>& view);
    /// Whether `view` is this view or lies below it in the tree.
    [[nodiscard]] bool isDescendantOfView(const View* view) const;
    /// The window the view is in (the view itself when it is a window), or null.
    [[nodiscard]] virtual std::shared_ptr<Window> window() const;

    /// Called after the view moved to another superview (or none).
    virtual void didMoveToSuperview() { }

    // ---- Layout ----------------------------------------------------------------------
    /// Lays out the subviews; overridden by views that place their own. Called
    /// by `layoutIfNeeded`; does nothing by default.
    virtual void layoutSubviews() { }
    /// Marks the view as needing layout; the next `layoutIfNeeded` runs
    /// `layoutSubviews`.
    void setNeedsLayout() { needsLayout_ = true; }
    /// Runs `layoutSubviews` now if a layout is pending.
    void layoutIfNeeded();

    // ---- Coordinates and touches -------------------------------------------------------
    /// Converts a point of this view's coordinates to `view`'s; to those of
    /// the outermost ancestor (the window, when the view is in one) when
    /// `view` is null. Views of different trees meet in screen coordinates,
    /// each outermost ancestor's frame placing it on the screen.
    [[nodiscard]] Point convertPoint_toView(Point point, const View* view) const;
    /// Converts a point of `view`'s coordinates (the outermost ancestor's when
    /// null) to this view's.
    [[nodiscard]] Point convertPoint_fromView(Point point, const View* view) const;
    /// Converts a rectangle of this view's coordinates to `view`'s, as
    /// `convertPoint_toView` does.
    [[nodiscard]] Rect convertRect_toView(Rect rect, const View* view) const;
    /// Converts a rectangle of `view`'s coordinates to this view's.
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
    /// Touches that moved; passed on to the superview by default.
    virtual void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Touches that lifted; passed on to the superview by default.
    virtual void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);
    /// Touches the platform took away (a recognizer that cancels touches in
    /// its view began, or the system cancelled them); passed on to the
    /// superview by default.
    virtual void touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event);

    /// Attaches a recognizer (held strongly) that sees the touches of this
    /// view and its subviews.
    void addGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    /// Detaches a recognizer; nothing if it is not attached to this view.
    void removeGestureRecognizer(const std::shared_ptr<GestureRecognizer>& recognizer);
    /// The recognizers attached to this view, in the order they were added.
    [[nodiscard]] const std::vector<std::shared_ptr<GestureRecognizer>>& gestureRecognizers() const
    {
        return gestureRecognizers_;
    }
    /// Whether recognizers of the superviews see touches that begin on this
    /// view or below it (true by default). A control turns it off to keep
    /// its taps from starting a drag of what contains it.
    [[nodiscard]] bool passesGestureTouchesToSuperview() const { return passesGestureTouchesToSuperview_; }
    /// Sets whether the superviews' recognizers see touches from this view.
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
