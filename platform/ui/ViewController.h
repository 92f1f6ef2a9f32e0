#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"
#include "platform/ui/TransitionCoordinator.h"
#include "platform/ui/View.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace lumora::platform {

class PopoverPresentationController;

/// Manages one view and its life cycle; the base class of every screen of an
/// application.
///
/// The view is made on first use of `view()`: `loadView` (by default a plain
/// view as large as the main screen), then `viewDidLoad`. The appearance hooks
/// are called by the platform (a window showing its root view controller, a
/// presentation, a dismissal) and forwarded to child view controllers.
/// Subclasses that override a hook call the base class first. View
/// controllers are used on the MainQueue.
class ViewController : public Object {
public:
    /// Modal presentation styles (the platform's numbering). Full screen
    /// covers the presenter, which disappears while covered (the default).
    static constexpr std::int64_t ModalPresentationFullScreen = 0;
    /// A sheet over the presenter.
    static constexpr std::int64_t ModalPresentationPageSheet = 1;
    /// A smaller sheet centred over the presenter.
    static constexpr std::int64_t ModalPresentationFormSheet = 2;
    /// Covers the presenter's context.
    static constexpr std::int64_t ModalPresentationCurrentContext = 3;
    /// Shown as the application lays it out itself.
    static constexpr std::int64_t ModalPresentationCustom = 4;
    /// Over the whole screen; the presenter stays visible beneath.
    static constexpr std::int64_t ModalPresentationOverFullScreen = 5;
    /// Over the presenter's context; the presenter stays visible beneath.
    static constexpr std::int64_t ModalPresentationOverCurrentContext = 6;
    /// A popover anchored as `popoverPresentationController` says.
    static constexpr std::int64_t ModalPresentationPopover = 7;

    /// A controller whose view is not loaded yet.
    ViewController() = default;

    // ---- The view ------------------------------------------------------------------
    /// The view, loaded first if it is not yet.
    [[nodiscard]] std::shared_ptr<View> view();
    /// The view, or null when it is not loaded; never loads it.
    [[nodiscard]] const std::shared_ptr<View>& viewIfLoaded() const { return view_; }
    /// Whether the view has been loaded (or set).
    [[nodiscard]] bool isViewLoaded() const { return view_ != nullptr; }
    /// Sets the view; with null, the next `view()` loads one again.
    void setView(std::shared_ptr<View> view) { view_ = std::move(view); }
    /// Loads the view if it is not loaded: `loadView`, then `viewDidLoad`. A
    /// `loadView` that sets no view leaves the controller with a plain one.
    void loadViewIfNeeded();

    /// Makes the view and stores it with `setView`.
    virtual void loadView();
    /// Called once the view is loaded; does nothing by default.
    virtual void viewDidLoad() { }

    // ---- Life-cycle hooks --------------------------------------------------------------
    /// The view is about to appear; `animated` tells whether it is shown moving in.
    virtual void viewWillAppear(bool /*animated*/) { }
    /// The view has appeared.
    virtual void viewDidAppear(bool /*animated*/) { }
    /// The view is about to disappear.
    virtual void viewWillDisappear(bool /*animated*/) { }
    /// The view has disappeared.
    virtual void viewDidDisappear(bool /*animated*/) { }
    /// The view's container is about to change size. The base behaviour passes
    /// the change on to the child view controllers.
    virtual void viewWillTransitionToSize_withTransitionCoordinator(
        Size size, const std::shared_ptr<TransitionCoordinator>& coordinator);
    /// The application is short of memory.
    virtual void didReceiveMemoryWarning() { }

    /// Begins or ends an appearance transition: calls the will/did hooks on
    /// this controller and its children. A begin that repeats the state it is
    /// already in does nothing.
    void beginAppearanceTransition(bool isAppearing, bool animated);
    /// Ends the transition begun last: calls `viewDidAppear` or
    /// `viewDidDisappear` here and on the children; nothing if none is under way.
    void endAppearanceTransition();
    /// Whether the view has appeared and has not begun to disappear.
    [[nodiscard]] bool isVisible() const { return appearance_ == Appearance::Appeared; }

    // ---- Containment ------------------------------------------------------------------
    /// The child view controllers, held strongly, in the order they were added.
    [[nodiscard]] const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const { return children_; }
    /// The controller this one is a child of (held weakly), or null.
    [[nodiscard]] std::shared_ptr<ViewController> parentViewController() const { return parent_.lock(); }
    /// Adds a child (calling its `willMoveToParentViewController` with this
    /// controller first). The caller adds the child's view and then calls the
    /// child's `didMoveToParentViewController`.
    void addChildViewController(const std::shared_ptr<ViewController>& child);
    /// Removes this controller from its parent (calling
    /// `didMoveToParentViewController` with null afterwards). The caller calls
    /// `willMoveToParentViewController` with null first.
    void removeFromParentViewController();
    /// Called before the controller moves to `parent` (null: it is leaving its
    /// parent); does nothing by default.
    virtual void willMoveToParentViewController(const std::shared_ptr<ViewController>& /*parent*/) { }
    /// Called after the controller moved to `parent` (null: it left its parent);
    /// does nothing by default.
    virtual void didMoveToParentViewController(const std::shared_ptr<ViewController>& /*parent*/) { }

    // ---- Presentation -------------------------------------------------------------------
    /// How the controller is shown when presented; `ModalPresentationFullScreen`
    /// by default.
    [[nodiscard]] virtual std::int64_t modalPresentationStyle() const { return modalPresentationStyle_; }
    /// Sets the presentation style; set before presenting.
    virtual void setModalPresentationStyle(std::int64_t style) { modalPresentationStyle_ = style; }
    /// The size the controller would like its view to have when shown in a
    /// popover or sheet, in points; zero (no preference) by default.
    [[nodiscard]] Size preferredContentSize() const { return preferredContentSize_; }
    /// Sets the preferred content size.
    void setPreferredContentSize(Size size) { preferredContentSize_ = size; }

    /// Presents `controller` over this one: its view is laid over the window
    /// of this controller's view and appears; `completion` runs on the
    /// MainQueue afterwards. Does nothing (the completion is dropped) for
    /// null, this controller, or while this controller already presents
    /// another.
    void presentViewController_animated_completion(
        const std::shared_ptr<ViewController>& controller, bool animated, std::function<void()> completion);
    /// Dismisses the controller this one presents (or, when it presents none,
    /// the presentation that shows this one); `completion` runs on the
    /// MainQueue afterwards. With nothing to dismiss, nothing happens and the
    /// completion is dropped.
    virtual void dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion);
    /// The controller this one presents (held strongly), or null.
    [[nodiscard]] const std::shared_ptr<ViewController>& presentedViewController() const { return presented_; }
    /// How the controller is anchored when presented as a popover; null
    /// unless the controller makes one.
    [[nodiscard]] virtual std::shared_ptr<PopoverPresentationController> popoverPresentationController() const
    {
        return nullptr;
    }
    /// The controller presenting this one (held weakly), or null.
    [[nodiscard]] std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }

    [[nodiscard]] std::string className() const override { return "ViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "ViewController" || Object::isKindOfClassNamed(name);
    }

private:
    enum class Appearance : std::uint8_t { Disappeared, Appearing, Appeared, Disappearing };

    std::shared_ptr<View> view_;
    std::vector<std::shared_ptr<ViewController>> children_;
    std::weak_ptr<ViewController> parent_;
    std::shared_ptr<ViewController> presented_;
    std::weak_ptr<ViewController> presenting_;
    std::int64_t modalPresentationStyle_ = ModalPresentationFullScreen;
    Size preferredContentSize_;
    Appearance appearance_ = Appearance::Disappeared;
    bool appearanceAnimated_ = false;
};

} // namespace lumora::platform
