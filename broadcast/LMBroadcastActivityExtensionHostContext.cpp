#include "broadcast/LMBroadcastActivityExtensionHostContext.h"

#include "broadcast/LMBroadcastActivityCommunicationProtocol.h"
#include "broadcast/LMBroadcastActivityHostViewController.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Runtime.h"

namespace lumora {

namespace {
// Loading the framework makes the class known to the run time by name: the
// platform makes the host-side context of a picker request as an instance of
// the class the picker extension names.
const bool registeredWithRuntime = [] {
    platform::Runtime::registerClass(std::make_shared<platform::RuntimeClass>("LMBroadcastActivityExtensionHostContext",
        "ExtensionContext", [] { return std::make_shared<LMBroadcastActivityExtensionHostContext>(); }));
    return true;
}();
} // namespace

std::shared_ptr<platform::Interface> LMBroadcastActivityExtensionHostContext::Class::vendedInterface() const
{
    return LMBroadcastActivityCommunicationProtocol::makeInterface();
}

std::shared_ptr<platform::Interface> LMBroadcastActivityExtensionHostContext::Class::exportedInterface() const
{
    return LMBroadcastActivityCommunicationHostProtocol::makeInterface();
}

const LMBroadcastActivityExtensionHostContext::Class& LMBroadcastActivityExtensionHostContext::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const pickerContextClass = new const Class();
    return *pickerContextClass;
}

void LMBroadcastActivityExtensionHostContext::extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
    const std::optional<platform::URL>& launchURL, const std::optional<platform::URL>& broadcastURL,
    const std::optional<std::string>& extensionBundleID, bool cancelled)
{
    if (const auto host = hostViewController()) {
        host->extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
            launchURL, broadcastURL, extensionBundleID, cancelled);
    }
}

void LMBroadcastActivityExtensionHostContext::presentationInfoWithCompletion(PresentationInfoCompletion completion)
{
    if (const auto host = hostViewController()) {
        host->presentationInfoWithCompletion(std::move(completion));
    }
}

std::shared_ptr<platform::RemoteObjectProxy> LMBroadcastActivityExtensionHostContext::extensionObjectProxy() const
{
    const auto& connection = auxiliaryConnection();
    if (!connection) {
        return nullptr;
    }
    return connection->remoteObjectProxyWithErrorHandler([](const platform::ErrorRef& error) {
        platform::Log::error("error calling extension - %i", error ? static_cast<std::int32_t>(error->code()) : 0);
    });
}

} // namespace lumora
