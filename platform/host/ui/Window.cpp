#include "platform/ui/Window.h"

#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/ui/Screen.h"
#include "platform/ui/ViewController.h"

namespace lumora::platform {

Window::Window(Rect frame) : View(frame)
{
    layer()->setContext(
        std::make_shared<RenderContext>(host::SimulatedDevice::shared().screens().makeRenderContextId()));
}

std::shared_ptr<Window> Window::window() const
{
    return std::static_pointer_cast<Window>(std::const_pointer_cast<Object>(weak_from_this().lock()));
}

void Window::setFrame(Rect frame)
{
    View::setFrame(frame);
    if (rootViewController_ && rootViewController_->isViewLoaded()) {
        rootViewController_->viewIfLoaded()->setFrame(bounds());
    }
}

void Window::setRootViewController(std::shared_ptr<ViewController> controller)
{
    if (controller == rootViewController_) {
        return;
    }
    const bool onScreen = !isHidden() && host::SimulatedDevice::shared().application().keyWindow().get() == this;
    if (const auto old = std::move(rootViewController_)) {
        if (onScreen) {
            old->beginAppearanceTransition(false, false);
        }
        if (const auto& view = old->viewIfLoaded()) {
            view->removeFromSuperview();
        }
        if (onScreen) {
            old->endAppearanceTransition();
        }
    }
    rootViewController_ = std::move(controller);
    if (!rootViewController_) {
        return;
    }
    const auto view = rootViewController_->view();
    view->setFrame(bounds());
    insertSubview_atIndex(view, 0);
    if (onScreen) {
        rootViewController_->beginAppearanceTransition(true, false);
        rootViewController_->endAppearanceTransition();
    }
}

void Window::makeKeyAndVisible()
{
    setHidden(false);
    host::SimulatedDevice::shared().application().makeKeyWindow(sharedFrom(this));
    if (rootViewController_) {
        rootViewController_->beginAppearanceTransition(true, false);
        rootViewController_->endAppearanceTransition();
    }
}

void Window::setHidden(bool hidden)
{
    View::setHidden(hidden);
    if (!hidden) {
        if (const auto self = sharedFrom(this)) {
            host::SimulatedDevice::shared().application().addWindow(self);
        }
    }
}

bool Window::isKeyWindow() const
{
    return host::SimulatedDevice::shared().application().keyWindow().get() == this;
}

std::shared_ptr<Screen> Window::screen() const
{
    return Screen::mainScreen();
}

void Window::beginDisablingInterfaceAutorotation()
{
    ++autorotationDisabledCount_;
}

void Window::endDisablingInterfaceAutorotation()
{
    if (autorotationDisabledCount_ > 0) {
        --autorotationDisabledCount_;
    }
}

} // namespace lumora::platform
