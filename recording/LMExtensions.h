#pragma once

#include "platform/system/Bundle.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {
class ShareActivity;
} // namespace lumora::platform

namespace lumora {

/// The framework's additions to the platform's bundle class: its own bundle,
/// applications' user-visible names, and framework strings in the language an
/// application is localized in.
class LMExtensions {
public:
    /// The device path of the framework bundle.
    static constexpr std::string_view FrameworkBundlePath = "/System/Library/Frameworks/Lumora.framework";

    /// The framework's bundle: looked up once per process, on first use, at
    /// FrameworkBundlePath; later calls return the same answer (null if the
    /// first look found nothing) and never look again.
    static std::shared_ptr<platform::Bundle> _lmFrameworkBundle();

    /// `bundle`'s user-visible name: its localized display name, else its
    /// display name, else its bundle name, else "".
    static std::string _lmLocalizedAppName(const platform::Bundle& bundle);

    /// The user-visible name of the bundle with `bundleID`; nullopt when no
    /// such bundle can be found.
    static std::optional<std::string> _lmLocalizedAppNameFromBundleID(const std::string& bundleID);

    /// The framework's string for `key` in the localization that the bundle
    /// with `bundleID` prefers for the user's languages. With no such bundle,
    /// or no localization in common, the framework's string in its ordinary
    /// localization.
    static std::optional<std::string> _lmLocalizedStringFromFrameworkBundleWithKey_bundleID(
        const std::string& key, const std::string& bundleID);

    /// Receives the streaming share activities.
    using StreamActivitiesCompletion
        = std::function<void(const std::vector<std::shared_ptr<platform::ShareActivity>>& activities)>;
    /// Lists, as share activities and in the platform's order, the installed
    /// share extensions whose activation rule declares that they take a live
    /// Lumo stream. `completion` is called once, on the thread the platform
    /// answers on; a failed query gives an empty list.
    static void streamActivitiesWithCompletion(StreamActivitiesCompletion completion);
};

} // namespace lumora
