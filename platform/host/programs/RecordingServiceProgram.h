#pragma once

#include "platform/foundation/Error.h"
#include "platform/host/transport/Message.h"
#include "platform/host/transport/ProgramConnection.h"
#include "platform/host/transport/SocketConnection.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lumora::platform::host {

/// The recording service's side of its connection to the application, as
/// the program `lumora-recording-service` runs it: it answers the requests of
/// the recorder's message set and hears its one-way messages. A start is
/// granted what it asked for; a stop completes a movie in the service's
/// folder and answers with its device URL.
///
/// Everything the application sends is checked: an unknown operation or
/// arguments of the wrong types are logged and end the connection, and with
/// it the program.
class RecordingServiceProgram {
public:
    struct Options {
        int socket = -1;
        /// The movie a stop hands back a copy of (a host path).
        std::string movie;
        /// The service's movie folder: its host path and its device path.
        std::string moviesFolder;
        std::string moviesDeviceFolder;
        /// Bytes the movie folder may hold; nullopt: no limit but the disk's.
        std::optional<std::uint64_t> quota;
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

private:
    void handle(const transport::Message& message);
    void reply(const transport::Message& request, std::vector<Value> values);
    void refuse(const transport::Message& message, const char* why);
    /// Completes the recording's movie in the service's folder: its device
    /// path, or the error that kept it from being written (the folder's
    /// quota would be exceeded: -5805), or neither when it could not be written.
    std::pair<std::optional<std::string>, ErrorRef> finishMovie();

    Options options_;
    transport::ProgramConnection link_;
    bool recording_ = false;
    std::uint64_t moviesWritten_ = 0;
    std::string lastMovie_;
};

} // namespace lumora::platform::host
