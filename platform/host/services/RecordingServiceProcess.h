#pragma once

#include "platform/host/services/RecordingServiceCapture.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include <sys/types.h>

namespace lumora::platform::host {

/// The recording service as a process of its own: the program
/// `lumora-recording-service`, which the device starts when the application's
/// connection to the service first needs it, and again after the last one
/// went away. The two talk over a Unix-domain socket pair; the program's end
/// is handed over at start, so nothing is left in the file system.
///
/// The program answers a start granting what was asked and records the
/// screen: the device captures it and hands the pictures and the microphone's
/// sound over a second channel (`RecordingServiceCapture`, frames in shared
/// memory), and the program encodes them into a fragmented movie in its own
/// folder (`MoviesDirectory`, a device path mounted onto a temporary host
/// folder removed at exit), which plays up to its last fragment even when the
/// process is killed. A stop completes the movie and answers with its URL.
///
/// For fault tests the device can tell the next started process to stop
/// before it answers one operation (`stallBeforeReplyingTo`), wait until it
/// has (`waitUntilStalled`) and kill it (`kill`).
class RecordingServiceProcess {
public:
    /// The name the platform serves the recording service under.
    static constexpr std::string_view ServiceName = "com.lumora.recordingservice";
    /// The service process's movie folder, a device path.
    static constexpr std::string_view MoviesDirectory = "/private/var/mobile/Library/RecordingService/Process/";

    /// Starts a service process (after killing one still running) and hands
    /// back the application's end of the socket connected to it, or -1 when
    /// the program could not be started.
    int connect();

    /// The program started; by default the one the build made.
    void setProgram(std::string path);
    /// Bytes the service's movie folder may hold, from the next started
    /// process on (nullopt: as many as the disk takes). When a recording's
    /// movie fills what is left, the service stops the recording, keeps the
    /// movie so far and tells the application (-5805); a stop that would copy
    /// the canned movie into a folder without room for it fails with -5805.
    void setDiskQuota(std::optional<std::uint64_t> bytes);
    /// The frame rate the screen is captured at for the next started
    /// process's recordings (initially `ScreenCapture::FramesPerSecond`).
    void setCaptureFramesPerSecond(int framesPerSecond);
    /// Makes the next started process a slow one that never gives a frame
    /// slot back: once every slot is held the device drops its pictures.
    void holdFrameSlots(bool hold);
    /// The device's side of the running (or last) process's capture channel;
    /// null before a process was started.
    [[nodiscard]] std::shared_ptr<RecordingServiceCapture> capture() const;
    /// The next started process stops before it answers `selector` (with
    /// colons) and waits to be killed; empty: it answers everything.
    void stallBeforeReplyingTo(std::string selector);
    /// Waits, at most `timeout`, until the running process has stopped before
    /// an answer. False on timeout.
    [[nodiscard]] bool waitUntilStalled(std::chrono::milliseconds timeout);
    /// Kills the running process (SIGKILL) and reaps it; false when none
    /// runs (one that ended on its own is only reaped).
    bool kill();
    /// The running process's id, if one runs.
    [[nodiscard]] std::optional<pid_t> pid() const;
    /// How many processes have been started since the last reset.
    [[nodiscard]] std::size_t launches() const;

    /// Kills a running process and forgets every setting.
    void reset();

private:
    bool killLocked();

    mutable std::mutex mutex_;
    std::string program_;
    std::string stallSelector_;
    std::optional<std::uint64_t> diskQuota_;
    int framesPerSecond_ = ScreenCapture::FramesPerSecond;
    bool holdFrameSlots_ = false;
    std::shared_ptr<RecordingServiceCapture> capture_;
    pid_t pid_ = -1;
    int stallPipe_ = -1;
    std::size_t launches_ = 0;
};

} // namespace lumora::platform::host
