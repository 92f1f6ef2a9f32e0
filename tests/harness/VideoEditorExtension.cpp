#include "tests/harness/VideoEditorExtension.h"

#include "platform/extensions/Extension.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/host/device/SimulatedDevice.h"
#include "preview/LMPreviewViewController.h"

#include <future>

namespace lumora::test {

void installVideoEditorExtension()
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::RemoteViewControllerClassAttribute)]
        = "LMVideoEditorHostViewController";
    (*attributes)[std::string(platform::Extension::HostContextClassAttribute)] = "LMVideoEditorExtensionHostContext";
    platform::host::SimulatedDevice::shared().extensions().installExtension(
        std::string(LMVideoEditorExtensionIdentifier), attributes,
        [](const platform::host::ExtensionRequestSide& /*request*/) {
            return std::make_shared<platform::ViewController>();
        });
}

std::optional<platform::host::SimulatedExtensions::Request> latestEditorRequest()
{
    const auto requests = platform::host::SimulatedDevice::shared().extensions().requests();
    if (requests.empty()) {
        return std::nullopt;
    }
    return requests.back();
}

void sendAsEditor(const platform::host::SimulatedExtensions::Request& request, EditorRoute route, std::string selector,
    std::vector<platform::Value> arguments, platform::ExtensionConnection::ErrorHandler errorHandler)
{
    const auto connection
        = route == EditorRoute::Context ? request.extensionContext->auxiliaryConnection() : request.hostViewConnection;
    connection->remoteObjectProxyWithErrorHandler(std::move(errorHandler))
        ->sendMessage(std::move(selector), std::move(arguments));
}

platform::Value stringArray(const std::vector<std::string>& strings)
{
    auto array = std::make_shared<platform::Array>();
    for (const auto& string : strings) {
        array->emplace_back(string);
    }
    return array;
}

std::vector<std::string> itemTitles(const platform::ExtensionItems& items)
{
    std::vector<std::string> titles;
    for (const auto& item : items) {
        titles.push_back(item->attributedTitle() ? item->attributedTitle()->string() : "(untitled)");
    }
    return titles;
}

std::optional<platform::Value> loadItemValue(const platform::ExtensionItemRef& item, std::chrono::milliseconds timeout)
{
    if (item->attachments().size() != 1) {
        return std::nullopt;
    }
    auto promise = std::make_shared<std::promise<std::optional<platform::Value>>>();
    auto future = promise->get_future();
    item->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
        std::string(platform::TypeIdentifier::Data), nullptr,
        [promise](const platform::Value& value, const platform::ErrorRef& error) {
            promise->set_value(error ? std::nullopt : std::optional(value));
        });
    if (future.wait_for(timeout) != std::future_status::ready) {
        return std::nullopt;
    }
    return future.get();
}

} // namespace lumora::test
