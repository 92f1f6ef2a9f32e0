// The sample video editor as a bundle of its own. The user's finish, which
// the sample plays by calling the editor in process, arrives here over the
// remote view's connection: `userDidFinishWithActivityTypes:` with an array
// of activity types.
#include "extensions/SampleVideoEditor.h"
#include "platform/foundation/Interface.h"
#include "platform/host/extensions/ExtensionEntryPoint.h"

namespace {

using namespace lumora;

std::shared_ptr<platform::ViewController> startSampleEditor(const platform::host::ExtensionRequestSide& request)
{
    auto editor = std::make_shared<sample::SampleVideoEditorViewController>(request);
    editor->readInputItems();
    auto actions = platform::Interface::interfaceWithProtocolName("SampleVideoEditorUserActions");
    actions->addOperation("userDidFinishWithActivityTypes:",
        [](const platform::ObjectRef& target, const std::vector<platform::Value>& arguments) {
            const auto running = std::dynamic_pointer_cast<sample::SampleVideoEditorViewController>(target);
            const auto types = arguments.size() == 1 ? arguments[0].array() : nullptr;
            if (!running || !types) {
                return false;
            }
            std::vector<std::string> activityTypes;
            for (const auto& type : *types) {
                if (const auto* text = type.string()) {
                    activityTypes.push_back(*text);
                }
            }
            running->userDidFinishWithActivityTypes(activityTypes);
            return true;
        });
    request.hostViewConnection->setExportedInterface(std::move(actions));
    return editor;
}

} // namespace

LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY(startSampleEditor)
