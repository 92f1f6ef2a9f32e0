// Upload payloads as the host hands them to a sample handler: the input is
// read as a property list and becomes the value of one input item (a payload
// or a list of payloads).
#include "platform/formats/PropertyList.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <cstdint>
#include <cstdlib>

using lumora::platform::Data;
using lumora::platform::PropertyList;
using lumora::platform::host::ExtensionRequest;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    auto value = PropertyList::valueFromData(Data(bytes, length));
    if (!value) {
        return 0;
    }
    const ExtensionRequest request({ ExtensionRequest::labelledItem("payload", std::move(*value)) });
    request.beginWithHandler(std::make_shared<lumora::LMBroadcastSampleHandler>());
    // Every item loads, so the request always completes.
    if (!request.waitForOutcome()) {
        std::abort();
    }
    return 0;
}
