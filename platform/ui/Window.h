#pragma once

#include "platform/ui/View.h"

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
    /// A window with the given frame in screen coordinates and a render
    /// context of its own; it is drawn only once made visible
    /// (`makeKeyAndVisible` or `setHidden(false)`).
    explicit Window(Rect frame);

    /// The window itself.
    [[nodiscard]] std::shared_ptr<Window> window() const override;
    /// Resizing the window resizes its root view controller's view with it.
    void setFrame(Rect frame) override;
    /// Showing a window (hidden false) also adds it to the application's
    /// windows, where the screen draws it and touches find it.
    void setHidden(bool hidden) override;

    /// The controller whose view fills the window (held strongly), or null.
    [[nodiscard]] const std::shared_ptr<ViewController>& rootViewController() const { return rootViewController_; }
    /// Replaces the root view controller; its view is loaded and laid over the
    /// window's bounds.
    void setRootViewController(std::shared_ptr<ViewController> controller);

    /// Shows the window, makes it the application's key window and lets its
    /// root view controller's view appear.
    void makeKeyAndVisible();
    /// Whether this is the application's key window.
    [[nodiscard]] bool isKeyWindow() const;

    /// Where the window lies among the application's windows: higher levels are
    /// drawn above and touched first; among equal levels, the window shown later
    /// is on top. 0 (normal) by default.
    [[nodiscard]] double windowLevel() const { return windowLevel_; }
    /// Sets the window level.
    void setWindowLevel(double level) { windowLevel_ = level; }
    /// The screen the window is shown on: the main screen.
    [[nodiscard]] std::shared_ptr<Screen> screen() const;

    /// Interface autorotation of the window is off while at least one begin
    /// has not been balanced by an end. An end without a begin does nothing.
    void beginDisablingInterfaceAutorotation();
    /// Balances one `beginDisablingInterfaceAutorotation`.
    void endDisablingInterfaceAutorotation();
    /// How many begins are not yet balanced by an end.
    [[nodiscard]] int interfaceAutorotationDisabledCount() const { return autorotationDisabledCount_; }
    /// Whether the window holds the interface in its orientation: while any
    /// window does, turning the device does not rotate the interface.
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
