#include "preview/LMVideoEditorExtensionHostProtocol.h"

#include "platform/foundation/Value.h"

namespace lumora {

std::shared_ptr<platform::Interface> LMVideoEditorExtensionHostProtocol::makeInterface()
{
    auto interface = platform::Interface::interfaceWithProtocolName("LMVideoEditorExtensionHostProtocol");
    interface->addOperation("extensionDidFinishWithActivityTypes:",
        [](const platform::ObjectRef& target, const std::vector<platform::Value>& arguments) {
            const auto receiver = std::dynamic_pointer_cast<LMVideoEditorExtensionHostProtocol>(target);
            const auto array = arguments.size() == 1 ? arguments.front().array() : nullptr;
            if (!receiver || !array) {
                return false;
            }
            std::vector<std::string> activityTypes;
            activityTypes.reserve(array->size());
            for (const auto& element : *array) {
                const auto* type = element.string();
                if (type == nullptr) {
                    return false;
                }
                activityTypes.push_back(*type);
            }
            receiver->extensionDidFinishWithActivityTypes(activityTypes);
            return true;
        });
    return interface;
}

} // namespace lumora
