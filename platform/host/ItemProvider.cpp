#include "platform/ItemProvider.h"

#include "platform/host/PlatformThreads.h"

#include <algorithm>

namespace lumora::platform {

ItemProvider::ItemProvider(Value item, std::string typeIdentifier)
    : types_ { std::move(typeIdentifier) },
      loader_([item = std::move(item)](const LoadCompletion& completion) { completion(item, nullptr); })
{ }

ItemProvider::ItemProvider(std::string typeIdentifier, Loader loader)
    : types_ { std::move(typeIdentifier) }, loader_(std::move(loader))
{ }

bool ItemProvider::hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const
{
    return std::find(types_.begin(), types_.end(), typeIdentifier) != types_.end();
}

void ItemProvider::loadItemForTypeIdentifier_options_completionHandler(
    const std::string& typeIdentifier, const DictionaryRef& /*options*/, LoadCompletion completion) const
{
    if (!completion) {
        return;
    }
    if (!hasItemConformingToTypeIdentifier(typeIdentifier)) {
        auto error = Error::errorWithDomain(std::string(ErrorDomain), -1000);
        host::postToPlatformThread([completion = std::move(completion), error] { completion({}, error); });
        return;
    }
    host::postToPlatformThread([loader = loader_, completion = std::move(completion)] {
        // Whatever thread the loader answers on, the answer is handed over on
        // a platform thread.
        loader([completion](const Value& item, const ErrorRef& error) {
            host::postToPlatformThread([completion, item, error] { completion(item, error); });
        });
    });
}

} // namespace lumora::platform
