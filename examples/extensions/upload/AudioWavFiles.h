#pragma once

#include "extensions/upload/WavWriter.h"
#include "platform/media/SampleBuffer.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace lumora::sample {

/// The two WAV files a sample upload extension writes: the application audio
/// and the microphone audio it receives, each file made on its first sample,
/// each sample converted from the byte order its format declares
/// (big-endian application audio, little-endian microphone audio) to the
/// little-endian order of WAV. Used on the audio queue only.
class AudioWavFiles {
public:
    AudioWavFiles(std::string applicationPath, std::string microphonePath)
        : applicationPath_(std::move(applicationPath)), microphonePath_(std::move(microphonePath))
    { }

    /// Writes a sample of application or microphone audio; false (and
    /// nothing written) for a sample of any other kind.
    bool append(const platform::SampleBuffer& sample, std::int64_t type);

    /// Closes the files written so far; `report` hears each one's path and
    /// the frames it holds.
    void close(const std::function<void(const std::string& path, std::uint64_t frames)>& report);

private:
    std::string applicationPath_;
    std::string microphonePath_;
    std::unique_ptr<WavWriter> application_;
    std::unique_ptr<WavWriter> microphone_;
};

} // namespace lumora::sample
