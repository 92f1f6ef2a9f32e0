#include "platform/system/Bundle.h"

#include "platform/formats/Locale.h"
#include "platform/formats/PropertyList.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedProcess.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <unicode/locid.h>

namespace lumora::platform {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLocalizationSuffix = ".lproj";

struct LanguageTag {
    std::string language;
    std::string script;
    std::string region;
};

LanguageTag parseTag(const std::string& tag)
{
    std::string canonical = tag;
    std::replace(canonical.begin(), canonical.end(), '-', '_');
    const icu::Locale locale = icu::Locale::createCanonical(canonical.c_str());
    return { locale.getLanguage(), locale.getScript(), locale.getCountry() };
}

bool isDirectory(const std::string& path)
{
    std::error_code error;
    return fs::is_directory(path, error);
}

bool isFile(const std::string& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error);
}

} // namespace

DictionaryRef dictionaryWithContentsOfFile(const std::string& path)
{
    const auto value = PropertyList::valueWithContentsOfFile(path);
    return value ? value->dictionary() : nullptr;
}

std::shared_ptr<Bundle> Bundle::bundleWithURL(const URL& url)
{
    if (!url.isFileURL()) {
        return nullptr;
    }
    const std::string path = host::SimulatedDevice::shared().resolvePath(url.path());
    if (!isDirectory(path)) {
        return nullptr;
    }
    return std::make_shared<Bundle>(path);
}

std::shared_ptr<Bundle> Bundle::bundleWithIdentifier(const std::string& identifier)
{
    return host::SimulatedDevice::shared().installedBundle(identifier);
}

std::shared_ptr<Bundle> Bundle::mainBundle()
{
    // Code of an extension runs in the extension's process.
    if (auto extensionBundle = host::SimulatedProcess::currentMainBundle()) {
        return extensionBundle;
    }
    return host::SimulatedDevice::shared().mainBundle();
}

std::vector<std::string> Bundle::preferredLocalizationsFromArray(
    const std::vector<std::string>& localizations, const std::vector<std::string>& preferences)
{
    std::vector<std::string> chosen;
    const auto choose = [&chosen](const std::string& localization) {
        if (std::find(chosen.begin(), chosen.end(), localization) == chosen.end()) {
            chosen.push_back(localization);
        }
    };
    for (const auto& preference : preferences) {
        const LanguageTag wanted = parseTag(preference);
        if (wanted.language.empty()) {
            continue;
        }
        // An exact match of language, script and region beats a match of the
        // language alone.
        for (const auto& localization : localizations) {
            const LanguageTag offered = parseTag(localization);
            if (offered.language == wanted.language && offered.script == wanted.script
                && offered.region == wanted.region) {
                choose(localization);
            }
        }
        for (const auto& localization : localizations) {
            if (parseTag(localization).language == wanted.language) {
                choose(localization);
            }
        }
    }
    return chosen;
}

Bundle::Bundle(std::string path) : path_(std::move(path))
{
    while (path_.size() > 1 && path_.back() == '/') {
        path_.pop_back();
    }
}

std::optional<std::string> Bundle::bundleIdentifier() const
{
    return infoDictionary()->stringForKey(IdentifierKey);
}

DictionaryRef Bundle::infoDictionary() const
{
    auto info = dictionaryWithContentsOfFile(path_ + "/Info.plist");
    return info ? info : std::make_shared<const Dictionary>();
}

DictionaryRef Bundle::localizedInfoDictionary() const
{
    const auto preferred = preferredLocalizations();
    if (!preferred.empty()) {
        if (auto localized
            = dictionaryWithContentsOfFile(path_ + "/" + preferred.front() + ".lproj/InfoPlist.strings")) {
            return localized;
        }
    }
    return std::make_shared<const Dictionary>();
}

std::vector<std::string> Bundle::localizations() const
{
    std::vector<std::string> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(path_, error)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_directory(error) && name.size() > kLocalizationSuffix.size()
            && name.ends_with(kLocalizationSuffix)) {
            found.push_back(name.substr(0, name.size() - kLocalizationSuffix.size()));
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> Bundle::preferredLocalizations() const
{
    const auto available = localizations();
    auto chosen = preferredLocalizationsFromArray(available, Locale::preferredLanguages());
    if (chosen.empty()) {
        if (const auto region = infoDictionary()->stringForKey(DevelopmentRegionKey);
            region && std::find(available.begin(), available.end(), *region) != available.end()) {
            chosen.push_back(*region);
        }
    }
    return chosen;
}

std::optional<std::string> Bundle::pathForResource(const std::string& name, const std::string& extension,
    const std::string& subdirectory, const std::string& localization) const
{
    const std::string file = extension.empty() ? name : name + "." + extension;
    const std::string base = subdirectory.empty() ? path_ : path_ + "/" + subdirectory;
    if (!localization.empty()) {
        std::string candidate = fmt::format("{}/{}.lproj/{}", base, localization, file);
        return isFile(candidate) ? std::optional(candidate) : std::nullopt;
    }
    if (std::string candidate = base + "/" + file; isFile(candidate)) {
        return candidate;
    }
    for (const auto& preferred : preferredLocalizations()) {
        if (std::string candidate = fmt::format("{}/{}.lproj/{}", base, preferred, file); isFile(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

std::optional<URL> Bundle::URLForResource(const std::string& name, const std::string& extension) const
{
    if (auto path = pathForResource(name, extension)) {
        return URL::fileURLWithPath(*path);
    }
    return std::nullopt;
}

std::optional<std::string> Bundle::localizedStringForKey(
    const std::string& key, const std::optional<std::string>& value, const std::string& table) const
{
    const std::string tableName = table.empty() ? "Localizable" : table;
    for (const auto& localization : preferredLocalizations()) {
        const auto path = pathForResource(tableName, "strings", {}, localization);
        if (!path) {
            continue;
        }
        if (const auto strings = dictionaryWithContentsOfFile(*path)) {
            if (auto text = strings->stringForKey(key)) {
                return text;
            }
        }
        break;
    }
    return value;
}

} // namespace lumora::platform
