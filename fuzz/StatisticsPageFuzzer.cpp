// The ingest server's statistics page, as the sample streaming service's
// upload extension reads it for its viewer count.
#include "extensions/upload/IngestStatistics.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const std::string_view page(reinterpret_cast<const char*>(bytes), length); // NOLINT
    const auto viewers = lumora::sample::IngestStatistics::viewersInPage(page, "test");
    if (viewers && *viewers < 0) {
        std::abort();
    }
    return 0;
}
