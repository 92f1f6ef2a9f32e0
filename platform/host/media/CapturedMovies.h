#pragma once

#include "platform/host/media/MovieWriter.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace lumora::platform::host {

/// The movies being written from one screen capture, and how a captured
/// picture and its sound go into each of them.
///
/// A capture numbers its frame slots from 0 at `framesPerSecond` and its
/// microphone samples from 0 at the audio rate, on the capture's own time
/// (pauses left out). One picture fills the slots from `first` to `last`
/// (a clock that moved past several slots at once); each movie places them
/// at their times since its opening (`origin`, capture seconds), leaving out
/// what came before it. The in-process capture and the recording service's
/// process encode through this one class.
///
/// Not safe to use from two threads at once; one serial queue or thread is fine.
class CapturedMovies {
public:
    /// One movie being written.
    class Movie;

    CapturedMovies(int framesPerSecond, int audioSampleRate)
        : framesPerSecond_(framesPerSecond), audioSampleRate_(audioSampleRate)
    { }

    /// Adds `movie`: what is captured from its origin on goes into it.
    void add(std::shared_ptr<Movie> movie);
    /// Writes one picture (pixels as `MovieWriter::addFrame` takes them) into
    /// slots `first` to `last` of every movie.
    void addFrames(const std::uint8_t* pixels, int width, int height, int bytesPerRow, MovieWriter::PixelLayout layout,
        std::int64_t first, std::int64_t last);
    /// Writes mono samples, the first of them capture sample `firstSample`,
    /// into every movie with a sound track.
    void addAudio(std::span<const std::int16_t> samples, std::int64_t firstSample);
    /// Ends `movie` and completes its file: whether the whole movie was written.
    bool close(const std::shared_ptr<Movie>& movie);
    /// Ends every movie, completing their files with what they have.
    void closeAll();
    [[nodiscard]] bool isEmpty() const { return movies_.empty(); }

private:
    int framesPerSecond_;
    int audioSampleRate_;
    std::vector<std::shared_ptr<Movie>> movies_;
};

/// One movie of a capture: a writer whose time 0 is capture time `origin`.
class CapturedMovies::Movie {
public:
    Movie(std::unique_ptr<MovieWriter> writer, double origin) : writer_(std::move(writer)), origin_(origin) { }
    /// The writer, while the movie is open.
    [[nodiscard]] MovieWriter* writer() const { return writer_.get(); }
    /// Capture seconds at which the movie begins.
    [[nodiscard]] double origin() const { return origin_; }

private:
    friend class CapturedMovies;
    std::unique_ptr<MovieWriter> writer_;
    double origin_;
};

} // namespace lumora::platform::host
