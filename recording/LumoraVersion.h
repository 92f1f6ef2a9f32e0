#pragma once

namespace lumora {

/// The framework's version number.
extern const double LumoraVersionNumber;
/// The framework's version string, NUL-terminated, ending in a line feed.
extern const char LumoraVersionString[]; // NOLINT(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays)

} // namespace lumora
