// The input items of a clip handler: the input is read as a property-list
// dictionary, and each entry becomes an item titled with its key.
#include "platform/formats/PropertyList.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "upload/LMBroadcastMP4ClipHandler.h"

#include <cstdint>
#include <cstdlib>

using lumora::platform::Data;
using lumora::platform::PropertyList;
using lumora::platform::host::ExtensionRequest;

namespace {

// Finishes each clip at once, so that every request completes.
class FinishingClipHandler final : public lumora::LMBroadcastMP4ClipHandler {
public:
    void processMP4ClipWithURL_setupInfo_finished(const std::optional<lumora::platform::URL>& /*url*/,
        const lumora::platform::DictionaryRef& /*setupInfo*/, bool /*finished*/) override
    {
        finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr, nullptr);
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const auto value = PropertyList::valueFromData(Data(bytes, length));
    const auto entries = value ? value->dictionary() : nullptr;
    if (!entries || entries->empty()) {
        return 0;
    }
    lumora::platform::ExtensionItems items;
    for (const auto& [title, entry] : *entries) {
        items.push_back(ExtensionRequest::labelledItem(title, entry));
    }
    const ExtensionRequest request(std::move(items));
    request.beginWithHandler(std::make_shared<FinishingClipHandler>());
    if (!request.waitForOutcome()) {
        std::abort();
    }
    return 0;
}
