#include "preview/LMVideoEditorHostViewController.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Runtime.h"
#include "preview/LMPreviewViewController.h"
#include "preview/LMVideoEditorExtensionHostContext.h"

namespace lumora {

namespace {
// Loading the framework makes the class known to the run time by name: the
// platform makes the remote view controller of an editing request as an
// instance of the class the editor extension names.
const bool registeredWithRuntime = [] {
    platform::Runtime::registerClass(std::make_shared<platform::RuntimeClass>("LMVideoEditorHostViewController",
        "RemoteViewController", [] { return std::make_shared<LMVideoEditorHostViewController>(); }));
    return true;
}();
} // namespace

std::shared_ptr<platform::Interface> LMVideoEditorHostViewController::Class::exportedInterface() const
{
    return LMVideoEditorExtensionHostProtocol::makeInterface();
}

const LMVideoEditorHostViewController::Class& LMVideoEditorHostViewController::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const editorHostClass = new const Class();
    return *editorHostClass;
}

void LMVideoEditorHostViewController::extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes)
{
    platform::Log::ordinary("LMVideoEditorHostViewController:extensionsDidFinish");
    if (const auto preview = previewViewController()) {
        preview->extensionDidFinishWithActivityTypes(activityTypes);
    }
}

} // namespace lumora
