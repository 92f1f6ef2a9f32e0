#include "platform/host/extensions/ExtensionBoundary.h"

#include "platform/foundation/Log.h"

#include <exception>

namespace lumora::platform::host {

std::optional<std::string> ExtensionBoundary::run(std::string_view where, const std::function<void()>& code)
{
    std::string thrown;
    try {
        code();
        return std::nullopt;
    } catch (const std::exception& exception) {
        thrown = exception.what();
    } catch (...) {
        thrown = "an exception of unknown type";
    }
    Log::error(
        "Extension: %s threw (%s); the request fails as if the extension had crashed", std::string(where), thrown);
    return thrown;
}

void ExtensionBoundary::logRequestEndedAgain()
{
    Log::error("Extension: the extension ended a request it had already ended; the later ending changes nothing");
}

} // namespace lumora::platform::host
