#pragma once

#include "platform/graphics/Image.h"

#include <memory>
#include <string>

namespace lumora::platform::host {

/// The pictures of a movie file, decoded in order as the lab's screen shows
/// them: `pictureAt` decodes up to the picture shown at a time and scales it
/// to the size asked for; past the movie's end it starts over. Only one
/// picture is kept, so a long movie takes no more memory than a short one.
class MovieFrames {
public:
    /// Opens the movie at `path`; null (and `error` says why) when it has no
    /// picture the device can decode.
    static std::unique_ptr<MovieFrames> open(const std::string& path, std::string& error);

    MovieFrames(const MovieFrames&) = delete;
    MovieFrames& operator=(const MovieFrames&) = delete;
    MovieFrames(MovieFrames&&) = delete;
    MovieFrames& operator=(MovieFrames&&) = delete;
    ~MovieFrames();

    /// The picture shown `seconds` into the movie (looped), `width` by
    /// `height` pixels; null when the movie gives no picture at all.
    std::shared_ptr<Image> pictureAt(double seconds, int width, int height);

private:
    struct Decoder;
    explicit MovieFrames(std::unique_ptr<Decoder> decoder);

    std::unique_ptr<Decoder> decoder_;
};

} // namespace lumora::platform::host
