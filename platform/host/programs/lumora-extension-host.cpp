// The simulated device's extension host, started by `ExtensionHostProcess`:
// it runs one extension from its bundle in a process of its own, serving the
// requests of the host that started it, and ends when that host goes away.
#include "platform/foundation/Log.h"
#include "platform/host/programs/ExtensionHostProgram.h"

#include <csignal>
#include <cstdio>
#include <span>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const std::span<char*> given(argv, static_cast<std::size_t>(argc));
    const std::vector<std::string> arguments(given.begin(), given.end());
    auto options = lumora::platform::host::ExtensionHostProgram::parse(arguments);
    if (!options) {
        (void)std::fputs("usage: lumora-extension-host --socket FD [--bundle PATH] [--files-folder PATH]\n", stderr);
        return 2;
    }
    // A write to a host that went away is an error, not a signal.
    (void)std::signal(SIGPIPE, SIG_IGN);
    lumora::platform::Log::setEchoToStandardError(true);
    lumora::platform::host::ExtensionHostProgram program(std::move(*options));
    return program.run();
}
