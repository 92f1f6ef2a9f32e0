#include "platform/host/media/CapturedMovies.h"

#include <algorithm>
#include <cmath>

namespace lumora::platform::host {

void CapturedMovies::add(std::shared_ptr<Movie> movie)
{
    if (movie) {
        movies_.push_back(std::move(movie));
    }
}

void CapturedMovies::addFrames(const std::uint8_t* pixels, int width, int height, int bytesPerRow,
    MovieWriter::PixelLayout layout, std::int64_t first, std::int64_t last)
{
    for (const auto& movie : movies_) {
        if (!movie->writer_) {
            continue;
        }
        for (auto frame = first; frame <= last; ++frame) {
            const double at = (static_cast<double>(frame) / framesPerSecond_) - movie->origin_;
            if (at >= 0) {
                movie->writer_->addFrame(pixels, width, height, bytesPerRow, layout, at);
            }
        }
    }
}

void CapturedMovies::addAudio(std::span<const std::int16_t> samples, std::int64_t firstSample)
{
    const double start = static_cast<double>(firstSample) / audioSampleRate_;
    for (const auto& movie : movies_) {
        if (!movie->writer_) {
            continue;
        }
        // Sound from before the movie opened is left out.
        const auto skipped = static_cast<std::size_t>(std::clamp<std::int64_t>(
            std::llround((movie->origin_ - start) * audioSampleRate_), 0, static_cast<std::int64_t>(samples.size())));
        if (skipped < samples.size()) {
            movie->writer_->addAudio(samples.data() + skipped, samples.size() - skipped,
                start + (static_cast<double>(skipped) / audioSampleRate_) - movie->origin_);
        }
    }
}

bool CapturedMovies::close(const std::shared_ptr<Movie>& movie)
{
    if (!movie) {
        return false;
    }
    std::erase(movies_, movie);
    bool written = false;
    if (movie->writer_) {
        written = movie->writer_->finish();
        movie->writer_.reset();
    }
    return written;
}

void CapturedMovies::closeAll()
{
    for (const auto& movie : movies_) {
        movie->writer_.reset();
    }
    movies_.clear();
}

} // namespace lumora::platform::host
