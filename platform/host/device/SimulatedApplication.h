#pragma once

#include "platform/foundation/URL.h"
#include "platform/graphics/Geometry.h"
#include "platform/system/Application.h"

#include <memory>
#include <mutex>
#include <vector>

namespace lumora::platform {
class Window;
class ViewController;
} // namespace lumora::platform

namespace lumora::platform::host {

/// The running application as the simulated device sees it: its windows in
/// order, its delegate, whether it is active, its status bar, the URLs it
/// asked to open, and whether the system shell's code (with the shell's
/// root-window class) is loaded into it.
///
/// Initially: no windows, no delegate, active, status bar shown, the shell's
/// class absent.
class SimulatedApplication {
public:
    void reset();

    // ---- Windows -------------------------------------------------------------------
    [[nodiscard]] std::vector<std::shared_ptr<Window>> windows() const;
    /// Adds a window at the end of the list (a window already there stays where it is).
    void addWindow(const std::shared_ptr<Window>& window);
    void removeWindow(const Window* window);
    /// Adds the window if needed and makes it the key window.
    void makeKeyWindow(const std::shared_ptr<Window>& window);
    [[nodiscard]] std::shared_ptr<Window> keyWindow() const;

    // ---- Delegate ------------------------------------------------------------------
    /// The application holds its delegate strongly, as the process's entry point does.
    void setDelegate(std::shared_ptr<ApplicationDelegate> delegate);
    [[nodiscard]] std::shared_ptr<ApplicationDelegate> delegate() const;

    // ---- Activity ------------------------------------------------------------------
    /// Posts `Application::WillResignActiveNotification` on the calling thread
    /// and makes the application inactive (nothing when it already is).
    void resignActive();
    /// Makes the application active and posts
    /// `Application::DidBecomeActiveNotification` (nothing when it already is).
    void becomeActive();
    [[nodiscard]] Application::State state() const;

    // ---- Status bar and URLs ----------------------------------------------------------
    void setStatusBarHidden(bool hidden);
    [[nodiscard]] bool isStatusBarHidden() const;
    /// Whether the system opens URLs it is asked to (true initially).
    void setOpensURLs(bool opens);
    [[nodiscard]] bool opensURLs() const;
    void recordOpenedURL(const URL& url);
    [[nodiscard]] std::vector<URL> openedURLs() const;

    // ---- The system shell's root-window class ---------------------------------------------
    /// Loads or unloads the shell's root-window class
    /// (`RootWindow::ShellRootWindowClassName`) in the run time.
    void setShellRootWindowClassPresent(bool present);
    /// Makes a window of the shell's class as large as the main screen and
    /// adds it to the application's windows. Null when the class is absent.
    std::shared_ptr<Window> addShellRootWindow();

    // ---- Interface events ------------------------------------------------------------------
    /// Posts `Application::DidReceiveMemoryWarningNotification` and tells
    /// every view controller on screen (root view controllers of the windows,
    /// their children and what they present).
    void simulateMemoryWarning();
    /// Changes the size of the interface: every window's root view controller
    /// hears `viewWillTransitionToSize_withTransitionCoordinator`; the
    /// coordinator's alongside blocks run right after, with the windows
    /// resized; its completion blocks run on the MainQueue once `duration`
    /// seconds have passed on the device clock.
    void transitionToSize(Size size, double duration);

private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<Window>> windows_;
    std::weak_ptr<Window> keyWindow_;
    std::shared_ptr<ApplicationDelegate> delegate_;
    Application::State state_ = Application::State::Active;
    bool statusBarHidden_ = false;
    bool opensURLs_ = true;
    std::vector<URL> openedURLs_;
    std::vector<std::shared_ptr<void>> pendingTransitions_;
};

} // namespace lumora::platform::host
