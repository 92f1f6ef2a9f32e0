#include "recording/LumoraErrors.h"

#include <memory>

namespace lumora {

std::string_view LumoraErrors::messageForCode(std::int64_t code)
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

platform::ErrorRef LumoraErrors::_lmUserErrorForCode_userInfo(
    std::int64_t code, const platform::DictionaryRef& userInfo)
{
    auto info = userInfo ? std::make_shared<platform::Dictionary>(*userInfo) : std::make_shared<platform::Dictionary>();
    (*info)[std::string(platform::Error::LocalizedDescriptionKey)] = platform::Value(messageForCode(code));
    return platform::Error::errorWithDomain(std::string(LMRecordingErrorDomain), code, std::move(info));
}

} // namespace lumora
