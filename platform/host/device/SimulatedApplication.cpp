#include "platform/host/device/SimulatedApplication.h"

#include "platform/foundation/Clock.h"
#include "platform/foundation/Runtime.h"
#include "platform/host/ui/ShellRootWindow.h"
#include "platform/host/ui/SimulatedTransitionCoordinator.h"
#include "platform/system/NotificationCenter.h"
#include "platform/ui/Screen.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"

#include <algorithm>
#include <functional>

namespace lumora::platform::host {

namespace {

// Every view controller on screen: each window's root view controller, its
// children and the controllers presented from any of them.
std::vector<std::shared_ptr<ViewController>> controllersOnScreen(const std::vector<std::shared_ptr<Window>>& windows)
{
    std::vector<std::shared_ptr<ViewController>> found;
    std::function<void(const std::shared_ptr<ViewController>&)> visit = [&](const auto& controller) {
        if (!controller) {
            return;
        }
        found.push_back(controller);
        for (const auto& child : controller->childViewControllers()) {
            visit(child);
        }
        visit(controller->presentedViewController());
    };
    for (const auto& window : windows) {
        visit(window->rootViewController());
    }
    return found;
}

} // namespace

void SimulatedApplication::reset()
{
    std::vector<std::shared_ptr<Window>> windows;
    std::shared_ptr<ApplicationDelegate> delegate;
    std::vector<std::shared_ptr<void>> transitions;
    {
        std::lock_guard lock(mutex_);
        windows.swap(windows_);
        delegate.swap(delegate_);
        transitions.swap(pendingTransitions_);
        keyWindow_.reset();
        state_ = Application::State::Active;
        statusBarHidden_ = false;
        opensURLs_ = true;
        openedURLs_.clear();
    }
    Runtime::unregisterClass(RootWindow::ShellRootWindowClassName);
    // The windows, the delegate and pending transitions are let go outside
    // the lock: their destructors may ask the application for its state.
}

std::vector<std::shared_ptr<Window>> SimulatedApplication::windows() const
{
    std::lock_guard lock(mutex_);
    return windows_;
}

void SimulatedApplication::addWindow(const std::shared_ptr<Window>& window)
{
    if (!window) {
        return;
    }
    std::lock_guard lock(mutex_);
    if (std::find(windows_.begin(), windows_.end(), window) == windows_.end()) {
        windows_.push_back(window);
    }
}

void SimulatedApplication::removeWindow(const Window* window)
{
    std::shared_ptr<Window> removed;
    std::lock_guard lock(mutex_);
    const auto found
        = std::find_if(windows_.begin(), windows_.end(), [window](const auto& w) { return w.get() == window; });
    if (found != windows_.end()) {
        removed = *found;
        windows_.erase(found);
    }
}

void SimulatedApplication::makeKeyWindow(const std::shared_ptr<Window>& window)
{
    addWindow(window);
    std::lock_guard lock(mutex_);
    keyWindow_ = window;
}

std::shared_ptr<Window> SimulatedApplication::keyWindow() const
{
    std::lock_guard lock(mutex_);
    return keyWindow_.lock();
}

void SimulatedApplication::setDelegate(std::shared_ptr<ApplicationDelegate> delegate)
{
    std::lock_guard lock(mutex_);
    delegate_ = std::move(delegate);
}

std::shared_ptr<ApplicationDelegate> SimulatedApplication::delegate() const
{
    std::lock_guard lock(mutex_);
    return delegate_;
}

void SimulatedApplication::resignActive()
{
    {
        std::lock_guard lock(mutex_);
        if (state_ != Application::State::Active) {
            return;
        }
    }
    NotificationCenter::defaultCenter().postNotificationName(
        std::string(Application::WillResignActiveNotification), Application::sharedApplication());
    std::lock_guard lock(mutex_);
    state_ = Application::State::Inactive;
}

void SimulatedApplication::becomeActive()
{
    {
        std::lock_guard lock(mutex_);
        if (state_ == Application::State::Active) {
            return;
        }
        state_ = Application::State::Active;
    }
    NotificationCenter::defaultCenter().postNotificationName(
        std::string(Application::DidBecomeActiveNotification), Application::sharedApplication());
}

Application::State SimulatedApplication::state() const
{
    std::lock_guard lock(mutex_);
    return state_;
}

void SimulatedApplication::setStatusBarHidden(bool hidden)
{
    std::lock_guard lock(mutex_);
    statusBarHidden_ = hidden;
}

bool SimulatedApplication::isStatusBarHidden() const
{
    std::lock_guard lock(mutex_);
    return statusBarHidden_;
}

void SimulatedApplication::setOpensURLs(bool opens)
{
    std::lock_guard lock(mutex_);
    opensURLs_ = opens;
}

bool SimulatedApplication::opensURLs() const
{
    std::lock_guard lock(mutex_);
    return opensURLs_;
}

void SimulatedApplication::recordOpenedURL(const URL& url)
{
    std::lock_guard lock(mutex_);
    openedURLs_.push_back(url);
}

std::vector<URL> SimulatedApplication::openedURLs() const
{
    std::lock_guard lock(mutex_);
    return openedURLs_;
}

void SimulatedApplication::setShellRootWindowClassPresent(bool present)
{
    if (!present) {
        Runtime::unregisterClass(RootWindow::ShellRootWindowClassName);
        return;
    }
    Runtime::registerClass(std::make_shared<RuntimeClass>(
        std::string(RootWindow::ShellRootWindowClassName), "RootWindow", []() -> ObjectRef {
            const auto screen = Screen::mainScreen();
            return std::make_shared<ShellRootWindow>(screen ? screen->bounds() : Rect {});
        }));
}

std::shared_ptr<Window> SimulatedApplication::addShellRootWindow()
{
    const auto shellClass = Runtime::classNamed(RootWindow::ShellRootWindowClassName);
    if (!shellClass) {
        return nullptr;
    }
    auto window = std::dynamic_pointer_cast<Window>(shellClass->createInstance());
    addWindow(window);
    return window;
}

// NOLINTNEXTLINE(readability-make-member-function-const): a scenario control, it changes the device.
void SimulatedApplication::simulateMemoryWarning()
{
    NotificationCenter::defaultCenter().postNotificationName(
        std::string(Application::DidReceiveMemoryWarningNotification), Application::sharedApplication());
    for (const auto& controller : controllersOnScreen(windows())) {
        controller->didReceiveMemoryWarning();
    }
}

void SimulatedApplication::transitionToSize(Size size, double duration)
{
    const auto coordinator = std::make_shared<SimulatedTransitionCoordinator>(size, duration);
    const auto windows = this->windows();
    for (const auto& window : windows) {
        if (const auto& root = window->rootViewController()) {
            root->viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
        }
    }
    for (const auto& window : windows) {
        window->setFrame({ window->frame().origin, size });
    }
    coordinator->runAnimations();
    auto timer = Clock::scheduleAfter(duration, [coordinator] { coordinator->complete(); });
    std::lock_guard lock(mutex_);
    pendingTransitions_.push_back(std::move(timer));
}

} // namespace lumora::platform::host
