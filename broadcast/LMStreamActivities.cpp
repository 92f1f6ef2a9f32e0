// The streaming share activities of `LMExtensions`: a query of the installed
// share extensions, kept with the rest of the broadcast setup.
#include "platform/extensions/Extension.h"
#include "platform/extensions/ShareActivity.h"
#include "recording/LMExtensions.h"

#include <string_view>

namespace lumora {

namespace {
// The extension point of share extensions.
constexpr std::string_view ShareServicesExtensionPoint = "com.lumora.share-services";
} // namespace

void LMExtensions::streamActivitiesWithCompletion(StreamActivitiesCompletion completion)
{
    auto matching = std::make_shared<platform::Dictionary>();
    matching->emplace(
        std::string(platform::Extension::PointIdentifierAttribute), std::string(ShareServicesExtensionPoint));
    platform::Extension::extensionsWithMatchingAttributes_completion(matching,
        [completion = std::move(completion)](
            const std::vector<std::shared_ptr<platform::Extension>>& extensions, const platform::ErrorRef& /*error*/) {
            // A failed query simply has no extensions; its error tells nothing more.
            std::vector<std::shared_ptr<platform::ShareActivity>> activities;
            for (const auto& extension : extensions) {
                const auto rule
                    = extension->attributes()->valueForKey(platform::Extension::ActivationRuleAttribute).dictionary();
                if (!rule || !rule->valueForKey(platform::Extension::ActivationSupportsLumoStreamingRule).boolValue()) {
                    continue;
                }
                activities.push_back(platform::ShareActivity::initWithApplicationExtension(extension));
            }
            if (completion) {
                completion(activities);
            }
        });
}

} // namespace lumora
