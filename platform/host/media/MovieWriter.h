#pragma once

#include "platform/foundation/Noncopyable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace lumora::platform::host {

class Bitmap;

/// Writes a movie file in the MP4 format: video from 32-bit frames, each with
/// its presentation time, and optionally audio from interleaved PCM samples
/// (16-bit or float, mono or stereo) with their times. It is how the simulated
/// device's recording service turns what the screen showed into a movie, and
/// anything else on the device that wants a movie of frames can use it too.
///
/// Video is H.264 when the system's FFmpeg has its x264 encoder and MPEG-4
/// Part 2 otherwise, always in 4:2:0 YUV at even dimensions (a frame of
/// another size is scaled to the movie's); audio is AAC. Times are seconds
/// from the start of the movie. A frame whose time rounds to the slot of the
/// frame before it is dropped; audio that starts later than the samples
/// before it ended is preceded by silence, audio that overlaps them loses the
/// overlap.
///
/// Every failure of the media libraries is logged and leaves the writer
/// failed: its later calls do nothing and answer false, and `finish` answers
/// false. A writer that is destroyed unfinished finishes first. Not safe to
/// use from two threads at once; one serial queue at a time is fine.
class MovieWriter : private platform::Noncopyable {
public:
    /// How the pixels of a frame are laid out in memory.
    enum class PixelLayout : std::uint8_t {
        /// Native-endian 32-bit words holding alpha, red, green and blue,
        /// highest first (`Bitmap` and cairo's ARGB32).
        NativeARGB32,
        /// Bytes in the order red, green, blue, alpha.
        RGBA,
    };

    struct Settings {
        /// The movie's size in pixels (made even, by rounding down, and at least 2).
        int width = 0;
        int height = 0;
        /// The time base of the video: frame times are rounded to slots of 1/framesPerSecond.
        int framesPerSecond = 30;
        /// Audio channels (1 or 2); 0 writes no audio track.
        int audioChannels = 0;
        int audioSampleRate = 44100;
        /// Writes a fragmented movie: a header with no samples, then one
        /// fragment per key frame, each written whole once it is complete, so
        /// that the file plays up to its last fragment even when the writer
        /// never finishes (its process killed) or runs out of room. H.264 is
        /// then encoded with x264's fastest preset and without look-ahead,
        /// which keeps the writer's memory small at the cost of larger files.
        bool fragmented = false;
        /// Bytes the file may grow to (fragmented movies only; 0: no limit
        /// but the disk's). A fragment that does not fit is not written: the
        /// writer fails as on a full disk (`isOutOfSpace`), and the file keeps
        /// the fragments before it.
        std::uint64_t maxFileBytes = 0;
    };

    /// Creates the file at the host path `path` and starts a movie in it;
    /// null (and a log line) when it cannot.
    static std::unique_ptr<MovieWriter> create(const std::string& path, const Settings& settings);
    ~MovieWriter();

    /// The name of the video encoder in use ("libx264" or "mpeg4").
    [[nodiscard]] std::string videoEncoderName() const;
    /// The movie's size in pixels, as written.
    [[nodiscard]] int width() const;
    [[nodiscard]] int height() const;

    /// Adds one frame shown from `time` on. Alpha is ignored: a frame is an
    /// opaque picture (a premultiplied pixel over black).
    bool addFrame(const Bitmap& frame, double time);
    bool addFrame(const std::uint8_t* pixels, int width, int height, int bytesPerRow, PixelLayout layout, double time);
    /// Adds `frames` frames of interleaved samples (one per channel each),
    /// the first of them played at `time`. False without an audio track.
    bool addAudio(const std::int16_t* samples, std::size_t frames, double time);
    bool addAudio(const float* samples, std::size_t frames, double time);

    /// Whether the writer failed because the file had no more room (its
    /// `maxFileBytes`, or the disk).
    [[nodiscard]] bool isOutOfSpace() const;
    /// Bytes written into the file so far (a fragmented movie's; 0 for others).
    [[nodiscard]] std::uint64_t bytesWritten() const;

    /// Encodes what is still buffered and completes the file. Answers
    /// whether the whole movie was written; later calls do nothing.
    bool finish();

private:
    struct State;
    explicit MovieWriter(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

} // namespace lumora::platform::host
