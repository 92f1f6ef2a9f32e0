#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/host/media/CapturedMovies.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

class Bitmap;
class DeviceAudio;

/// Captures what the simulated device's main screen shows, composited as the
/// display draws it (`SimulatedDisplay::drawScreen`), at a fixed frame rate
/// on the device clock, with the device's sound (`DeviceAudio`: what the
/// application plays, and what the microphone hears when asked for), and
/// writes it into movies (`MovieWriter`, through `CapturedMovies`) or hands it
/// to a sink (`setFrameSink`: the recording service's process encodes it there).
///
/// The capture's time starts at 0 when it starts and stands still while it
/// is paused, so a movie has no gap for a pause. Frames are taken by timers
/// on the device clock: a held clock takes them only as it is advanced, and
/// an advance past several frame slots fills each with the picture of the
/// moment the timer runs (the screen cannot be seen in the past).
///
/// Any number of movies may be written from one capture, each from the
/// moment it is opened (`openMovie`, its time 0) to the moment it is closed
/// (`closeMovie`): the recording service writes one for the whole recording,
/// and a broadcast could cut clips of the same capture the same way.
///
/// Threads: used on the MainQueue, where the view tree may be read and the
/// clock's timers run. Encoding runs on a serial queue of the capture's own,
/// frame by frame as the pictures come (at most a few are waiting at any
/// time: taking a frame waits for the encoder rather than piling pictures
/// up). Closing a movie waits, bounded, for its encoding to end.
class ScreenCapture : private platform::Noncopyable, public std::enable_shared_from_this<ScreenCapture> {
public:
    /// The frame rate a capture has unless it is made with another.
    static constexpr int FramesPerSecond = 30;
    static constexpr int AudioSampleRate = 44100;

    /// One movie being written from the capture.
    using Movie = CapturedMovies::Movie;
    /// Called on the MainQueue with each picture the capture takes and its time.
    using FrameObserver = std::function<void(const Bitmap& picture, double time)>;
    /// One picture taken: it fills frame slots `first` to `last` (slot n is
    /// shown from n / framesPerSecond capture seconds on), and the sound
    /// captured with it begins at capture sample `firstSample`.
    struct Frame {
        std::shared_ptr<const Bitmap> picture;
        std::int64_t first = 0;
        std::int64_t last = 0;
        std::vector<std::int16_t> samples;
        std::int64_t firstSample = 0;
    };
    /// Called on the MainQueue with each picture taken, in order.
    using FrameSink = std::function<void(const Frame& frame)>;

    /// A capture that has not started, at `framesPerSecond`. Its movies'
    /// sound is `audio` (a device audio of its own when null) at the device
    /// times captured: the application's, with the microphone's mixed in when
    /// `microphone`.
    static std::shared_ptr<ScreenCapture> make(
        bool microphone, std::shared_ptr<const DeviceAudio> audio = nullptr, int framesPerSecond = FramesPerSecond);
    ~ScreenCapture();

    /// Starts taking frames: the first one now, at time 0.
    void start();
    /// Takes the frames due so far and stops time until `resume`.
    void pause();
    void resume();
    /// Takes the frames due so far and stops for good; open movies stay open.
    void stop();
    [[nodiscard]] bool isPaused() const { return pausedAt_.has_value(); }
    /// The capture's time: seconds captured so far, pauses left out.
    [[nodiscard]] double time() const;

    /// Starts writing a movie of what is captured from now on into the host
    /// path `path`, at the main screen's pixel size; null (and a log line)
    /// when the movie cannot be made.
    std::shared_ptr<Movie> openMovie(const std::string& path);
    /// Takes the frames due so far, ends `movie` and waits for its file to
    /// be complete. Answers whether the whole movie was written.
    bool closeMovie(const std::shared_ptr<Movie>& movie);

    /// Hears every picture taken from now on (empty: nobody).
    void setFrameObserver(FrameObserver observer);
    /// Hands every picture taken from now on, with its slots and its sound, to `sink`.
    void setFrameSink(FrameSink sink);

    [[nodiscard]] int framesPerSecond() const { return framesPerSecond_; }

private:
    struct Encoder;

    ScreenCapture(bool microphone, std::shared_ptr<const DeviceAudio> audio, int framesPerSecond);
    void schedule();
    void takeDueFrames();
    [[nodiscard]] double uptime() const;

    bool microphone_;
    std::shared_ptr<const DeviceAudio> audio_;
    int framesPerSecond_;
    std::shared_ptr<Encoder> encoder_;
    std::size_t moviesOpen_ = 0;
    std::shared_ptr<void> timer_;
    FrameObserver observer_;
    FrameSink sink_;
    std::shared_ptr<const Bitmap> lastPicture_;
    bool started_ = false;
    bool stopped_ = false;
    double startUptime_ = 0;
    double pausedTotal_ = 0;
    std::optional<double> pausedAt_;
    std::int64_t nextFrame_ = 0;
    std::int64_t nextSample_ = 0;
};

} // namespace lumora::platform::host
