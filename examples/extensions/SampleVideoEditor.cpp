#include "extensions/SampleVideoEditor.h"

#include "platform/extensions/Extension.h"
#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/host/device/SimulatedDevice.h"
#include "preview/LMPreviewViewController.h"

#include <fmt/format.h>

namespace lumora::sample {

SampleVideoEditorViewController::SampleVideoEditorViewController(platform::host::ExtensionRequestSide request)
    : request_(std::move(request))
{ }

void SampleVideoEditorViewController::readInputItems()
{
    const auto& items = request_.context->inputItems();
    {
        std::lock_guard lock(inputs_->mutex);
        inputs_->values.assign(items.size(), {});
        inputs_->pending = items.size();
    }
    const std::string type(platform::TypeIdentifier::Data);
    for (std::size_t index = 0; index < items.size(); ++index) {
        const auto& item = items[index];
        const auto& title = item->attributedTitle();
        const auto label = title ? title->string() : std::string();
        const auto provider = item->attachments().empty() ? nullptr : item->attachments().front();
        if (!provider || !provider->hasItemConformingToTypeIdentifier(type)) {
            std::lock_guard lock(inputs_->mutex);
            inputs_->values[index] = { label, platform::Value() };
            --inputs_->pending;
            inputs_->changed.notify_all();
            continue;
        }
        provider->loadItemForTypeIdentifier_options_completionHandler(type, nullptr,
            [inputs = inputs_, index, label](const platform::Value& value, const platform::ErrorRef& /*error*/) {
                std::lock_guard lock(inputs->mutex);
                inputs->values[index] = { label, value };
                --inputs->pending;
                inputs->changed.notify_all();
            });
    }
}

bool SampleVideoEditorViewController::waitForInputItems(std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(inputs_->mutex);
    return inputs_->changed.wait_for(lock, timeout, [this] { return inputs_->pending == 0; });
}

std::vector<std::pair<std::string, platform::Value>> SampleVideoEditorViewController::inputValues() const
{
    std::lock_guard lock(inputs_->mutex);
    return inputs_->values;
}

void SampleVideoEditorViewController::userDidFinishWithActivityTypes(
    const std::vector<std::string>& activityTypes) const
{
    auto types = std::make_shared<platform::Array>();
    for (const auto& type : activityTypes) {
        types->emplace_back(type);
    }
    // The editor tells the host's context of the request, over the request's
    // auxiliary connection.
    const auto proxy = request_.context->auxiliaryConnection()->remoteObjectProxyWithErrorHandler(
        [](const platform::ErrorRef& error) {
            fmt::print("[sample editor] the host could not take the message: {}\n", error->description());
        });
    proxy->sendMessage("extensionDidFinishWithActivityTypes:", { platform::Value(types) });
}

void installSampleVideoEditorExtension()
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)] = "com.lumora.video-editing";
    // The host-side classes of an editing request, which the framework provides.
    (*attributes)[std::string(platform::Extension::RemoteViewControllerClassAttribute)]
        = "LMVideoEditorHostViewController";
    (*attributes)[std::string(platform::Extension::HostContextClassAttribute)] = "LMVideoEditorExtensionHostContext";
    platform::host::SimulatedDevice::shared().extensions().installExtension(
        std::string(LMVideoEditorExtensionIdentifier), attributes,
        [](const platform::host::ExtensionRequestSide& request) {
            auto editor = std::make_shared<SampleVideoEditorViewController>(request);
            editor->readInputItems();
            return editor;
        });
}

std::shared_ptr<SampleVideoEditorViewController> runningSampleVideoEditor()
{
    const auto requests = platform::host::SimulatedDevice::shared().extensions().requests();
    for (auto request = requests.rbegin(); request != requests.rend(); ++request) {
        if (auto editor
            = std::dynamic_pointer_cast<SampleVideoEditorViewController>(request->extensionViewController)) {
            return editor;
        }
    }
    return nullptr;
}

} // namespace lumora::sample
