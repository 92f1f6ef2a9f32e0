// The lab: runs a broadcast service's upload extension through a live
// broadcast on the simulated device, headless, and reports how it fared
// (LabRun). Its exit status tells a script whether the extension held up.
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/lab/LabOptions.h"
#include "platform/host/lab/LabRun.h"
#include "recording/LMExtensions.h"

#include <fmt/format.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using lumora::platform::host::LabOptions;
using lumora::platform::host::LabReport;
using lumora::platform::host::LabRun;

constexpr int kBarWidth = 40;

// The folder this program lives in: an installed lab finds the device's
// programs and the framework's bundle beside it.
std::filesystem::path programFolder()
{
    std::error_code error;
    return std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
}

std::string frameworkBundle(const std::filesystem::path& folder)
{
    std::error_code error;
    const auto installed = folder / ".." / "share" / "lumora" / "Lumora.framework";
    return std::filesystem::is_directory(installed, error) ? installed.lexically_normal().string()
                                                           : std::string(LUMORA_FRAMEWORK_BUNDLE_DIR);
}

void drawProgress(double done)
{
    // Drawn again only when it changes, so a pipe is not flooded.
    static int shown = -1;
    const auto percent = static_cast<int>(std::lround(done * 100));
    if (percent == shown) {
        return;
    }
    shown = percent;
    const auto filled = static_cast<int>(std::lround(done * kBarWidth));
    fmt::print(stderr, "\r[{}{}] {:3} %", std::string(static_cast<std::size_t>(filled), '#'),
        std::string(static_cast<std::size_t>(kBarWidth - filled), '.'), percent);
    (void)std::fflush(stderr);
}

} // namespace

int main(int argc, char** argv)
{
    const std::span<char*> given(argv, static_cast<std::size_t>(argc));
    const std::vector<std::string> arguments(given.begin() + 1, given.end());
    std::string error;
    const auto options = LabOptions::parse(arguments, error);
    if (!options) {
        fmt::print(stderr, "lumora-lab: {}\n\n{}", error, LabOptions::usage());
        return LabReport::UsageError;
    }
    if (options->help) {
        (void)std::fputs(LabOptions::usage().c_str(), stdout);
        return LabReport::RanThrough;
    }
    // A write to a process that went away is an error, not a signal.
    (void)std::signal(SIGPIPE, SIG_IGN);
    const bool progress = options->progress || ::isatty(STDERR_FILENO) == 1;
    using lumora::platform::Log;
    Log::setEchoToStandardError(options->verbose);
    // Without --verbose, only what the device says of the extension: its
    // failures and the ends of its process (with its peak memory).
    const auto logged = options->verbose ? nullptr : Log::addObserver([progress](const Log::Entry& entry) {
        if (entry.text.starts_with("Extension host:") || entry.text.starts_with("Recording service:")) {
            fmt::print(stderr, "{}{}\n", progress ? "\r\x1b[K" : "", entry.text);
        }
    });

    const auto folder = programFolder();
    auto& device = lumora::platform::host::SimulatedDevice::shared();
    device.mountDirectory(std::string(lumora::LMExtensions::FrameworkBundlePath), frameworkBundle(folder));

    LabRun run(*options);
    std::error_code missing;
    if (const auto host = folder / "lumora-extension-host"; std::filesystem::is_regular_file(host, missing)) {
        run.setExtensionHostProgram(host.string());
    }
    if (progress) {
        run.setProgressHandler(drawProgress);
    }
    const auto report = run.run();
    if (progress) {
        (void)std::fputs("\n", stderr);
    }

    // With the JSON on standard output, the text goes to standard error.
    const bool jsonOnStandardOutput = options->jsonPath == "-";
    (void)std::fputs(report.text().c_str(), jsonOnStandardOutput ? stderr : stdout);
    if (jsonOnStandardOutput) {
        (void)std::fputs(report.json().c_str(), stdout);
    } else if (!options->jsonPath.empty()) {
        std::ofstream json(options->jsonPath, std::ios::trunc);
        json << report.json();
        if (!json.flush()) {
            fmt::print(stderr, "lumora-lab: cannot write {}\n", options->jsonPath);
        }
    }
    (void)std::fflush(stdout);
    return report.exitStatus();
}
