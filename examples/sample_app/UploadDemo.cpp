#include "sample_app/Demos.h"

namespace lumora::sample {

void runUploadDemo() { }

} // namespace lumora::sample
