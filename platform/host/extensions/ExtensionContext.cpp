#include "platform/extensions/ExtensionContext.h"

#include "platform/extensions/ExtensionConnection.h"
#include "platform/host/foundation/PlatformThreads.h"

namespace lumora::platform {

const ExtensionContext::Class& ExtensionContext::defaultClass()
{
    // Never destroyed: requests on platform threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const plain = new const Class();
    return *plain;
}

ExtensionContext::ExtensionContext(ExtensionItems inputItems, OutcomeHandler onEnd)
    : inputItems_(std::move(inputItems)), onEnd_(std::move(onEnd))
{ }

void ExtensionContext::completeRequestReturningItems_completionHandler(
    ExtensionItems items, const std::function<void(bool)>& completion)
{
    if (onEnd_) {
        onEnd_(Outcome { std::move(items), nullptr });
    }
    if (completion) {
        host::postToPlatformThread([completion] { completion(false); });
    }
}

void ExtensionContext::cancelRequestWithError(const ErrorRef& error)
{
    if (onEnd_) {
        onEnd_(Outcome { {}, error });
    }
}

void ExtensionContext::setAuxiliaryConnection(std::shared_ptr<ExtensionConnection> connection)
{
    auxiliaryConnection_ = std::move(connection);
}

} // namespace lumora::platform
