// The WAV files the lab plays into a broadcast's audio (--app-audio wav:PATH):
// any bytes are refused with a reason or give a sound that fills payloads.
#include "platform/host/lab/LabSound.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    std::string error;
    const auto sound = lumora::platform::host::LabSound::fromWav(std::span(bytes, length), error);
    if (!sound && error.empty()) {
        std::abort();
    }
    if (sound) {
        std::array<std::int16_t, 64> samples {};
        sound->fill(1000, samples);
    }
    return 0;
}
