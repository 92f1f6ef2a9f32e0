#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <string_view>

namespace lumora {

/// The error domain of every recording error the framework makes.
inline constexpr std::string_view LMRecordingErrorDomain = "com.lumora.Lumora.LMRecordingErrorDomain";

/// The framework's addition to the platform's error class.
class LumoraErrors {
public:
    /// A recording error: domain LMRecordingErrorDomain, `code` as given, and a
    /// copy of `userInfo` (or an empty dictionary) whose localized description
    /// is the fixed message for the code. The caller's dictionary is untouched.
    static platform::ErrorRef _lmUserErrorForCode_userInfo(std::int64_t code, const platform::DictionaryRef& userInfo);

    /// The fixed message of a recording error code.
    static std::string_view messageForCode(std::int64_t code);
};

} // namespace lumora
