#include "broadcast/LMBroadcastExtension.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/system/Bundle.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <string>

namespace lumora {

using platform::Value;

namespace {

platform::ExtensionItemRef labelledItem(std::string_view label, Value value)
{
    auto item = std::make_shared<platform::ExtensionItem>();
    item->setAttributedTitle(std::make_shared<platform::AttributedString>(std::string(label)));
    item->setAttachments(
        { std::make_shared<platform::ItemProvider>(std::move(value), std::string(platform::TypeIdentifier::Data)) });
    return item;
}

// The loads of one request for the application's details. Loads finish on
// several platform threads at once: the arrival counter hands each one its
// slot, and a second counter lets the load that stores last (so every slot is
// filled) call the completion. Atomics keep both the arrival order and the
// program free of races without a lock.
struct ApplicationInfoLoad {
    ApplicationInfoLoad(std::size_t count, LMBroadcastExtension::ApplicationInfoCompletion handler)
        : expected(count), completion(std::move(handler))
    { }

    void arrived(const Value& value)
    {
        const auto arrival = arrivals.fetch_add(1, std::memory_order_relaxed) + 1;
        if (arrival <= slots.size()) {
            slots.at(arrival - 1) = value;
        }
        if (stored.fetch_add(1, std::memory_order_acq_rel) + 1 == expected && completion) {
            // The rotation is the published argument order.
            completion(slots[1], slots[2], slots[0]);
        }
    }

    const std::size_t expected;
    const LMBroadcastExtension::ApplicationInfoCompletion completion;
    std::atomic<std::size_t> arrivals { 0 };
    std::atomic<std::size_t> stored { 0 };
    std::array<Value, 3> slots;
};

} // namespace

void LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(
    const std::shared_ptr<platform::ExtensionContext>& context, const std::optional<platform::URL>& broadcastURL,
    const std::shared_ptr<LMBroadcastConfiguration>& broadcastConfiguration, const platform::DictionaryRef& setupInfo)
{
    auto serviceURLItem
        = labelledItem(LMBroadcastExtensionKeyExtensionServiceURL, broadcastURL ? Value(*broadcastURL) : Value());
    auto userInfoItem = labelledItem(LMBroadcastExtensionKeyExtensionUserInfo, Value(setupInfo));
    // The process completing the request is the setup extension, so its main
    // bundle is the extension's, not the application's.
    const auto mainBundle = platform::Bundle::mainBundle();
    const auto bundleIdentifier = mainBundle ? mainBundle->bundleIdentifier() : std::nullopt;
    auto bundleIdentifierItem = labelledItem(
        LMBroadcastExtensionKeyExtensionBundleIdentifier, bundleIdentifier ? Value(*bundleIdentifier) : Value());
    const auto archive = platform::KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
        Value(broadcastConfiguration), false, nullptr);
    auto configurationItem
        = labelledItem(LMBroadcastExtensionKeyBroadcastConfiguration, archive ? Value(*archive) : Value());
    if (!context) {
        return;
    }
    // The host sees the items in this order, which is not the order of building.
    context->completeRequestReturningItems_completionHandler(
        { std::move(userInfoItem), std::move(bundleIdentifierItem), std::move(configurationItem),
            std::move(serviceURLItem) },
        nullptr);
}

void LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(
    const std::shared_ptr<platform::ExtensionContext>& context, ApplicationInfoCompletion completion)
{
    if (!context || context->inputItems().empty() || !context->inputItems().front()) {
        return;
    }
    const auto attachments = context->inputItems().front()->attachments();
    if (attachments.empty()) {
        return;
    }
    auto load = std::make_shared<ApplicationInfoLoad>(attachments.size(), std::move(completion));
    const std::string dataType(platform::TypeIdentifier::Data);
    for (const auto& provider : attachments) {
        // An attachment with no data is still counted, so the loads never
        // reach the count and the completion is never called.
        if (!provider || !provider->hasItemConformingToTypeIdentifier(dataType)) {
            continue;
        }
        provider->loadItemForTypeIdentifier_options_completionHandler(
            dataType, nullptr, [load](const Value& item, const platform::ErrorRef& /*error*/) { load->arrived(item); });
    }
}

} // namespace lumora
