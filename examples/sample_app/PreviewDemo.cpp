#include "sample_app/Demos.h"

namespace lumora::sample {

void runPreviewDemo() { }

} // namespace lumora::sample
