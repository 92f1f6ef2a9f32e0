#include "recording/LumoraVersion.h"

namespace lumora {

const double LumoraVersionNumber = 1.0;
// NOLINTNEXTLINE(cppcoreguidelines-avoid-c-arrays,modernize-avoid-c-arrays): a C string is the exported form.
const char LumoraVersionString[] = "@(#)PROGRAM:Lumora  PROJECT:Lumora-1\n";

} // namespace lumora
