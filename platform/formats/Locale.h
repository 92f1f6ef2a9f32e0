#pragma once

#include <string>
#include <vector>

namespace lumora::platform {

/// The user's language settings.
class Locale {
public:
    /// The user's preferred languages, most preferred first ("fr-CA", "en", ...).
    static std::vector<std::string> preferredLanguages();
    /// The identifier of the current locale ("en_US"), used for formatting.
    static std::string currentLocaleIdentifier();
};

} // namespace lumora::platform
