#include "upload/LMBroadcastHandler.h"

#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/Log.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <atomic>

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

bool LMBroadcastHandler::_loadInputItemsWithExtensionContext_itemLoaded_allCounted(
    const std::shared_ptr<platform::ExtensionContext>& context, ItemLoadHandler itemLoaded,
    std::function<void()> allCounted)
{
    if (!_acceptRequestWithExtensionContext(context)) {
        return false;
    }
    // The count and total of one request, shared by its load callbacks until
    // the last one has run. Load callbacks run concurrently on platform
    // threads: the atomic increment takes no lock and does not depend on the
    // order in which they arrive.
    struct Progress {
        Progress(std::uint64_t itemCount, ItemLoadHandler loaded, std::function<void()> counted)
            : total(itemCount), itemLoaded(std::move(loaded)), allCounted(std::move(counted))
        { }
        std::atomic<std::uint64_t> callbacks { 0 };
        const std::uint64_t total;
        const ItemLoadHandler itemLoaded;
        const std::function<void()> allCounted;
    };
    const auto& inputItems = context->inputItems();
    auto progress = std::make_shared<Progress>(inputItems.size(), std::move(itemLoaded), std::move(allCounted));
    const std::string dataType(platform::TypeIdentifier::Data);
    for (std::size_t index = 0; index < inputItems.size(); ++index) {
        const auto& item = inputItems[index];
        // The platform promises an attachment per item; a host that breaks
        // the promise gets its item skipped rather than a crash. Like an item
        // without data, it is never counted.
        const auto attachment = _dataAttachmentOfItem(item);
        if (!attachment) {
            continue;
        }
        attachment->loadItemForTypeIdentifier_options_completionHandler(
            dataType, nullptr, [progress, item, index](const platform::Value& value, const platform::ErrorRef& error) {
                if (!progress->itemLoaded(index, item, value, error)) {
                    return;
                }
                if (progress->callbacks.fetch_add(1, std::memory_order_acq_rel) + 1 == progress->total) {
                    progress->allCounted();
                }
            });
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
