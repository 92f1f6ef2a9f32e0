#pragma once

#include <string>

namespace lumora::sample {

/// Sets up the simulated device the way a phone with the sample app installed
/// would be: the framework where the framework expects itself, the sample app
/// as the running app's main bundle.
void prepareSampleDevice();

/// Where the sample app writes files (movies, audio) for the user to look at.
std::string sampleOutputDirectory();

/// Prints one line of the sample app's own narration.
void say(const std::string& text);

} // namespace lumora::sample
