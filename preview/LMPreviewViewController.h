#pragma once

#include "platform/extensions/Extension.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/URL.h"
#include "platform/graphics/Color.h"
#include "platform/ui/ViewController.h"
#include "preview/LMPreviewViewControllerDelegate.h"
#include "preview/LMVideoEditorViewControllerDelegate.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora {

class LMVideoEditorHostViewController;

/// The identifier of the system's video editor extension.
inline constexpr std::string_view LMVideoEditorExtensionIdentifier = "com.lumora.Lumora.LMVideoEditorExtension";

/// Shows a finished recording in the system's video editor extension.
///
/// A thin container: loading it finds the editor extension, hands it the
/// movie and a few labelled values, and embeds the editor's remote interface
/// as a child filling the preview's view. When the editor reports that its
/// user has finished, the preview tells its delegate on the MainQueue which
/// share activities were completed, then that it finished. While on screen it
/// keeps the status bar visible and asks the shared screen recorder to lock
/// window rotation. It never dismisses itself: that is the delegate's
/// business.
class LMPreviewViewController : public platform::ViewController, public LMVideoEditorViewControllerDelegate {
public:
    /// Receives the loaded preview, or null when the editor is missing.
    using Completion = std::function<void(const std::shared_ptr<LMPreviewViewController>& previewViewController)>;
    /// Receives the editor's host view controller.
    using HostViewControllerHandler
        = std::function<void(const std::shared_ptr<LMVideoEditorHostViewController>& hostViewController)>;

    /// The class object: the class-level operations. Each operation calls the
    /// others on the class object it was called on, so a subclass that
    /// supplies its own class object (overriding, say, how the editor is
    /// instantiated) changes what its loads do.
    class Class : private platform::Noncopyable {
    public:
        virtual ~Class() = default;

        /// The long variant with no attachment, share message or tint colour.
        virtual void loadPreviewViewControllerWithMovieURL_completion(
            const platform::URL& movieURL, Completion completion) const;
        /// Finds the editor and loads a preview of `movieURL` in it. When the
        /// editor extension is missing (or cannot be looked up), `completion`
        /// hears null at once, on the calling thread; otherwise it hears the
        /// preview, with the editor embedded, on the MainQueue. When the
        /// editor fails to start it hears nothing.
        virtual void
        loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
            const platform::URL& movieURL, const std::optional<platform::URL>& attachmentURL,
            const std::optional<std::string>& overrideShareMessage,
            const std::shared_ptr<platform::Color>& overrideTintColor, Completion completion) const;
        /// Asks `extension` for its view controller with `inputItems`, wires
        /// the request's context and host view controller to each other, and
        /// hands the host view controller to `completionHandler` on the
        /// platform's thread. Nothing happens without an extension; nothing
        /// is handed over when instantiation fails.
        virtual void viewControllerForExtension_inputItems_completionHandler(
            const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
            HostViewControllerHandler completionHandler) const;
    };

    /// The class object of `LMPreviewViewController` itself.
    static const Class& defaultClass();

    // The class-level operations, called on `defaultClass()`.
    /// Loads a preview of `movieURL` through `defaultClass()` (see `Class`).
    static void loadPreviewViewControllerWithMovieURL_completion(const platform::URL& movieURL, Completion completion)
    {
        defaultClass().loadPreviewViewControllerWithMovieURL_completion(movieURL, std::move(completion));
    }
    /// Loads a preview of `movieURL` with a share attachment, message and tint colour,
    /// through `defaultClass()` (see `Class`).
    static void loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
        const platform::URL& movieURL, const std::optional<platform::URL>& attachmentURL,
        const std::optional<std::string>& overrideShareMessage,
        const std::shared_ptr<platform::Color>& overrideTintColor, Completion completion)
    {
        defaultClass()
            .loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
                movieURL, attachmentURL, overrideShareMessage, overrideTintColor, std::move(completion));
    }
    /// Asks the editor extension for its view controller, through `defaultClass()` (see `Class`).
    static void viewControllerForExtension_inputItems_completionHandler(
        const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
        HostViewControllerHandler completionHandler)
    {
        defaultClass().viewControllerForExtension_inputItems_completionHandler(
            extension, inputItems, std::move(completionHandler));
    }

    LMPreviewViewController() = default;

    // ---- View life cycle --------------------------------------------------------------
    /// Remembers whether the status bar was hidden, shows it, and locks the recorder's rotation.
    void viewWillAppear(bool animated) override;
    /// Puts the status bar back as it was.
    void viewWillDisappear(bool animated) override;
    /// Unlocks the recorder's rotation.
    void viewDidDisappear(bool animated) override;

    // ---- Finishing ---------------------------------------------------------------------
    /// From an in-process editor object: tells the delegate, without logging
    /// or restoring the audio session.
    void videoEditor_didFinishWithActivityTypes(
        const platform::ObjectRef& editor, const std::vector<std::string>& activityTypes) override;
    /// From the editor extension, through the channel: logs, restores the
    /// shared recorder's audio session and tells the delegate.
    void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes);

    // ---- Properties --------------------------------------------------------------------
    /// Whether the status bar was hidden before the preview appeared.
    [[nodiscard]] bool wasStatusBarHidden() const { return wasStatusBarHidden_; }
    /// Records whether the status bar was hidden before the preview appeared.
    void setWasStatusBarHidden(bool hidden) { wasStatusBarHidden_ = hidden; }
    /// The application's delegate, or null when none is set or it has gone.
    [[nodiscard]] virtual std::shared_ptr<LMPreviewViewControllerDelegate> previewControllerDelegate() const
    {
        return previewControllerDelegate_.lock();
    }
    /// Holds the application's delegate weakly.
    void setPreviewControllerDelegate(const std::shared_ptr<LMPreviewViewControllerDelegate>& delegate)
    {
        previewControllerDelegate_ = delegate;
    }
    /// The preview's mode; kept for callers that set it, the preview itself does not read it.
    [[nodiscard]] std::int64_t mode() const { return mode_; }
    /// Sets the mode.
    void setMode(std::int64_t mode) { mode_ = mode; }
    /// The movie being previewed.
    [[nodiscard]] const std::optional<platform::URL>& movieURL() const { return movieURL_; }
    /// Sets the movie to preview.
    void setMovieURL(std::optional<platform::URL> movieURL) { movieURL_ = std::move(movieURL); }
    /// The editor extension's host view controller, embedded as a child of the preview.
    [[nodiscard]] const std::shared_ptr<LMVideoEditorHostViewController>& hostViewController() const
    {
        return hostViewController_;
    }
    /// Replaces the embedded host view controller.
    void setHostViewController(std::shared_ptr<LMVideoEditorHostViewController> hostViewController)
    {
        hostViewController_ = std::move(hostViewController);
    }

    [[nodiscard]] std::string className() const override { return "LMPreviewViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPreviewViewController" || ViewController::isKindOfClassNamed(name);
    }

private:
    /// Queues the two delegate calls on the MainQueue, activity types first.
    /// `readDelegate` reads the delegate each time it is needed.
    void tellDelegateOfFinish(const std::function<std::shared_ptr<LMPreviewViewControllerDelegate>()>& readDelegate,
        const std::vector<std::string>& activityTypes);

    bool wasStatusBarHidden_ = false;
    std::weak_ptr<LMPreviewViewControllerDelegate> previewControllerDelegate_;
    std::int64_t mode_ = 0;
    std::optional<platform::URL> movieURL_;
    std::shared_ptr<LMVideoEditorHostViewController> hostViewController_;
};

} // namespace lumora
