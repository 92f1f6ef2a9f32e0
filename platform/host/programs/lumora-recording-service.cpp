// The simulated device's recording service, run as a process of its own by
// `RecordingServiceProcess`: it serves the application over the socket it
// was handed, records what the device captures for it over the second, and
// ends when the application's side of it goes away.
#include "platform/foundation/Log.h"
#include "platform/host/programs/RecordingServiceProgram.h"

#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::span<char*> given(argv, static_cast<std::size_t>(argc));
    const std::vector<std::string> arguments(given.begin(), given.end());
    auto options = lumora::platform::host::RecordingServiceProgram::parse(arguments);
    if (!options) {
        (void)std::fputs("usage: lumora-recording-service --socket FD [--capture-socket FD] [--movie PATH] "
                         "[--movies-folder PATH] [--movies-device-folder PATH] [--quota BYTES] "
                         "[--hold-frame-slots 1] [--stall-before-reply SELECTOR --stall-fd FD]\n",
            stderr);
        return 2;
    }
    // A write to an application that went away is an error, not a signal.
    (void)std::signal(SIGPIPE, SIG_IGN);
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::platform::host::RecordingServiceProgram program(std::move(*options));
    return program.run();
}
