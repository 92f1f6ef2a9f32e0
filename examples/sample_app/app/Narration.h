#pragma once

#include <string>

namespace lumora::sample {

/// Where the sample app writes files (movies, audio) for the user to look at.
std::string sampleOutputDirectory();

/// Prints one line of the sample app's own narration.
void say(const std::string& text);

} // namespace lumora::sample
