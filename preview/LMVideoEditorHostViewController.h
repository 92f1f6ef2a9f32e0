#pragma once

#include "platform/extensions/RemoteViewController.h"
#include "preview/LMVideoEditorExtensionHostProtocol.h"

#include <memory>
#include <string>
#include <vector>

namespace lumora {

class LMPreviewViewController;
class LMVideoEditorExtensionHostContext;

/// Shows the video editor extension's interface inside the host application,
/// embedded in an `LMPreviewViewController`, and relays the editor's finish
/// message to that preview.
///
/// The preview holds this controller strongly and this controller holds the
/// request's context strongly; the context and this controller point back
/// weakly, so releasing the preview releases the whole channel.
class LMVideoEditorHostViewController : public platform::RemoteViewController,
                                        public LMVideoEditorExtensionHostProtocol {
public:
    /// The class object: the controller exports `LMVideoEditorExtensionHostProtocol`
    /// to the editor's view controller.
    class Class : public platform::RemoteViewController::Class {
    public:
        [[nodiscard]] std::shared_ptr<platform::Interface> exportedInterface() const override;
    };

    /// The class object of `LMVideoEditorHostViewController` itself.
    static const Class& defaultClass();
    [[nodiscard]] const platform::RemoteViewController::Class& classObject() const override { return defaultClass(); }

    LMVideoEditorHostViewController() = default;

    /// Called by the platform when the editor sends this message; forwards the
    /// activity types, unchanged, to the preview (nothing when it has gone).
    void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) override;

    /// The preview that embeds this controller, held weakly (null when it has gone).
    [[nodiscard]] std::shared_ptr<LMPreviewViewController> previewViewController() const
    {
        return previewViewController_.lock();
    }
    /// Sets the preview that embeds this controller.
    void setPreviewViewController(const std::shared_ptr<LMPreviewViewController>& previewViewController)
    {
        previewViewController_ = previewViewController;
    }
    /// The context of the editor extension's request.
    [[nodiscard]] const std::shared_ptr<LMVideoEditorExtensionHostContext>& hostContext() const { return hostContext_; }
    /// Sets the context of the editor extension's request.
    void setHostContext(std::shared_ptr<LMVideoEditorExtensionHostContext> hostContext)
    {
        hostContext_ = std::move(hostContext);
    }

    [[nodiscard]] std::string className() const override { return "LMVideoEditorHostViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMVideoEditorHostViewController" || RemoteViewController::isKindOfClassNamed(name);
    }

private:
    std::weak_ptr<LMPreviewViewController> previewViewController_;
    std::shared_ptr<LMVideoEditorExtensionHostContext> hostContext_;
};

} // namespace lumora
