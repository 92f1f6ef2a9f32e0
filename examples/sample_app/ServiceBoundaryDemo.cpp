#include "sample_app/Demos.h"

namespace lumora::sample {

void runServiceBoundaryDemo() {}

} // namespace lumora::sample
