#include "support/LMStoreInfo.h"

#include <iterator>

namespace lumora {

std::shared_ptr<platform::Dictionary> LMStoreInfo::dictionary() const
{
    auto dictionary = std::make_shared<platform::Dictionary>();
    const auto add = [&dictionary](std::string_view key, const std::optional<std::string>& value) {
        if (value) {
            (*dictionary)[std::string(key)] = platform::Value(*value);
        }
    };
    add(LMStoreInfoBundleIDKey, bundleID_);
    add(LMStoreInfoAppNameKey, appName_);
    add(LMStoreInfoAuthorKey, author_);
    add(LMStoreInfoItemURLKey, itemURL_);
    if (categories_ && !categories_->empty()) {
        std::string joined = categories_->front();
        for (auto category = std::next(categories_->begin()); category != categories_->end(); ++category) {
            joined.append(",").append(*category);
        }
        (*dictionary)[std::string(LMStoreInfoCategoriesKey)] = platform::Value(std::move(joined));
    }
    return dictionary;
}

} // namespace lumora
