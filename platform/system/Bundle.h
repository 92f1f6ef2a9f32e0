#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// A bundle: a directory holding an information dictionary ("Info.plist"),
/// resources, and one "<name>.lproj" folder per localization with its string
/// tables ("<table>.strings", a property list of string keys and values) and
/// its localized information dictionary ("InfoPlist.strings").
class Bundle final : public Object {
public:
    /// Keys of the information dictionary.
    static constexpr std::string_view IdentifierKey = "BundleIdentifier";
    /// The bundle's short name (a string).
    static constexpr std::string_view NameKey = "BundleName";
    /// The name shown to the user (a string), often localized.
    static constexpr std::string_view DisplayNameKey = "BundleDisplayName";
    /// The localization the bundle was written in, its fallback (a string).
    static constexpr std::string_view DevelopmentRegionKey = "BundleDevelopmentRegion";
    /// The bundle's icons (a dictionary holding PrimaryIconKey).
    static constexpr std::string_view IconsKey = "BundleIcons";
    /// The primary icon (a dictionary holding IconFilesKey).
    static constexpr std::string_view PrimaryIconKey = "BundlePrimaryIcon";
    /// The primary icon's image files, by name without extension (an array of strings).
    static constexpr std::string_view IconFilesKey = "BundleIconFiles";

    /// The bundle whose directory a file URL names; null when the path holds
    /// no directory. The device's file system resolves the path (the
    /// simulated device may map device paths onto host directories).
    static std::shared_ptr<Bundle> bundleWithURL(const URL& url);
    /// An installed or loaded bundle with this identifier, or null.
    static std::shared_ptr<Bundle> bundleWithIdentifier(const std::string& identifier);
    /// The running application's (or extension's) own bundle.
    static std::shared_ptr<Bundle> mainBundle();

    /// The platform's choice, best first, among `localizations` for the
    /// languages `preferences` (in the user's order). Empty when none of the
    /// localizations suits any of the languages.
    static std::vector<std::string> preferredLocalizationsFromArray(
        const std::vector<std::string>& localizations, const std::vector<std::string>& preferences);

    /// The bundle in the directory at `path` (trailing slashes dropped); the
    /// directory is read only when asked.
    explicit Bundle(std::string path);

    /// The bundle directory's path.
    [[nodiscard]] const std::string& bundlePath() const { return path_; }
    /// The bundle directory as a file URL.
    [[nodiscard]] URL bundleURL() const { return URL::fileURLWithPath(path_); }
    /// The bundle's identifier (IdentifierKey); nullopt when it has none.
    [[nodiscard]] std::optional<std::string> bundleIdentifier() const;
    /// Never null; empty when the bundle has no readable Info.plist.
    [[nodiscard]] DictionaryRef infoDictionary() const;
    /// The information dictionary's localized entries for the bundle's
    /// preferred localization; empty when it has none.
    [[nodiscard]] DictionaryRef localizedInfoDictionary() const;
    /// The localizations the bundle contains (its ".lproj" folders).
    [[nodiscard]] std::vector<std::string> localizations() const;
    /// This bundle's localizations chosen for the user's preferred languages,
    /// falling back to its development region.
    [[nodiscard]] std::vector<std::string> preferredLocalizations() const;

    /// The path of a resource, looked up in `subdirectory` and, when a
    /// localization is given, only in that localization's folder; otherwise
    /// at the top level first and then in the preferred localizations.
    [[nodiscard]] std::optional<std::string> pathForResource(const std::string& name, const std::string& extension,
        const std::string& subdirectory = {}, const std::string& localization = {}) const;
    /// The file URL of a resource, looked up as `pathForResource` does with no
    /// subdirectory or localization; nullopt when there is none.
    [[nodiscard]] std::optional<URL> URLForResource(const std::string& name, const std::string& extension) const;

    /// The string for `key` in `table` ("Localizable" when empty) of the
    /// preferred localization. When the key is missing: `value` if one is
    /// given, otherwise nullopt.
    [[nodiscard]] std::optional<std::string> localizedStringForKey(
        const std::string& key, const std::optional<std::string>& value, const std::string& table) const;

    [[nodiscard]] std::string className() const override { return "Bundle"; }
    [[nodiscard]] std::string description() const override { return "Bundle <" + path_ + ">"; }

private:
    std::string path_;
};

/// Reads a property-list file (XML or binary) whose root is a dictionary;
/// null when the file is missing or is not such a property list.
DictionaryRef dictionaryWithContentsOfFile(const std::string& path);

} // namespace lumora::platform
