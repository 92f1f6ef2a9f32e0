#pragma once

#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ExtensionContext.h"
#include "preview/LMVideoEditorExtensionHostProtocol.h"

#include <memory>
#include <string>
#include <vector>

namespace lumora {

class LMVideoEditorHostViewController;

/// The host-side context of one editing request: it receives the editor's
/// messages over the request's auxiliary connection and relays them to the
/// host view controller of the same request.
class LMVideoEditorExtensionHostContext : public platform::ExtensionContext, public LMVideoEditorExtensionHostProtocol {
public:
    /// The class object: the editor vends `LMVideoEditorExtensionProtocol`,
    /// the host exports `LMVideoEditorExtensionHostProtocol`.
    class Class : public platform::ExtensionContext::Class {
    public:
        [[nodiscard]] std::shared_ptr<platform::Interface> vendedInterface() const override;
        [[nodiscard]] std::shared_ptr<platform::Interface> exportedInterface() const override;
    };

    /// The class object of `LMVideoEditorExtensionHostContext` itself.
    static const Class& defaultClass();
    [[nodiscard]] const platform::ExtensionContext::Class& classObject() const override { return defaultClass(); }

    LMVideoEditorExtensionHostContext() = default;

    /// Forwards the activity types, unchanged, to the host view controller
    /// (nothing when it has gone).
    void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) override;

    /// A proxy to the editor's vended object over the auxiliary connection.
    /// A call the editor cannot take is logged and goes no further. Null when
    /// the context is not connected.
    [[nodiscard]] std::shared_ptr<platform::RemoteObjectProxy> extensionObjectProxy() const;

    /// The host view controller the context reports to, held weakly (null when it has gone).
    [[nodiscard]] std::shared_ptr<LMVideoEditorHostViewController> hostViewController() const
    {
        return hostViewController_.lock();
    }
    /// Sets the host view controller the context reports to.
    void setHostViewController(const std::shared_ptr<LMVideoEditorHostViewController>& hostViewController)
    {
        hostViewController_ = hostViewController;
    }

    [[nodiscard]] std::string className() const override { return "LMVideoEditorExtensionHostContext"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMVideoEditorExtensionHostContext" || ExtensionContext::isKindOfClassNamed(name);
    }

private:
    std::weak_ptr<LMVideoEditorHostViewController> hostViewController_;
};

} // namespace lumora
