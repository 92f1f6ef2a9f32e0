// Keyed archives: a broadcast configuration, as a setup extension hands it
// over, and the plain collections that other archives hold.
#include "broadcast/LMBroadcastConfiguration.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"

#include <cstdint>

using lumora::platform::CodingClass;
using lumora::platform::Data;
using lumora::platform::ErrorRef;
using lumora::platform::KeyedArchiver;
using lumora::platform::KeyedUnarchiver;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const Data data(bytes, length);
    ErrorRef error;
    const auto configuration
        = KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<lumora::LMBroadcastConfiguration>(data, &error);
    if (configuration) {
        (void)KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
            lumora::platform::Value(configuration), true, nullptr);
    }
    (void)KeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
        { &CodingClass::dictionary(), &CodingClass::array(), &CodingClass::string(), &CodingClass::number(),
            &CodingClass::data(), &CodingClass::date(), &CodingClass::url() },
        data, &error);
    return 0;
}
