#pragma once

#include "sample_app/app/Narration.h"

namespace lumora::sample {

/// Sets up the simulated device the way a phone with the sample app installed
/// would be: the framework where the framework expects itself, the sample app
/// as the running app's main bundle.
void prepareSampleDevice();

} // namespace lumora::sample
