#pragma once

#include "upload/LMBroadcastExtensionKeys.h"

#include <string_view>

namespace lumora {

// Titles of the items a broadcast setup extension returns to its host, and of
// the item that tells it about the application about to broadcast. Each value
// is its own name, except the service URL's, whose leading "k" is part of the
// published value and must stay. ExtensionUserInfo and BroadcastConfiguration
// are shared with the upload extensions.

/// Setup extension to host: the broadcast URL.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionServiceURL
    = "kLMBroadcastExtensionKeyExtensionServiceURL";
/// Setup extension to host: the bundle identifier of the setup extension itself.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionBundleIdentifier
    = "LMBroadcastExtensionKeyExtensionBundleIdentifier";
/// Recording application to the picker extension: the host-information dictionary.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionHostInfo = "LMBroadcastExtensionKeyExtensionHostInfo";

// Keys of the host-information dictionary.

/// The recording application's localized name; "" when it cannot be found.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionHostInfoAppName
    = "LMBroadcastExtensionKeyExtensionHostInfoAppName";
/// The recording application's bundle identifier.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionHostInfoBundleID
    = "LMBroadcastExtensionKeyExtensionHostInfoBundleID";
/// The recording application's icon, only when one was found.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionHostInfoAppIcon
    = "LMBroadcastExtensionKeyExtensionHostInfoAppIcon";

} // namespace lumora
