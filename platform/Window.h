#pragma once

#include "platform/View.h"

#include <memory>

namespace lumora::platform {

class Screen;
class ViewController;

/// A window: the root of a view tree that the render server draws as one
/// unit. Its layer has a render context of its own, whose id names the
/// window to the recording service.
///
/// A window joins the application's list of windows when it is first made
/// visible (`makeKeyAndVisible`) and shows its root view controller's view
/// filling its bounds.
class Window : public View {
public:
    explicit Window(Rect frame);

    [[nodiscard]] std::shared_ptr<Window> window() const override;
    /// Resizing the window resizes its root view controller's view with it.
    void setFrame(Rect frame) override;
    /// Showing a window (hidden false) also adds it to the application's
    /// windows, where the screen draws it and touches find it.
    void setHidden(bool hidden) override;

    [[nodiscard]] const std::shared_ptr<ViewController>& rootViewController() const { return rootViewController_; }
    /// Replaces the root view controller; its view is loaded and laid over the
    /// window's bounds.
    void setRootViewController(std::shared_ptr<ViewController> controller);

    /// Shows the window, makes it the application's key window and lets its
    /// root view controller's view appear.
    void makeKeyAndVisible();
    [[nodiscard]] bool isKeyWindow() const;

    [[nodiscard]] double windowLevel() const { return windowLevel_; }
    void setWindowLevel(double level) { windowLevel_ = level; }
    [[nodiscard]] std::shared_ptr<Screen> screen() const;

    /// Interface autorotation of the window is off while at least one begin
    /// has not been balanced by an end. An end without a begin does nothing.
    void beginDisablingInterfaceAutorotation();
    void endDisablingInterfaceAutorotation();
    [[nodiscard]] int interfaceAutorotationDisabledCount() const { return autorotationDisabledCount_; }
    [[nodiscard]] bool isInterfaceAutorotationDisabled() const { return autorotationDisabledCount_ > 0; }

    [[nodiscard]] std::string className() const override { return "Window"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Window" || View::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<ViewController> rootViewController_;
    double windowLevel_ = 0;
    int autorotationDisabledCount_ = 0;
};

} // namespace lumora::platform
