#pragma once

#include "platform/foundation/Object.h"
#include "support/LMStoreInfo.h"

#include <functional>
#include <memory>
#include <string>

namespace lumora {

/// Looks applications up in the store's catalogue by bundle identifier.
class LMStoreManager : public platform::Object {
public:
    /// Hears the record of a lookup; never null.
    using CompletionHandler = std::function<void(std::shared_ptr<LMStoreInfo>)>;

    /// The one manager of the process, made on first use.
    static std::shared_ptr<LMStoreManager> sharedManager();

    /// Starts looking the application up and returns at once. `completionHandler`
    /// (required) is called once, on the MainQueue, with a record that is never
    /// null: where the catalogue has nothing (or the lookup failed) it holds
    /// the identifier, the application's name on this device if it is
    /// installed, and "" for the author and the page address.
    void loadItemDetailsForBundleIdentifier_completionHandler(
        const std::string& bundleIdentifier, CompletionHandler completionHandler);

    [[nodiscard]] std::string className() const override { return "LMStoreManager"; }
};

} // namespace lumora
