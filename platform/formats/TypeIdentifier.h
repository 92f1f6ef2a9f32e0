#pragma once

#include <string_view>

namespace lumora::platform {

/// Type identifiers of values carried by item providers.
struct TypeIdentifier {
    /// The most general data type: arbitrary data of any kind. Every value the
    /// framework exchanges with an extension travels under it.
    static constexpr std::string_view Data = "lumora.item.data";
};

} // namespace lumora::platform
