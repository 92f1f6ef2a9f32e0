#pragma once

#include <optional>
#include <string>
#include <vector>

namespace lumora::test {

/// What a movie file holds, read back with FFmpeg's own demuxer and decoders,
/// so that tests judge a written movie independently of the code that wrote it.
struct MovieContents {
    struct Colour {
        int red = 0;
        int green = 0;
        int blue = 0;
    };
    struct Frame {
        /// Seconds from the start of the movie.
        double time = 0;
        /// The pixel at the centre of the picture, 0...255 per component.
        Colour centre;
    };

    std::string containerName;
    std::string videoCodec;
    /// The container's duration in seconds.
    double duration = 0;
    int width = 0;
    int height = 0;
    std::vector<Frame> frames;
    bool hasAudio = false;
    int audioChannels = 0;
    /// Seconds of audio decoded.
    double audioDuration = 0;
    /// The root mean square of the decoded samples (0...1).
    double audioLevel = 0;
    /// The decoded samples of the first channel, in order, and their rate.
    std::vector<float> audioSamples;
    int audioSampleRate = 0;
};

/// Decodes every frame of the movie at `path`; nullopt when it is no movie
/// (unreadable, no video track, a frame that fails to decode).
std::optional<MovieContents> decodeMovie(const std::string& path);

/// Whether two colours are within `tolerance` of each other in every component.
bool closeColours(const MovieContents::Colour& colour, const MovieContents::Colour& expected, int tolerance = 24);

} // namespace lumora::test
