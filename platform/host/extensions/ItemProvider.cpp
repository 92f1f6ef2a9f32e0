#include "platform/extensions/ItemProvider.h"

#include "platform/host/foundation/PlatformThreads.h"

#include <algorithm>
#include <thread>

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
        // The answer is handed over on a platform thread: at once when the
        // loader answers on this one (a value in memory does, before it
        // returns), otherwise posted to one.
        const auto platformThread = std::this_thread::get_id();
        loader([completion, platformThread](const Value& item, const ErrorRef& error) {
            if (std::this_thread::get_id() == platformThread) {
                completion(item, error);
                return;
            }
            host::postToPlatformThread([completion, item, error] { completion(item, error); });
        });
    });
}

} // namespace lumora::platform
