#include "support/LMStoreManager.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/system/StoreLookup.h"
#include "recording/LMExtensions.h"

#include <mutex>

namespace lumora {

using platform::StoreLookupItem;
using platform::Value;

namespace {

std::optional<std::string> stringProperty(const StoreLookupItem* item, std::string_view property)
{
    if (item == nullptr) {
        return std::nullopt;
    }
    const auto& value = item->valueForProperty(property);
    const auto* text = value.string();
    return text != nullptr ? std::optional<std::string>(*text) : std::nullopt;
}

// The genre names as they came; a value that is not a list is no list, and
// anything in it that is not a name is passed over.
std::optional<std::vector<std::string>> genreNames(const StoreLookupItem* item)
{
    if (item == nullptr) {
        return std::nullopt;
    }
    const auto list = item->valueForProperty(StoreLookupItem::GenreNamesProperty).array();
    if (!list) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    for (const auto& entry : *list) {
        if (const auto* name = entry.string()) {
            names.push_back(*name);
        }
    }
    return names;
}

} // namespace

std::shared_ptr<LMStoreManager> LMStoreManager::sharedManager()
{
    static std::once_flag once;
    // Never destroyed (a deliberately leaked shared_ptr): other threads may still use it while the process exits.
    static const std::shared_ptr<LMStoreManager>* manager = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        manager = new const std::shared_ptr<LMStoreManager>(std::make_shared<LMStoreManager>());
    });
    return *manager;
}

void LMStoreManager::loadItemDetailsForBundleIdentifier_completionHandler(
    const std::string& bundleIdentifier, CompletionHandler completionHandler)
{
    auto request = std::make_shared<platform::StoreLookupRequest>();
    request->setKeyProfile(std::string(platform::StoreLookupRequest::ProductKeyProfile));
    request->setLocalizationStyle(platform::StoreLookupRequest::DeviceLocalizationStyle);
    request->setValue_forRequestParameter(
        Value(std::make_shared<platform::Array>(platform::Array { bundleIdentifier })),
        std::string(platform::StoreLookupRequest::BundleIdentifiersParameter));
    // The lookup's error is not consulted: a failed lookup reads as one that
    // found nothing, and the caller still gets a record with the fallbacks.
    request->startWithResponseHandler(
        [bundleIdentifier, completionHandler = std::move(completionHandler)](
            const std::shared_ptr<const platform::StoreLookupResponse>& response, const platform::ErrorRef& /*error*/) {
            const StoreLookupItem* item
                = response && !response->items().empty() ? response->items().front().get() : nullptr;
            auto info = std::make_shared<LMStoreInfo>();
            info->setItemURL(stringProperty(item, StoreLookupItem::ShortProductPageURLProperty).value_or(""));
            auto appName = stringProperty(item, StoreLookupItem::DisplayNameProperty);
            info->setAppName(
                appName ? std::move(appName) : LMExtensions::_lmLocalizedAppNameFromBundleID(bundleIdentifier));
            info->setAuthor(stringProperty(item, StoreLookupItem::ArtistNameProperty).value_or(""));
            info->setCategories(genreNames(item));
            info->setBundleID(bundleIdentifier);
            platform::DispatchQueue::main().async([completionHandler, info] {
                if (completionHandler) {
                    completionHandler(info);
                }
            });
        });
}

} // namespace lumora
