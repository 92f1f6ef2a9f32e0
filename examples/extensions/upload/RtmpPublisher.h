#pragma once

#include "platform/foundation/Data.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::sample {

/// Publishes a broadcast to an RTMP ingest server as one continuous live
/// stream, one movie clip after another, with FFmpeg's libraries.
///
/// Each clip is remuxed, not re-encoded: its packets go out as they are,
/// their times moved on so that the stream runs on where the last clip
/// ended (whatever time passed between two clips, and a pause that the
/// clips leave out, leaves no gap in the stream). The session opens with
/// the first clip and stays open until `end`.
///
/// Nothing blocks for long: every connection attempt and every clip's
/// sending has a deadline, a failed session is opened again a bounded
/// number of times, and a clip that cannot be sent within its time limit
/// is given up with a reason. A clip that is no movie is refused without
/// touching the session.
///
/// One clip at a time: calls may come from any thread, and they take turns.
class RtmpPublisher {
public:
    struct Limits {
        /// At most this long for one attempt to connect, or to send one clip.
        std::chrono::milliseconds attemptTimeout { std::chrono::milliseconds(1500) };
        /// Attempts per clip, and the pause before each attempt after the first.
        int attempts = 3;
        std::chrono::milliseconds retryPause { std::chrono::milliseconds(200) };
        /// At most this long for one clip, all its attempts together.
        std::chrono::milliseconds clipTimeLimit { std::chrono::seconds(4) };
    };
    /// The session as viewers would see it.
    enum class State : std::uint8_t { Idle, Live, Reconnecting, Failed, Ended };

    RtmpPublisher(std::string url, Limits limits);
    /// Ends the session, as `end` does.
    ~RtmpPublisher();
    RtmpPublisher(const RtmpPublisher&) = delete;
    RtmpPublisher& operator=(const RtmpPublisher&) = delete;
    RtmpPublisher(RtmpPublisher&&) = delete;
    RtmpPublisher& operator=(RtmpPublisher&&) = delete;

    /// Whether `url` names an RTMP stream (rtmp://host[:port]/application/key).
    static bool isRTMPURL(std::string_view url);

    /// Why `movie` is no clip the publisher could send (not a movie, no
    /// pictures, cut short), or nullopt when it is one. It reads the clip as
    /// `publishClip` does, without sending it.
    static std::optional<std::string> refusalOfClip(const platform::Data& movie);

    /// Sends the movie clip `movie` on the session, opening it when needed.
    /// Nullopt when the clip went out whole; otherwise why it did not.
    std::optional<std::string> publishClip(const platform::Data& movie);
    /// Ends the stream and closes the session; later clips open a new one.
    void end();

    [[nodiscard]] State state() const;
    /// Seconds of stream sent so far.
    [[nodiscard]] double publishedSeconds() const;
    /// The number of sessions opened so far.
    [[nodiscard]] int sessionsOpened() const;
    [[nodiscard]] const std::string& url() const { return url_; }

private:
    struct Clip;
    struct Session;

    std::optional<std::string> sendLocked(const Clip& clip, std::chrono::steady_clock::time_point deadline);
    void closeSessionLocked(bool cleanly);

    std::string url_;
    Limits limits_;
    mutable std::mutex mutex_;
    std::unique_ptr<Session> session_;
    State state_ = State::Idle;
    /// Where the next clip starts in the stream, in microseconds.
    std::int64_t streamTime_ = 0;
    int sessionsOpened_ = 0;
};

} // namespace lumora::sample
