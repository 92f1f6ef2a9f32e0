#pragma once

#include "broadcast/LMBroadcastActivityCommunicationHostProtocol.h"
#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ExtensionContext.h"

#include <memory>
#include <string>

namespace lumora {

class LMBroadcastActivityHostViewController;

/// The host-side context of one picker request: it receives the picker
/// extension's messages over the request's auxiliary connection and relays
/// them, unchanged, to the host view controller of the same request.
class LMBroadcastActivityExtensionHostContext : public platform::ExtensionContext,
                                                public LMBroadcastActivityCommunicationHostProtocol {
public:
    /// The class object: the extension vends `LMBroadcastActivityCommunicationProtocol`,
    /// the host exports `LMBroadcastActivityCommunicationHostProtocol`.
    class Class : public platform::ExtensionContext::Class {
    public:
        [[nodiscard]] std::shared_ptr<platform::Interface> vendedInterface() const override;
        [[nodiscard]] std::shared_ptr<platform::Interface> exportedInterface() const override;
    };

    /// The class object of `LMBroadcastActivityExtensionHostContext` itself.
    static const Class& defaultClass();
    [[nodiscard]] const platform::ExtensionContext::Class& classObject() const override { return defaultClass(); }

    LMBroadcastActivityExtensionHostContext() = default;

    /// Forwarded to the host view controller; nothing when it has gone.
    void extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
        const std::optional<platform::URL>& launchURL, const std::optional<platform::URL>& broadcastURL,
        const std::optional<std::string>& extensionBundleID, bool cancelled) override;
    /// Forwarded to the host view controller; when it has gone, the
    /// completion is never called.
    void presentationInfoWithCompletion(PresentationInfoCompletion completion) override;

    /// A proxy to the extension's vended object over the auxiliary
    /// connection; a call that cannot be delivered is logged and goes no
    /// further. Null when the context is not connected.
    [[nodiscard]] std::shared_ptr<platform::RemoteObjectProxy> extensionObjectProxy() const;

    /// The host view controller of the same request (held weakly), or null
    /// before it is known or once it has gone.
    [[nodiscard]] std::shared_ptr<LMBroadcastActivityHostViewController> hostViewController() const
    {
        return hostViewController_.lock();
    }
    /// Sets the host view controller the extension's messages are relayed to;
    /// set when the request's view controller is made.
    void setHostViewController(const std::shared_ptr<LMBroadcastActivityHostViewController>& hostViewController)
    {
        hostViewController_ = hostViewController;
    }

    [[nodiscard]] std::string className() const override { return "LMBroadcastActivityExtensionHostContext"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastActivityExtensionHostContext" || ExtensionContext::isKindOfClassNamed(name);
    }

private:
    std::weak_ptr<LMBroadcastActivityHostViewController> hostViewController_;
};

} // namespace lumora
