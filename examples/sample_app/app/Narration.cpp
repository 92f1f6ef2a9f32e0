#include "sample_app/app/Narration.h"

#include <cstdio>
#include <fmt/format.h>

namespace lumora::sample {

std::string sampleOutputDirectory()
{
    return LUMORA_SAMPLE_OUTPUT_DIR;
}

void say(const std::string& text)
{
    fmt::print("\n== {}\n", text);
    std::fflush(stdout);
}

} // namespace lumora::sample
