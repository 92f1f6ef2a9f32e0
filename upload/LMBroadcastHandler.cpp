#include "upload/LMBroadcastHandler.h"

#include "platform/ItemProvider.h"
#include "platform/Log.h"
#include "platform/TypeIdentifier.h"
#include "upload/LMBroadcastExtensionKeys.h"

namespace lumora {

void LMBroadcastHandler::beginRequestWithExtensionContext(
    const std::shared_ptr<platform::ExtensionContext>& /*context*/)
{ }

bool LMBroadcastHandler::_acceptRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context)
{
    setExtensionContext(context);
    if (weak_from_this().expired() || !context) {
        platform::Log::error("Ignoring request: the handler has no owner or the request no context");
        return false;
    }
    return true;
}

std::shared_ptr<platform::ItemProvider> LMBroadcastHandler::_dataAttachmentOfItem(
    const platform::ExtensionItemRef& item)
{
    if (!item || item->attachments().empty() || !item->attachments().front()) {
        platform::Log::error("Ignoring input item without attachments");
        return nullptr;
    }
    const auto& attachment = item->attachments().front();
    return attachment->hasItemConformingToTypeIdentifier(platform::TypeIdentifier::Data) ? attachment : nullptr;
}

void LMBroadcastHandler::updateServiceInfo(platform::DictionaryRef serviceInfo)
{
    serviceInfo_.store(std::move(serviceInfo));
}

void LMBroadcastHandler::_completeRequestWithReturnItems(platform::ExtensionItems items)
{
    if (auto serviceInfo = serviceInfo_.exchange(nullptr)) {
        // The dictionary itself travels, not an archive of it.
        items.push_back(
            _itemWithTitle_value(LMBroadcastExtensionKeyExtensionServiceInfo, platform::Value(std::move(serviceInfo))));
    }
    if (extensionContext_) {
        extensionContext_->completeRequestReturningItems_completionHandler(std::move(items), nullptr);
    }
}

platform::ExtensionItemRef LMBroadcastHandler::_itemWithTitle_value(std::string_view label, platform::Value value)
{
    auto item = std::make_shared<platform::ExtensionItem>();
    item->setAttributedTitle(std::make_shared<platform::AttributedString>(std::string(label)));
    item->setAttachments(
        { std::make_shared<platform::ItemProvider>(std::move(value), std::string(platform::TypeIdentifier::Data)) });
    return item;
}

std::string_view LMBroadcastHandler::_titleOfItem(const platform::ExtensionItem& item)
{
    return item.attributedTitle() ? std::string_view(item.attributedTitle()->string()) : std::string_view();
}

} // namespace lumora
