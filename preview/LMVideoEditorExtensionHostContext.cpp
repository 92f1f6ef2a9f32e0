#include "preview/LMVideoEditorExtensionHostContext.h"

#include "platform/foundation/Log.h"
#include "platform/foundation/Runtime.h"
#include "preview/LMVideoEditorExtensionProtocol.h"
#include "preview/LMVideoEditorHostViewController.h"

namespace lumora {

namespace {
// Loading the framework makes the class known to the run time by name: the
// platform makes the host-side context of an editing request as an instance
// of the class the editor extension names.
const bool registeredWithRuntime = [] {
    platform::Runtime::registerClass(std::make_shared<platform::RuntimeClass>("LMVideoEditorExtensionHostContext",
        "ExtensionContext", [] { return std::make_shared<LMVideoEditorExtensionHostContext>(); }));
    return true;
}();
} // namespace

std::shared_ptr<platform::Interface> LMVideoEditorExtensionHostContext::Class::vendedInterface() const
{
    return LMVideoEditorExtensionProtocol::makeInterface();
}

std::shared_ptr<platform::Interface> LMVideoEditorExtensionHostContext::Class::exportedInterface() const
{
    return LMVideoEditorExtensionHostProtocol::makeInterface();
}

const LMVideoEditorExtensionHostContext::Class& LMVideoEditorExtensionHostContext::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const editorContextClass = new const Class();
    return *editorContextClass;
}

void LMVideoEditorExtensionHostContext::extensionDidFinishWithActivityTypes(
    const std::vector<std::string>& activityTypes)
{
    platform::Log::ordinary("LMVideoEditorExtensionHostContext:extensionsDidFinish");
    if (const auto host = hostViewController()) {
        host->extensionDidFinishWithActivityTypes(activityTypes);
    }
}

std::shared_ptr<platform::RemoteObjectProxy> LMVideoEditorExtensionHostContext::extensionObjectProxy() const
{
    const auto& connection = auxiliaryConnection();
    if (!connection) {
        return nullptr;
    }
    return connection->remoteObjectProxyWithErrorHandler([](const platform::ErrorRef& error) {
        platform::Log::error("error calling extension - %i", error ? error->code() : 0);
    });
}

} // namespace lumora
