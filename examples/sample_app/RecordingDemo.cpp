#include "sample_app/Demos.h"

namespace lumora::sample {

void runRecordingDemo() { }

} // namespace lumora::sample
