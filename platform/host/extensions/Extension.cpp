#include "platform/extensions/Extension.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"

namespace lumora::platform {

std::shared_ptr<Extension> Extension::extensionWithIdentifier_error(const std::string& identifier, ErrorRef* error)
{
    return host::SimulatedDevice::shared().extensions().lookUpExtension(identifier, error);
}

void Extension::extensionsWithMatchingAttributes_completion(const DictionaryRef& attributes, MatchingHandler completion)
{
    host::SimulatedDevice::shared().extensions().findExtensions(attributes, std::move(completion));
}

Extension::Extension(std::string identifier, DictionaryRef attributes)
    : identifier_(std::move(identifier)),
      attributes_(attributes ? std::move(attributes) : std::make_shared<const Dictionary>())
{ }

void Extension::instantiateViewControllerWithInputItems_connectionHandler(
    ExtensionItems inputItems, ViewControllerHandler handler) const
{
    host::SimulatedDevice::shared().extensions().instantiateViewController(
        identifier_, attributes_, std::move(inputItems), std::move(handler));
}

std::shared_ptr<ExtensionContext> Extension::hostContextForRequestIdentifier(const std::string& requestIdentifier) const
{
    return host::SimulatedDevice::shared().extensions().hostContext(identifier_, requestIdentifier);
}

} // namespace lumora::platform
