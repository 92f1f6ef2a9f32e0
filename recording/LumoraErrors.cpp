#include "recording/LumoraErrors.h"

#include <memory>

namespace lumora {

platform::ErrorRef LumoraErrors::_lmUserErrorForCode_userInfo(
    std::int64_t code, const platform::DictionaryRef& userInfo)
{
    auto info = userInfo ? std::make_shared<platform::Dictionary>(*userInfo) : std::make_shared<platform::Dictionary>();
    (*info)[std::string(platform::Error::LocalizedDescriptionKey)] = platform::Value(messageForCode(code));
    return platform::Error::errorWithDomain(std::string(LMRecordingErrorDomain), code, std::move(info));
}

} // namespace lumora
