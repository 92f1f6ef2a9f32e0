#pragma once

#include "broadcast/LMBroadcastActivityViewControllerDelegate.h"
#include "platform/extensions/Extension.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Synchronized.h"
#include "platform/ui/ViewController.h"

#include <functional>
#include <memory>
#include <string_view>

namespace lumora {

class LMBroadcastActivityHostViewController;

/// The identifier of the system's broadcast picker extension.
inline constexpr std::string_view LMBroadcastActivityViewControllerExtensionIdentifier
    = "com.lumora.Lumora.LMBroadcastActivityViewControllerExtension";

/// The broadcast service picker: a container that embeds the system picker
/// extension's view and hands it the application's name, bundle identifier
/// and icon. The application loads one, presents it, and learns from its
/// delegate which broadcast its user set up.
class LMBroadcastActivityViewController : public platform::ViewController {
public:
    /// Hears the loaded picker (null when the load failed) and the error (null
    /// when it succeeded).
    using Handler
        = std::function<void(const std::shared_ptr<LMBroadcastActivityViewController>& broadcastActivityViewController,
            const platform::ErrorRef& error)>;
    /// Hears the host view controller made for the picker extension.
    using HostViewControllerHandler
        = std::function<void(const std::shared_ptr<LMBroadcastActivityHostViewController>& hostViewController)>;

    /// The class object: the class-level operations. The load calls the
    /// instantiation on the class object it was called on, so a subclass that
    /// supplies its own class object can replace how the extension's view is
    /// made.
    class Class : private platform::Noncopyable {
    public:
        virtual ~Class() = default;

        /// Loads a picker. When the picker extension cannot be looked up,
        /// `handler` hears (null, the error) at once, on the calling thread,
        /// and nothing more. Otherwise it hears (the picker, null) on the
        /// MainQueue once the extension's view is embedded; when the
        /// extension fails to start it hears nothing.
        virtual void loadBroadcastActivityViewControllerWithHandler(Handler handler) const;
        /// Asks `extension` for its view controller with `inputItems`, connects
        /// the request's context to it and hands it to `completionHandler` on
        /// the platform's thread. Nothing happens without an extension;
        /// nothing is handed over when instantiation fails.
        virtual void viewControllerForExtension_inputItems_completionHandler(
            const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
            HostViewControllerHandler completionHandler) const;
    };

    /// The class object of `LMBroadcastActivityViewController` itself.
    static const Class& defaultClass();

    /// Loads a picker through the class object; see
    /// `Class::loadBroadcastActivityViewControllerWithHandler`.
    static void loadBroadcastActivityViewControllerWithHandler(Handler handler)
    {
        defaultClass().loadBroadcastActivityViewControllerWithHandler(std::move(handler));
    }
    /// Asks `extension` for its view controller through the class object; see
    /// `Class::viewControllerForExtension_inputItems_completionHandler`.
    static void viewControllerForExtension_inputItems_completionHandler(
        const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
        HostViewControllerHandler completionHandler)
    {
        defaultClass().viewControllerForExtension_inputItems_completionHandler(
            extension, inputItems, std::move(completionHandler));
    }

    /// An empty picker; applications load one with
    /// `loadBroadcastActivityViewControllerWithHandler` instead.
    LMBroadcastActivityViewController() = default;

    /// Popover (7) leaves the style as it is and makes a new popover
    /// presentation controller for the embedded view instead; any other
    /// style is set.
    void setModalPresentationStyle(std::int64_t style) override;
    /// The popover presentation controller made when popover style was
    /// asked for; null before.
    [[nodiscard]] std::shared_ptr<platform::PopoverPresentationController>
    popoverPresentationController() const override
    {
        return popoverPresentationControllerProxy_;
    }
    /// Always dismisses without animation.
    void dismissViewControllerAnimated_completion(bool animated, std::function<void()> completion) override;

    /// The delegate told which broadcast the user set up (held weakly), or null.
    /// May be read and set on any thread.
    [[nodiscard]] std::shared_ptr<LMBroadcastActivityViewControllerDelegate> delegate() const
    {
        return delegate_.load().lock();
    }
    /// Sets the delegate; held weakly.
    void setDelegate(const std::shared_ptr<LMBroadcastActivityViewControllerDelegate>& delegate)
    {
        delegate_.store(delegate);
    }
    [[nodiscard]] const std::shared_ptr<platform::PopoverPresentationController>&
    /// The popover presentation controller made when popover style was asked
    /// for (the same as `popoverPresentationController`); null before.
    popoverPresentationControllerProxy() const
    {
        return popoverPresentationControllerProxy_;
    }
    /// Replaces the popover presentation controller.
    void setPopoverPresentationControllerProxy(std::shared_ptr<platform::PopoverPresentationController> proxy)
    {
        popoverPresentationControllerProxy_ = std::move(proxy);
    }
    /// The embedded view controller that shows the picker extension (held
    /// strongly); null until the load has embedded it.
    [[nodiscard]] const std::shared_ptr<LMBroadcastActivityHostViewController>& hostViewController() const
    {
        return hostViewController_;
    }
    /// Sets the embedded host view controller; set by the load.
    void setHostViewController(std::shared_ptr<LMBroadcastActivityHostViewController> hostViewController)
    {
        hostViewController_ = std::move(hostViewController);
    }
    /// The handler the picker was loaded with; kept, never called by the picker.
    [[nodiscard]] const Handler& didFinishHandler() const { return didFinishHandler_; }
    /// Sets the kept handler; set by the load.
    void setDidFinishHandler(Handler handler) { didFinishHandler_ = std::move(handler); }

    [[nodiscard]] std::string className() const override { return "LMBroadcastActivityViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastActivityViewController" || ViewController::isKindOfClassNamed(name);
    }

private:
    // Read on the connection's thread when the extension finishes, while the
    // application may set it on the MainQueue.
    platform::Synchronized<std::weak_ptr<LMBroadcastActivityViewControllerDelegate>> delegate_;
    std::shared_ptr<platform::PopoverPresentationController> popoverPresentationControllerProxy_;
    std::shared_ptr<LMBroadcastActivityHostViewController> hostViewController_;
    Handler didFinishHandler_;
};

} // namespace lumora
