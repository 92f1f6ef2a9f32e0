#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

namespace lumora::platform {

class Window;

/// The application delegate's protocol. Its one operation used here is optional.
class ApplicationDelegate : private platform::Noncopyable {
public:
    virtual ~ApplicationDelegate() = default;

    /// Optional: the window property, naming the application's main window.
    class Window;
};

/// The optional window property of the application delegate.
class ApplicationDelegate::Window : public virtual ApplicationDelegate {
public:
    /// The application's main window; may be null.
    [[nodiscard]] virtual std::shared_ptr<platform::Window> window() const = 0;
};

/// The running application: its windows, its delegate, whether it is active,
/// the status bar. Activity changes are posted to the default notification
/// centre on the thread that causes them (the MainQueue's, on a device).
class Application final : public Object {
public:
    /// Posted when the application is about to stop being active (an alert, a
    /// call, leaving for the background).
    static constexpr std::string_view WillResignActiveNotification = "ApplicationWillResignActiveNotification";
    /// Posted when the application has become active again.
    static constexpr std::string_view DidBecomeActiveNotification = "ApplicationDidBecomeActiveNotification";
    /// Posted when the system asks the application to free memory.
    static constexpr std::string_view DidReceiveMemoryWarningNotification
        = "ApplicationDidReceiveMemoryWarningNotification";

    /// Whether the application is in the foreground and receiving events.
    enum class State : std::int64_t { Active = 0, Inactive = 1, Background = 2 };

    /// The running application; the same object on every call.
    static std::shared_ptr<Application> sharedApplication();

    Application() = default;

    /// The application's windows, in the order they joined it.
    [[nodiscard]] std::vector<std::shared_ptr<Window>> windows() const;
    /// The window receiving keyboard and other non-touch events; null when none.
    [[nodiscard]] std::shared_ptr<Window> keyWindow() const;
    /// The application delegate; null when none is set.
    [[nodiscard]] std::shared_ptr<ApplicationDelegate> delegate() const;
    /// Whether the application is active, inactive or in the background.
    [[nodiscard]] State applicationState() const;

    /// Whether the status bar is hidden.
    [[nodiscard]] bool isStatusBarHidden() const;
    /// Hides or shows the status bar.
    void setStatusBarHidden(bool hidden);

    /// Asks the system to open `url`; `completion` (may be empty) learns on
    /// the MainQueue whether it was opened.
    void openURL_options_completionHandler(
        const URL& url, const DictionaryRef& options, std::function<void(bool success)> completion);

    [[nodiscard]] std::string className() const override { return "Application"; }
};

} // namespace lumora::platform
