// Runs the sample streaming service's ingest server on its own, for a person
// who wants to publish to it or watch it: it prints the stream URL and the
// statistics page, and stops the server (and its workers) on Ctrl-C.

#include "platform/foundation/Log.h"
#include "platform/host/services/IngestServer.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <string>

int main(int argc, char** argv)
{
    const std::string folder = argc > 1 ? argv[1] : LUMORA_INGEST_DIR;
    const std::string key = argc > 2 ? argv[2] : "lumora-sample";
    lumora::platform::Log::setEchoToStandardError(true);
    // The signals that end the server are waited for here, not delivered.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    const auto server = lumora::platform::host::IngestServer::start(folder);
    if (!server) {
        return 1;
    }
    fmt::print("The ingest server runs (configuration and log in {}).\n", server->folder());
    fmt::print("  publish or play: {}\n", server->streamURL(key));
    fmt::print("  watch:           ffplay {}\n", server->streamURL(key));
    fmt::print("  statistics:      {}\n", server->statisticsURL());
    fmt::print("Ctrl-C stops it.\n");
    std::fflush(stdout);
    int received = 0;
    sigwait(&signals, &received);
    fmt::print("Stopping the ingest server.\n");
    return 0;
}
