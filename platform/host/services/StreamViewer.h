#pragma once

#include "platform/foundation/Noncopyable.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace lumora::platform::host {

class Bitmap;

/// A viewer of a live stream: it plays an RTMP stream (or any URL FFmpeg
/// opens) on a thread of its own, decodes every picture and counts the
/// audio, the way a person's player would. Tests and benchmarks use it to
/// see what a broadcast's viewers see.
///
/// Every wait is bounded: the viewer gives up when the stream has not begun
/// within `connectTimeout`, and counts it as ended when nothing has arrived
/// for `idleTimeout`.
class StreamViewer : private Noncopyable {
public:
    struct Options {
        std::chrono::milliseconds connectTimeout { std::chrono::seconds(15) };
        std::chrono::milliseconds idleTimeout { std::chrono::seconds(10) };
    };
    /// Hears each decoded picture and its time in the stream (seconds), on
    /// the viewer's thread.
    using PictureObserver = std::function<void(const Bitmap& picture, double time)>;

    /// What the viewer has seen so far.
    struct Summary {
        /// The stream time of every picture decoded, in order.
        std::vector<double> frameTimes;
        int width = 0;
        int height = 0;
        int audioPackets = 0;
        /// Seconds of audio received.
        double audioDuration = 0;
        bool playing = false;
        bool ended = false;
        /// Why the stream ended, when it ended for another reason than its end.
        std::string failure;
    };

    /// Starts playing `url` at once.
    StreamViewer(std::string url, Options options, PictureObserver observer = nullptr);
    /// Stops playing and waits for the viewer's thread.
    ~StreamViewer();
    StreamViewer(StreamViewer&&) = delete;
    StreamViewer& operator=(StreamViewer&&) = delete;

    /// Waits, at most `timeout`, until the stream plays: its first data has
    /// arrived. False when it did not or the stream already ended. (The
    /// server knows of the viewer earlier, as soon as it asked to play: its
    /// statistics list it while the viewer waits for the stream to begin.)
    bool waitUntilPlaying(std::chrono::milliseconds timeout);
    /// Waits, at most `timeout`, until `count` pictures have been decoded.
    bool waitForFrames(std::size_t count, std::chrono::milliseconds timeout);
    /// Waits, at most `timeout`, until nothing has arrived for `quiet`.
    bool waitForQuiet(std::chrono::milliseconds quiet, std::chrono::milliseconds timeout);
    /// Waits, at most `timeout`, until the stream has ended.
    bool waitUntilEnded(std::chrono::milliseconds timeout);
    /// Stops playing; the summary stays.
    void stop();

    [[nodiscard]] Summary summary() const;

private:
    struct Session;

    void play();
    template <class Condition> bool waitFor(std::chrono::milliseconds timeout, Condition condition);

    std::string url_;
    Options options_;
    PictureObserver observer_;
    std::atomic<bool> stopping_ { false };
    /// Steady-clock ticks of the moment something last arrived (or the wait began).
    std::atomic<std::chrono::steady_clock::rep> lastArrival_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    Summary summary_;
    std::thread thread_;
};

} // namespace lumora::platform::host
