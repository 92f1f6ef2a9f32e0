#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// Comparing UTF-8 names the way people read them. Text that is not valid
/// UTF-8 is compared with each bad byte as a replacement character.
class StringComparison {
public:
    /// How two strings are compared; options combine as bits.
    enum Option : std::uint8_t {
        /// "ABC" and "abc" compare equal (full case folding: "STRASSE" and "straße" too).
        CaseInsensitive = 1U << 0U,
        /// "Á" and "A" compare equal: combining marks are ignored after canonical decomposition.
        DiacriticInsensitive = 1U << 1U,
    };
    /// A combination of Option bits; 0 compares exactly.
    using Options = std::uint8_t;

    /// Whether `string` begins with `prefix` under `options`. An empty prefix begins nothing.
    [[nodiscard]] static bool hasPrefix(std::string_view string, std::string_view prefix, Options options);

    /// The strings that begin with `prefix` under `options`, in their order.
    [[nodiscard]] static std::vector<std::string> filteredByPrefix(
        const std::vector<std::string>& strings, std::string_view prefix, Options options);
};

} // namespace lumora::platform
