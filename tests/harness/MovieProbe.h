#pragma once

#include <cstdint>
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
    /// The decoded samples of the first channel (-1...1), and their rate.
    std::vector<float> audioSamples;
    int audioSampleRate = 0;
};

/// One decoded picture, as RGB bytes row by row.
struct MoviePicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgb;

    /// The pixel at column `x`, row `y` (the picture's pixels; none outside it).
    [[nodiscard]] std::optional<MovieContents::Colour> pixelAt(int x, int y) const;
};

/// The picture shown at `time` seconds into the movie at `path` (the last
/// frame that starts at or before it); nullopt when there is none.
std::optional<MoviePicture> decodePictureAt(const std::string& path, double time);

/// The amplitude of the `frequency` hertz component of `count` samples from
/// `first` (a sine of amplitude A gives about A), with its phase in radians
/// relative to the first of them.
struct ToneComponent {
    double amplitude = 0;
    double phase = 0;
};
ToneComponent toneComponent(
    const std::vector<float>& samples, std::size_t first, std::size_t count, double frequency, int sampleRate);

/// Decodes every frame of the movie at `path`; nullopt when it is no movie
/// (unreadable, no video track, a frame that fails to decode).
std::optional<MovieContents> decodeMovie(const std::string& path);

/// Whether two colours are within `tolerance` of each other in every component.
bool closeColours(const MovieContents::Colour& colour, const MovieContents::Colour& expected, int tolerance = 24);

} // namespace lumora::test
