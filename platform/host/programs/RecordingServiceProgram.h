#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/host/media/CapturedMovies.h"
#include "platform/host/media/FrameRing.h"
#include "platform/host/transport/Message.h"
#include "platform/host/transport/ProgramConnection.h"
#include "platform/host/transport/SocketConnection.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lumora::platform::host {

/// The recording service's side of its connection to the application, as
/// the program `lumora-recording-service` runs it: it answers the requests of
/// the recorder's message set and hears its one-way messages. A start is
/// granted what it asked for and starts recording the screen; a stop
/// completes the movie in the service's folder and answers with its device URL.
///
/// The screen comes from the device over a second connection, the capture
/// channel (`RecordingServiceCapture` is the device's end): the pictures in a
/// ring of shared-memory slots, the device's sound in messages. The
/// program encodes them as they come, on that channel's thread, into a
/// fragmented movie (`MovieWriter`, `CapturedMovies`), so the file plays up
/// to its last fragment should the program be killed. When the folder's
/// quota leaves no room, the program stops recording on its own, keeps the
/// movie so far and tells the application (`stopRecordingWithError:movieURL:`,
/// -5805). Without a capture channel (or a screen), a stop hands back a copy
/// of the canned movie instead.
///
/// Everything the application and the device send is checked: an unknown
/// operation or arguments of the wrong types are logged and end the
/// connection; the application's connection ending ends the program.
class RecordingServiceProgram {
public:
    struct Options {
        int socket = -1;
        /// The device's capture channel; -1: none.
        int captureSocket = -1;
        /// The movie a stop hands back a copy of when nothing was captured (a host path).
        std::string movie;
        /// The service's movie folder: its host path and its device path.
        std::string moviesFolder;
        std::string moviesDeviceFolder;
        /// Bytes the movie folder may hold; nullopt: no limit but the disk's.
        std::optional<std::uint64_t> quota;
        /// For fault tests: a slow service that never gives a frame slot back.
        bool holdFrameSlots = false;
        /// For fault tests: the operation before whose answer the service
        /// stops (writing one byte to `stallDescriptor`) and waits to be killed.
        std::string stallBeforeReply;
        int stallDescriptor = -1;
    };

    /// Reads the command line; nullopt when it is not understood.
    static std::optional<Options> parse(const std::vector<std::string>& arguments);

    explicit RecordingServiceProgram(Options options) : options_(std::move(options)) { }

    /// Serves the connection until it ends; the program's exit status.
    int run();

    /// The service's own calls into the application: the recording stopped
    /// (with why, and the movie kept), and new information about the broadcast.
    void sendStop(const ErrorRef& error, const std::optional<std::string>& movieDevicePath);
    void sendBroadcastServiceInfo(const DictionaryRef& serviceInfo);

private:
    /// The recording going on, encoded on the capture channel's thread.
    struct Recording {
        std::unique_ptr<FrameRing> ring;
        std::unique_ptr<CapturedMovies> movies;
        std::shared_ptr<CapturedMovies::Movie> movie;
        std::string name;
    };
    /// How a recording ended: the movie's device path, or the error.
    struct Outcome {
        std::optional<std::string> movie;
        ErrorRef error;
    };

    void handle(const transport::Message& message);
    void reply(const transport::Message& request, std::vector<Value> values);
    void refuse(const transport::Message& message, const char* why);
    /// For fault tests: stops, as if hung, until the device kills the process.
    [[noreturn]] void stall() const;
    /// Hands back a copy of the canned movie (nothing was captured): its
    /// device path, or the error that kept it from being written (the
    /// folder's quota would be exceeded: -5805), or neither.
    std::pair<std::optional<std::string>, ErrorRef> copyCannedMovie();
    /// Ends the recording: the captured movie, or a copy of the canned one.
    std::pair<std::optional<std::string>, ErrorRef> finishMovie();

    // The capture channel.
    void openCaptureChannel();
    void received(const transport::Message& message);
    /// Sends a request to the device; `answered` runs on the channel's thread
    /// with the answer (null: the channel ended first). Its number, or 0.
    std::uint64_t askDevice(std::string_view selector, std::vector<Value> arguments,
        std::function<void(const std::vector<Value>*)> answered);
    std::uint64_t askDeviceLocked(std::string_view selector, std::vector<Value> arguments,
        std::function<void(const std::vector<Value>*)> answered);
    void tellDevice(std::string_view selector, std::vector<Value> arguments);
    /// Waits (bounded) until the device's answer to `number` has been handled.
    bool waitForAnswer(std::uint64_t number);
    // With `mutex_` held, on the channel's thread.
    void startRecordingLocked(const std::vector<Value>* answer);
    void addFrameLocked(const transport::Message& message);
    void addSamplesLocked(const transport::Message& message);
    /// Ends the movie: what the stop answers.
    Outcome finishRecordingLocked();
    /// The movie ran out of room: stops recording and tells the application.
    void stopForSpaceLocked();
    /// Bytes the movie being started may take under the quota (0: no limit).
    std::uint64_t roomForMovie() const;

    Options options_;
    transport::ProgramConnection link_;
    std::shared_ptr<transport::SocketConnection> capture_;
    bool recording_ = false;
    std::uint64_t moviesWritten_ = 0;
    std::string lastMovie_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<Recording> capturing_;
    std::optional<Outcome> outcome_;
    std::map<std::uint64_t, std::function<void(const std::vector<Value>*)>> waiting_;
    std::set<std::uint64_t> answered_;
    std::uint64_t requestsSent_ = 0;
    bool captureEnded_ = false;
};

} // namespace lumora::platform::host
