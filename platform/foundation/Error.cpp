#include "platform/foundation/Error.h"

#include <fmt/format.h>

namespace lumora::platform {

std::shared_ptr<const Error> Error::errorWithDomain(std::string domain, std::int64_t code, DictionaryRef userInfo)
{
    return std::make_shared<const Error>(std::move(domain), code, std::move(userInfo));
}

Error::Error(std::string domain, std::int64_t code, DictionaryRef userInfo)
    : domain_(std::move(domain)),
      code_(code),
      userInfo_(userInfo ? std::move(userInfo) : std::make_shared<const Dictionary>())
{ }

std::string Error::localizedDescription() const
{
    if (auto text = userInfo_->stringForKey(LocalizedDescriptionKey)) {
        return *text;
    }
    return fmt::format("The operation couldn't be completed. ({} error {}.)", domain_, code_);
}

std::string Error::description() const
{
    return fmt::format("Error Domain={} Code={} \"{}\"", domain_, code_, localizedDescription());
}

} // namespace lumora::platform
