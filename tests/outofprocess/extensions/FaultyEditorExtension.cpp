// A video editor extension for the out-of-process tests. Its view controller
// takes the user's actions over the remote view's connection (a test plays
// the user through the host's remote view controller):
// `inputValuesWithReply:` answers, through the completion it carries, with
// the values of the input items by label and the size of the movie file as
// the editor reads it; `userDidFinishWithActivityTypes:` tells the host the
// user is done. The bundle's fault (ViewExtensionFaults.h) strikes in its
// factory (throw, hang) or when the user finishes (crash, leak, malformed).
#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/Interface.h"
#include "platform/foundation/ReplyBlock.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/ui/ViewController.h"
#include "preview/LMVideoEditorExtensionKeys.h"
#include "tests/outofprocess/extensions/ViewExtensionFaults.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace {

using namespace lumora;
namespace faults = lumora::test::faults;
using platform::Value;

class Editor final : public platform::ViewController {
public:
    explicit Editor(platform::host::ExtensionRequestSide request) : request_(std::move(request)) { }

    [[nodiscard]] Value inputValues() const
    {
        auto values = std::make_shared<platform::Dictionary>();
        for (const auto& item : request_.context->inputItems()) {
            const auto label = item->attributedTitle() ? item->attributedTitle()->string() : std::string();
            const auto value = platform::host::ExtensionRequest::loadValueOfItem({ item }, label);
            values->emplace(label, value.value_or(Value()));
        }
        // The movie as the editor finds it at the path it was given.
        const auto movie = values->stringForKey(LMVideoEditorExtensionMoviePathKey);
        std::error_code error;
        const auto size = movie
            ? std::filesystem::file_size(platform::host::SimulatedDevice::shared().resolvePath(*movie), error)
            : 0;
        values->emplace("movieBytes", Value(static_cast<std::int64_t>(error ? -1 : static_cast<std::int64_t>(size))));
        return Value(std::move(values));
    }

    void userDidFinish(const Value& activityTypes) const
    {
        if (faults::is("crash")) {
            std::abort();
        } else if (faults::is("leak")) {
            faults::leakForever();
        } else if (faults::is("malformed")) {
            faults::endWithMalformedItems(request_.requestIdentifier);
            faults::hangForever();
        }
        request_.context->auxiliaryConnection()->remoteObjectProxyWithErrorHandler({})->sendMessage(
            "extensionDidFinishWithActivityTypes:", { activityTypes });
    }

    [[nodiscard]] std::string className() const override { return "FaultyEditor"; }

private:
    platform::host::ExtensionRequestSide request_;
};

std::shared_ptr<platform::Interface> userActions()
{
    auto interface = platform::Interface::interfaceWithProtocolName("TestEditorUserActions");
    interface->addOperation("inputValuesWithReply:", [](const platform::ObjectRef& target, const auto& arguments) {
        const auto editor = std::dynamic_pointer_cast<Editor>(target);
        const auto reply = arguments.size() == 1 ? arguments[0].template objectAs<platform::ReplyBlock>() : nullptr;
        if (!editor || !reply) {
            return false;
        }
        reply->callWithReply({ editor->inputValues() });
        return true;
    });
    interface->addOperation(
        "userDidFinishWithActivityTypes:", [](const platform::ObjectRef& target, const auto& arguments) {
            const auto editor = std::dynamic_pointer_cast<Editor>(target);
            if (!editor || arguments.size() != 1 || !arguments[0].isArray()) {
                return false;
            }
            editor->userDidFinish(arguments[0]);
            return true;
        });
    return interface;
}

std::shared_ptr<platform::ViewController> startEditor(const platform::host::ExtensionRequestSide& request)
{
    if (faults::is("throw")) {
        throw std::runtime_error("the editor gave up");
    }
    if (faults::is("hang")) {
        faults::hangForever();
    }
    request.hostViewConnection->setExportedInterface(userActions());
    return std::make_shared<Editor>(request);
}

} // namespace

LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY(startEditor)
