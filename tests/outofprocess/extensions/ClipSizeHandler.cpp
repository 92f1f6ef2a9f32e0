// A movie-clip upload extension for the out-of-process tests: it reports the
// size of each clip file it can read at the clip's URL as service information.
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/system/FileManager.h"
#include "upload/LMBroadcastMP4ClipHandler.h"

namespace {

using lumora::platform::Dictionary;
using lumora::platform::Value;

class ClipSizeHandler final : public lumora::LMBroadcastMP4ClipHandler {
public:
    void processMP4ClipWithURL_setupInfo_finished(const std::optional<lumora::platform::URL>& url,
        const lumora::platform::DictionaryRef& /*setupInfo*/, bool /*finished*/) override
    {
        const auto attributes = url
            ? lumora::platform::FileManager::defaultManager()->attributesOfItemAtPath_error(url->path(), nullptr)
            : nullptr;
        const auto size = attributes ? attributes->valueForKey(lumora::platform::FileManager::FileSizeKey).int64Value()
                                     : std::int64_t { -1 };
        updateServiceInfo(std::make_shared<Dictionary>(Dictionary { { "clipBytes", Value(size) } }));
        finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr, nullptr);
    }
};

} // namespace

LUMORA_EXTENSION_PRINCIPAL_CLASS(ClipSizeHandler)
