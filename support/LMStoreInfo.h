#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora {

/// Keys of an LMStoreInfo's dictionary form.
inline constexpr std::string_view LMStoreInfoBundleIDKey = "LMStoreInfoBundleIDKey";
inline constexpr std::string_view LMStoreInfoAppNameKey = "LMStoreInfoAppNameKey";
inline constexpr std::string_view LMStoreInfoAuthorKey = "LMStoreInfoAuthorKey";
inline constexpr std::string_view LMStoreInfoItemURLKey = "LMStoreInfoItemURLKey";
inline constexpr std::string_view LMStoreInfoCategoriesKey = "LMStoreInfoCategoriesKey";

/// An application's public details from the store's catalogue. Every field is optional.
class LMStoreInfo : public platform::Object {
public:
    /// The bundle identifier that was looked up.
    [[nodiscard]] const std::optional<std::string>& bundleID() const { return bundleID_; }
    /// Sets the bundle identifier; absent leaves it out of the dictionary.
    void setBundleID(std::optional<std::string> bundleID) { bundleID_ = std::move(bundleID); }
    /// The application's display name.
    [[nodiscard]] const std::optional<std::string>& appName() const { return appName_; }
    /// Sets the display name; absent leaves it out of the dictionary.
    void setAppName(std::optional<std::string> appName) { appName_ = std::move(appName); }
    /// Who made the application.
    [[nodiscard]] const std::optional<std::string>& author() const { return author_; }
    /// Sets the maker's name; absent leaves it out of the dictionary.
    void setAuthor(std::optional<std::string> author) { author_ = std::move(author); }
    /// The short link to the application's store page.
    [[nodiscard]] const std::optional<std::string>& itemURL() const { return itemURL_; }
    /// Sets the store page link; absent leaves it out of the dictionary.
    void setItemURL(std::optional<std::string> itemURL) { itemURL_ = std::move(itemURL); }
    /// The application's genre names.
    [[nodiscard]] const std::optional<std::vector<std::string>>& categories() const { return categories_; }
    /// Sets the genre names; absent or empty leaves them out of the dictionary.
    void setCategories(std::optional<std::vector<std::string>> categories) { categories_ = std::move(categories); }

    /// A new dictionary holding each present field under its key; the
    /// categories are joined by "," and left out when there are none.
    [[nodiscard]] std::shared_ptr<platform::Dictionary> dictionary() const;

    [[nodiscard]] std::string className() const override { return "LMStoreInfo"; }

private:
    std::optional<std::string> bundleID_;
    std::optional<std::string> appName_;
    std::optional<std::string> author_;
    std::optional<std::string> itemURL_;
    std::optional<std::vector<std::string>> categories_;
};

} // namespace lumora
