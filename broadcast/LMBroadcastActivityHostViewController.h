#pragma once

#include "broadcast/LMBroadcastActivityCommunicationHostProtocol.h"
#include "platform/extensions/RemoteViewController.h"

#include <memory>
#include <string>

namespace lumora {

class LMBroadcastActivityViewController;

/// Shows the broadcast picker extension inside the application, embedded in
/// an `LMBroadcastActivityViewController`. It answers the extension's question
/// of how the picker is presented and turns the extension's finish into the
/// picker delegate's call.
class LMBroadcastActivityHostViewController : public platform::RemoteViewController,
                                              public LMBroadcastActivityCommunicationHostProtocol {
public:
    /// The class object: the controller exports
    /// `LMBroadcastActivityCommunicationHostProtocol` to the extension's view controller.
    class Class : public platform::RemoteViewController::Class {
    public:
        [[nodiscard]] std::shared_ptr<platform::Interface> exportedInterface() const override;
    };

    /// The class object of `LMBroadcastActivityHostViewController` itself.
    static const Class& defaultClass();
    [[nodiscard]] const platform::RemoteViewController::Class& classObject() const override { return defaultClass(); }

    LMBroadcastActivityHostViewController() = default;

    void viewDidLoad() override;

    /// Opens `launchURL` (when given), then tells the picker's delegate, if it
    /// answers, of the cancellation (-5801) or of a new broadcast controller.
    void extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
        const std::optional<platform::URL>& launchURL, const std::optional<platform::URL>& broadcastURL,
        const std::optional<std::string>& extensionBundleID, bool cancelled) override;
    /// Answers at once, on the calling thread.
    void presentationInfoWithCompletion(PresentationInfoCompletion completion) override;

    /// The popover's source rectangle in its window (zero when there is no
    /// popover or its source view has no superview).
    [[nodiscard]] platform::Rect popoverControllerSourceRect() const;
    /// The popover's arrow direction; 0 when there is no popover.
    [[nodiscard]] std::uint64_t popoverArrowDirection() const;
    /// Popover (7) when there is a source rectangle; otherwise the picker's
    /// own style.
    [[nodiscard]] std::int64_t modalPresentationStyle() const override;

    /// The picker that embeds this controller (held weakly), or null once it has
    /// gone.
    [[nodiscard]] std::shared_ptr<LMBroadcastActivityViewController> broadcastActivityViewController() const
    {
        return broadcastActivityViewController_.lock();
    }
    /// Sets the picker that embeds this controller; set when the picker is loaded.
    void setBroadcastActivityViewController(const std::shared_ptr<LMBroadcastActivityViewController>& picker)
    {
        broadcastActivityViewController_ = picker;
    }

    [[nodiscard]] std::string className() const override { return "LMBroadcastActivityHostViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastActivityHostViewController" || RemoteViewController::isKindOfClassNamed(name);
    }

private:
    std::weak_ptr<LMBroadcastActivityViewController> broadcastActivityViewController_;
};

} // namespace lumora
