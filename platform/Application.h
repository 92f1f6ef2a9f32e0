#pragma once

#include "platform/Noncopyable.h"
#include "platform/Object.h"
#include "platform/URL.h"
#include "platform/Value.h"

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

class ApplicationDelegate::Window : public virtual ApplicationDelegate {
public:
    [[nodiscard]] virtual std::shared_ptr<platform::Window> window() const = 0;
};

/// The running application: its windows, its delegate, whether it is active,
/// the status bar. Activity changes are posted to the default notification
/// centre on the thread that causes them (the MainQueue's, on a device).
class Application final : public Object {
public:
    static constexpr std::string_view WillResignActiveNotification = "ApplicationWillResignActiveNotification";
    static constexpr std::string_view DidBecomeActiveNotification = "ApplicationDidBecomeActiveNotification";
    static constexpr std::string_view DidReceiveMemoryWarningNotification
        = "ApplicationDidReceiveMemoryWarningNotification";

    enum class State : std::int64_t { Active = 0, Inactive = 1, Background = 2 };

    static std::shared_ptr<Application> sharedApplication();

    Application() = default;

    /// The application's windows, in the order they joined it.
    [[nodiscard]] std::vector<std::shared_ptr<Window>> windows() const;
    [[nodiscard]] std::shared_ptr<Window> keyWindow() const;
    [[nodiscard]] std::shared_ptr<ApplicationDelegate> delegate() const;
    [[nodiscard]] State applicationState() const;

    [[nodiscard]] bool isStatusBarHidden() const;
    void setStatusBarHidden(bool hidden);

    /// Asks the system to open `url`; `completion` (may be empty) learns on
    /// the MainQueue whether it was opened.
    void openURL_options_completionHandler(
        const URL& url, const DictionaryRef& options, std::function<void(bool success)> completion);

    [[nodiscard]] std::string className() const override { return "Application"; }
};

} // namespace lumora::platform
