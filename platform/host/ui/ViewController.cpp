#include "platform/ui/ViewController.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/ui/Screen.h"
#include "platform/ui/Window.h"

#include <algorithm>

namespace lumora::platform {

std::shared_ptr<View> ViewController::view()
{
    loadViewIfNeeded();
    return view_;
}

void ViewController::loadViewIfNeeded()
{
    if (view_) {
        return;
    }
    loadView();
    if (!view_) {
        // A loadView that made no view still leaves the controller with one.
        view_ = std::make_shared<View>();
    }
    viewDidLoad();
}

void ViewController::loadView()
{
    const auto screen = Screen::mainScreen();
    setView(std::make_shared<View>(screen ? screen->bounds() : Rect {}));
}

void ViewController::viewWillTransitionToSize_withTransitionCoordinator(
    Size size, const std::shared_ptr<TransitionCoordinator>& coordinator)
{
    // Copy: a child may leave its parent while it hears of the change.
    const auto children = children_;
    for (const auto& child : children) {
        child->viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
    }
}

void ViewController::beginAppearanceTransition(bool isAppearing, bool animated)
{
    if (isAppearing) {
        if (appearance_ == Appearance::Appearing || appearance_ == Appearance::Appeared) {
            return;
        }
        loadViewIfNeeded();
        appearance_ = Appearance::Appearing;
        appearanceAnimated_ = animated;
        viewWillAppear(animated);
    } else {
        if (appearance_ == Appearance::Disappearing || appearance_ == Appearance::Disappeared) {
            return;
        }
        appearance_ = Appearance::Disappearing;
        appearanceAnimated_ = animated;
        viewWillDisappear(animated);
    }
    const auto children = children_;
    for (const auto& child : children) {
        child->beginAppearanceTransition(isAppearing, animated);
    }
}

void ViewController::endAppearanceTransition()
{
    if (appearance_ == Appearance::Appearing) {
        appearance_ = Appearance::Appeared;
        viewDidAppear(appearanceAnimated_);
    } else if (appearance_ == Appearance::Disappearing) {
        appearance_ = Appearance::Disappeared;
        viewDidDisappear(appearanceAnimated_);
    } else {
        return;
    }
    const auto children = children_;
    for (const auto& child : children) {
        child->endAppearanceTransition();
    }
}

void ViewController::addChildViewController(const std::shared_ptr<ViewController>& child)
{
    if (!child || child.get() == this || child->parent_.lock().get() == this) {
        return;
    }
    if (child->parentViewController()) {
        child->removeFromParentViewController();
    }
    child->willMoveToParentViewController(sharedFrom(this));
    children_.push_back(child);
    child->parent_ = sharedFrom(this);
}

void ViewController::removeFromParentViewController()
{
    const auto self = sharedFrom(this);
    const auto parent = parent_.lock();
    if (!parent) {
        return;
    }
    parent_.reset();
    std::erase_if(parent->children_, [this](const auto& child) { return child.get() == this; });
    didMoveToParentViewController(nullptr);
}

void ViewController::presentViewController_animated_completion(
    const std::shared_ptr<ViewController>& controller, bool animated, std::function<void()> completion)
{
    if (!controller || presented_ || controller.get() == this) {
        return;
    }
    presented_ = controller;
    controller->presenting_ = sharedFrom(this);
    const bool coversPresenter = controller->modalPresentationStyle() == ModalPresentationFullScreen;
    if (coversPresenter) {
        beginAppearanceTransition(false, animated);
    }
    const auto view = controller->view();
    if (const auto window = view_ ? view_->window() : nullptr) {
        view->setFrame(window->bounds());
        window->addSubview(view);
    }
    controller->beginAppearanceTransition(true, animated);
    controller->endAppearanceTransition();
    if (coversPresenter) {
        endAppearanceTransition();
    }
    if (completion) {
        DispatchQueue::main().async(std::move(completion));
    }
}

void ViewController::dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion)
{
    auto presenter = presented_ ? sharedFrom(this) : presenting_.lock();
    if (!presenter || !presenter->presented_) {
        return;
    }
    const auto dismissed = presenter->presented_;
    const bool coveredPresenter = dismissed->modalPresentationStyle() == ModalPresentationFullScreen;
    if (coveredPresenter) {
        presenter->beginAppearanceTransition(true, animated);
    }
    dismissed->beginAppearanceTransition(false, animated);
    if (const auto& view = dismissed->viewIfLoaded()) {
        view->removeFromSuperview();
    }
    dismissed->endAppearanceTransition();
    presenter->presented_.reset();
    dismissed->presenting_.reset();
    if (coveredPresenter) {
        presenter->endAppearanceTransition();
    }
    if (completion) {
        DispatchQueue::main().async(std::move(completion));
    }
}

} // namespace lumora::platform
