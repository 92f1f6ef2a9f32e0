#pragma once

#include "platform/Geometry.h"
#include "platform/Object.h"
#include "platform/TransitionCoordinator.h"
#include "platform/View.h"

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
    /// Modal presentation styles (the platform's numbering).
    static constexpr std::int64_t ModalPresentationFullScreen = 0;
    static constexpr std::int64_t ModalPresentationPageSheet = 1;
    static constexpr std::int64_t ModalPresentationFormSheet = 2;
    static constexpr std::int64_t ModalPresentationCurrentContext = 3;
    static constexpr std::int64_t ModalPresentationCustom = 4;
    static constexpr std::int64_t ModalPresentationOverFullScreen = 5;
    static constexpr std::int64_t ModalPresentationOverCurrentContext = 6;
    static constexpr std::int64_t ModalPresentationPopover = 7;

    ViewController() = default;

    // ---- The view ------------------------------------------------------------------
    /// The view, loaded first if it is not yet.
    [[nodiscard]] std::shared_ptr<View> view();
    [[nodiscard]] const std::shared_ptr<View>& viewIfLoaded() const { return view_; }
    [[nodiscard]] bool isViewLoaded() const { return view_ != nullptr; }
    void setView(std::shared_ptr<View> view) { view_ = std::move(view); }
    void loadViewIfNeeded();

    /// Makes the view and stores it with `setView`.
    virtual void loadView();
    virtual void viewDidLoad() { }

    // ---- Life-cycle hooks --------------------------------------------------------------
    virtual void viewWillAppear(bool /*animated*/) { }
    virtual void viewDidAppear(bool /*animated*/) { }
    virtual void viewWillDisappear(bool /*animated*/) { }
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
    void endAppearanceTransition();
    [[nodiscard]] bool isVisible() const { return appearance_ == Appearance::Appeared; }

    // ---- Containment ------------------------------------------------------------------
    [[nodiscard]] const std::vector<std::shared_ptr<ViewController>>& childViewControllers() const { return children_; }
    [[nodiscard]] std::shared_ptr<ViewController> parentViewController() const { return parent_.lock(); }
    /// Adds a child (calling its `willMoveToParentViewController` with this
    /// controller first). The caller adds the child's view and then calls the
    /// child's `didMoveToParentViewController`.
    void addChildViewController(const std::shared_ptr<ViewController>& child);
    /// Removes this controller from its parent (calling
    /// `didMoveToParentViewController` with null afterwards). The caller calls
    /// `willMoveToParentViewController` with null first.
    void removeFromParentViewController();
    virtual void willMoveToParentViewController(const std::shared_ptr<ViewController>& /*parent*/) { }
    virtual void didMoveToParentViewController(const std::shared_ptr<ViewController>& /*parent*/) { }

    // ---- Presentation -------------------------------------------------------------------
    [[nodiscard]] virtual std::int64_t modalPresentationStyle() const { return modalPresentationStyle_; }
    virtual void setModalPresentationStyle(std::int64_t style) { modalPresentationStyle_ = style; }
    [[nodiscard]] Size preferredContentSize() const { return preferredContentSize_; }
    void setPreferredContentSize(Size size) { preferredContentSize_ = size; }

    /// Presents `controller` over this one: its view is laid over the window
    /// of this controller's view and appears; `completion` runs on the
    /// MainQueue afterwards. Does nothing while this controller already
    /// presents another.
    void presentViewController_animated_completion(
        const std::shared_ptr<ViewController>& controller, bool animated, std::function<void()> completion);
    /// Dismisses the controller this one presents (or, when it presents none,
    /// the presentation that shows this one); `completion` runs on the
    /// MainQueue afterwards.
    virtual void dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion);
    [[nodiscard]] const std::shared_ptr<ViewController>& presentedViewController() const { return presented_; }
    /// How the controller is anchored when presented as a popover; null
    /// unless the controller makes one.
    [[nodiscard]] virtual std::shared_ptr<PopoverPresentationController> popoverPresentationController() const
    {
        return nullptr;
    }
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
