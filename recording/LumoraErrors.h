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

    /// The fixed message of a recording error code. Defined here, so that the
    /// recording service, which makes errors of its own in this domain, words
    /// them the same way without linking the framework.
    static constexpr std::string_view messageForCode(std::int64_t code)
    {
        switch (code) {
        case -5800:
            // The missing "n" is part of the message as applications see it.
            return "Uknown recording error";
        case -5801:
            return "The user declined application recording";
        case -5802:
            return "Recording has been restricted in settings";
        case -5803:
            return "Recording failed to start";
        case -5804:
            return "Failed during recording";
        case -5805:
            return "Insufficient storage for recording";
        case -5806:
            return "Recording interrupted by another application";
        case -5807:
            return "Recording interrupted by multitasking and content resizing";
        default:
            return "Unknown recording error";
        }
    }
};

} // namespace lumora
