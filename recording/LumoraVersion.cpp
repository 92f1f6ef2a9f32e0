#include "recording/LumoraVersion.h"

namespace lumora {

const double LumoraVersionNumber = 1.0;
const char LumoraVersionString[]
    = "@(#)PROGRAM:Lumora  PROJECT:Lumora-1\n"; // NOLINT(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays)

} // namespace lumora
