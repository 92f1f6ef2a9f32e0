#include "recording/LMExtensions.h"

#include "platform/formats/Locale.h"

#include <mutex>

namespace lumora {

using platform::Bundle;

namespace {
constexpr std::string_view kStringTable = "Localizable";
} // namespace

std::shared_ptr<Bundle> LMExtensions::_lmFrameworkBundle()
{
    static std::once_flag once;
    // Never destroyed (a deliberately leaked shared_ptr): other threads may still read it while the process exits.
    static const std::shared_ptr<Bundle>* framework = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        framework = new const std::shared_ptr<Bundle>(
            Bundle::bundleWithURL(platform::URL::fileURLWithPath(std::string(FrameworkBundlePath))));
    });
    return *framework;
}

std::string LMExtensions::_lmLocalizedAppName(const Bundle& bundle)
{
    if (auto name = bundle.localizedInfoDictionary()->stringForKey(Bundle::DisplayNameKey)) {
        return *name;
    }
    const auto info = bundle.infoDictionary();
    if (auto name = info->stringForKey(Bundle::DisplayNameKey)) {
        return *name;
    }
    return info->stringForKey(Bundle::NameKey).value_or("");
}

std::optional<std::string> LMExtensions::_lmLocalizedAppNameFromBundleID(const std::string& bundleID)
{
    const auto bundle = Bundle::bundleWithIdentifier(bundleID);
    if (!bundle) {
        return std::nullopt;
    }
    return _lmLocalizedAppName(*bundle);
}

std::optional<std::string> LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID(
    const std::string& key, const std::string& bundleID)
{
    const auto framework = _lmFrameworkBundle();
    std::vector<std::string> localizations;
    if (const auto other = Bundle::bundleWithIdentifier(bundleID)) {
        localizations = other->localizations();
    }
    const auto chosen = Bundle::preferredLocalizationsFromArray(localizations, platform::Locale::preferredLanguages());
    if (!framework) {
        return std::nullopt;
    }
    if (!chosen.empty()) {
        // The table of the application's own language, taken from the
        // framework bundle; missing when the framework lacks that language.
        const auto path = framework->pathForResource(std::string(kStringTable), "strings", {}, chosen.front());
        if (!path) {
            return std::nullopt;
        }
        const auto table = platform::dictionaryWithContentsOfFile(*path);
        if (!table) {
            return std::nullopt;
        }
        return table->stringForKey(key);
    }
    return framework->localizedStringForKey(key, std::nullopt, std::string(kStringTable));
}

} // namespace lumora
