#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// One entry of the application store's catalogue: named properties whose
/// values come from the catalogue service as they are (a property may be
/// missing or of an unexpected kind).
class StoreLookupItem final : public Object {
public:
    /// Property names.
    static constexpr std::string_view ShortProductPageURLProperty = "shortProductPageURL"; // string
    /// The product's name as the store shows it (a string).
    static constexpr std::string_view DisplayNameProperty = "displayName"; // string
    /// The name of the product's developer (a string).
    static constexpr std::string_view ArtistNameProperty = "artistName"; // string
    /// The product's categories (an array of strings).
    static constexpr std::string_view GenreNamesProperty = "genreNames"; // array of strings

    /// An entry with the catalogue's `properties` (null for none).
    explicit StoreLookupItem(DictionaryRef properties);

    /// The property's value; null when the entry has none.
    [[nodiscard]] const Value& valueForProperty(std::string_view property) const;

    [[nodiscard]] std::string className() const override { return "StoreLookupItem"; }

private:
    DictionaryRef properties_;
};

/// The catalogue's answer to a lookup.
class StoreLookupResponse final : public Object {
public:
    /// A response carrying `items`.
    explicit StoreLookupResponse(std::vector<std::shared_ptr<const StoreLookupItem>> items);

    /// The entries found, in the order asked for; empty when none.
    [[nodiscard]] const std::vector<std::shared_ptr<const StoreLookupItem>>& items() const { return items_; }

    [[nodiscard]] std::string className() const override { return "StoreLookupResponse"; }

private:
    std::vector<std::shared_ptr<const StoreLookupItem>> items_;
};

/// A query of the application store's catalogue (StoreLookup).
///
/// Set the request up, then start it: the platform keeps it until it has
/// answered, exactly once, on a platform thread, with a response (possibly
/// without items) or, when the lookup failed, an error and no response.
class StoreLookupRequest final : public Object {
public:
    /// The key profile that answers with products' public details.
    static constexpr std::string_view ProductKeyProfile = "product";
    /// The localization style that localizes answers to the device.
    static constexpr std::int64_t DeviceLocalizationStyle = 1;
    /// The request parameter holding the bundle identifiers looked up (an array of strings).
    static constexpr std::string_view BundleIdentifiersParameter = "bundleId";

    /// Receives the response, or null and the error when the lookup failed.
    using ResponseHandler = std::function<void(std::shared_ptr<const StoreLookupResponse>, ErrorRef)>;

    /// The set of details the catalogue answers with (ProductKeyProfile); empty
    /// until set.
    [[nodiscard]] const std::string& keyProfile() const { return keyProfile_; }
    /// Sets the key profile.
    void setKeyProfile(std::string profile) { keyProfile_ = std::move(profile); }
    /// How answers are localized (DeviceLocalizationStyle); 0 until set.
    [[nodiscard]] std::int64_t localizationStyle() const { return localizationStyle_; }
    /// Sets the localization style.
    void setLocalizationStyle(std::int64_t style) { localizationStyle_ = style; }
    /// Sets the request parameter `parameter` (BundleIdentifiersParameter, for
    /// instance) to `value`.
    void setValue_forRequestParameter(Value value, const std::string& parameter);
    /// The value of the request parameter `parameter`; null when unset.
    [[nodiscard]] Value valueForRequestParameter(std::string_view parameter) const;

    /// Starts the lookup and returns at once. Changing the request afterwards
    /// does not change the lookup under way.
    void startWithResponseHandler(ResponseHandler handler);

    [[nodiscard]] std::string className() const override { return "StoreLookupRequest"; }

private:
    std::string keyProfile_;
    std::int64_t localizationStyle_ = 0;
    std::shared_ptr<Dictionary> parameters_ = std::make_shared<Dictionary>();
};

} // namespace lumora::platform
