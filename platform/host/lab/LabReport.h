#pragma once

#include "platform/foundation/Value.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// What a run of the lab came to: what the extension was handed and
/// answered, how fast, how much memory it took, and every fault. It reads as
/// text for a person and as JSON for a script, and gives the lab's exit status.
class LabReport {
public:
    /// The lab's exit statuses.
    enum ExitStatus : int {
        RanThrough = 0,
        EndedEarly = 1,
        UsageError = 2,
        Crashed = 3,
        Hung = 4,
        CrossedCeiling = 5,
        CouldNotRun = 6,
    };
    /// What went wrong, in the order of the exit status it gives.
    enum class FaultKind : std::uint8_t { CrossedCeiling, Crashed, Hung, Malformed, FailedRequest, CancelledClip };
    struct Fault {
        FaultKind kind = FaultKind::FailedRequest;
        /// Seconds of device time since the broadcast went live.
        double at = 0;
        std::string detail;
    };

    std::string bundle;
    std::string kind;
    /// Seconds of live time asked for and run.
    double duration = 0;
    double liveSeconds = 0;
    /// Requests handed to the extension and ended, by what they carried.
    std::int64_t requests = 0;
    std::int64_t applicationAudioPayloads = 0;
    std::int64_t microphoneAudioPayloads = 0;
    std::int64_t actions = 0;
    std::int64_t clips = 0;
    /// Milliseconds from handing each request over to its end, in order.
    std::vector<double> latencies;
    /// The extension's peak memory and its ceiling, in bytes.
    std::size_t peakMemory = 0;
    std::size_t memoryCeiling = 0;
    /// How many times its process was started.
    std::size_t launches = 0;
    std::vector<DictionaryRef> serviceInfo;
    std::vector<Fault> faults;
    /// Whether the broadcast ended before the lab finished it, and what the application heard.
    bool endedEarly = false;
    std::string stopError;
    /// Why the lab could not run the extension at all; empty when it could.
    std::string couldNotRun;

    [[nodiscard]] int exitStatus() const;
    /// The latency below which `fraction` (0...1) of the requests ended, in milliseconds.
    [[nodiscard]] double latencyPercentile(double fraction) const;
    [[nodiscard]] std::string text() const;
    [[nodiscard]] std::string json() const;
    [[nodiscard]] static std::string_view faultName(FaultKind fault);
};

} // namespace lumora::platform::host
