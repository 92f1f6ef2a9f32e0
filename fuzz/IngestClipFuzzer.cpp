// A movie clip as the sample streaming service's RTMP publisher reads it
// before it sends anything: refused with a reason, or accepted whole.
#include "extensions/upload/RtmpPublisher.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const auto refusal = lumora::sample::RtmpPublisher::refusalOfClip(lumora::platform::Data(bytes, length));
    if (refusal && refusal->empty()) {
        std::abort();
    }
    return 0;
}
