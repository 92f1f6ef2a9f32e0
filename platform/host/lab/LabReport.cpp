#include "platform/host/lab/LabReport.h"

#include "platform/host/device/ChildProcess.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace lumora::platform::host {

namespace {

std::string quoted(std::string_view text)
{
    std::string out = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        switch (character) {
        case '"':
            out += "\\\"";
            break;
        case '\\':
            out += "\\\\";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\t':
            out += "\\t";
            break;
        default:
            if (byte < 0x20U) {
                out += fmt::format("\\u{:04x}", byte);
            } else {
                out += character;
            }
        }
    }
    return out + "\"";
}

std::string number(double value)
{
    return std::isfinite(value) ? fmt::format("{:.3f}", value) : "null";
}

// A value as JSON; what JSON has no word for (data, dates, objects) as its description.
// Service information is nested at most as deep as the decoders allow, so the recursion is bounded.
std::string jsonOf(const Value& value) // NOLINT(misc-no-recursion)
{
    if (value.isNull()) {
        return "null";
    }
    if (value.isBool()) {
        return value.boolValue() ? "true" : "false";
    }
    if (value.isInteger()) {
        return std::to_string(value.int64Value());
    }
    if (value.isReal()) {
        return number(value.doubleValue());
    }
    if (const auto* string = value.string()) {
        return quoted(*string);
    }
    if (const auto array = value.array()) {
        std::string out = "[";
        for (const auto& element : *array) {
            out += (out.size() > 1 ? "," : "") + jsonOf(element);
        }
        return out + "]";
    }
    if (const auto dictionary = value.dictionary()) {
        std::string out = "{";
        for (const auto& [key, element] : *dictionary) {
            out += (out.size() > 1 ? "," : "") + quoted(key) + ":" + jsonOf(element);
        }
        return out + "}";
    }
    return quoted(value.description());
}

} // namespace

std::string_view LabReport::faultName(FaultKind fault)
{
    switch (fault) {
    case FaultKind::CrossedCeiling:
        return "crossed memory ceiling";
    case FaultKind::Crashed:
        return "crashed";
    case FaultKind::Hung:
        return "hung";
    case FaultKind::Malformed:
        return "malformed reply";
    case FaultKind::FailedRequest:
        return "failed request";
    case FaultKind::CancelledClip:
        return "cancelled clip";
    }
    return "fault";
}

int LabReport::exitStatus() const
{
    if (!couldNotRun.empty()) {
        return CouldNotRun;
    }
    const auto has = [this](FaultKind wanted) {
        return std::any_of(faults.begin(), faults.end(), [wanted](const Fault& fault) { return fault.kind == wanted; });
    };
    if (has(FaultKind::CrossedCeiling)) {
        return CrossedCeiling;
    }
    if (has(FaultKind::Crashed)) {
        return Crashed;
    }
    if (has(FaultKind::Hung)) {
        return Hung;
    }
    return faults.empty() && !endedEarly ? RanThrough : EndedEarly;
}

double LabReport::latencyPercentile(double fraction) const
{
    if (latencies.empty()) {
        return 0;
    }
    auto sorted = latencies;
    std::sort(sorted.begin(), sorted.end());
    // The nearest rank: the smallest latency that at least `fraction` of the requests do not exceed.
    const auto rank = static_cast<std::size_t>(std::ceil(fraction * static_cast<double>(sorted.size())));
    return sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1];
}

std::string LabReport::text() const
{
    std::string out = fmt::format("lumora-lab: {} ({})\n", bundle, kind);
    if (!couldNotRun.empty()) {
        return out + fmt::format("  could not run: {}\n  exit status {}\n", couldNotRun, exitStatus());
    }
    out += fmt::format("  live time          {:.1f} s of {:.1f} s{}\n", liveSeconds, duration,
        endedEarly ? " (the broadcast ended early)" : "");
    out += fmt::format("  requests           {} ended\n", requests);
    out += fmt::format("  payloads           {} application audio, {} microphone audio, {} action{}, {} clip{}\n",
        applicationAudioPayloads, microphoneAudioPayloads, actions, actions == 1 ? "" : "s", clips,
        clips == 1 ? "" : "s");
    out += fmt::format("  latency (ms)       p50 {:.2f}  p90 {:.2f}  p99 {:.2f}  max {:.2f}\n", latencyPercentile(0.5),
        latencyPercentile(0.9), latencyPercentile(0.99), latencyPercentile(1.0));
    out += fmt::format("  peak memory        {} of its {} ceiling ({:.0f} %), {} launch{}\n",
        ChildProcess::megabytes(peakMemory), ChildProcess::megabytes(memoryCeiling),
        memoryCeiling == 0 ? 0.0 : 100.0 * static_cast<double>(peakMemory) / static_cast<double>(memoryCeiling),
        launches, launches == 1 ? "" : "es");
    out += fmt::format("  its own memory     {} at most (without the cache of files it wrote)\n",
        ChildProcess::megabytes(peakResidentMemory));
    out += fmt::format("  service info       {} update{}", serviceInfo.size(), serviceInfo.size() == 1 ? "" : "s");
    if (!serviceInfo.empty()) {
        out += fmt::format(", last {}", jsonOf(Value(serviceInfo.back())));
    }
    out += "\n";
    if (faults.empty()) {
        out += "  faults             none\n";
    }
    for (const auto& fault : faults) {
        out += fmt::format("  fault              {} at {:.1f} s: {}\n", faultName(fault.kind), fault.at, fault.detail);
    }
    if (endedEarly) {
        out += fmt::format("  stopped with       {}\n", stopError.empty() ? "no error" : stopError);
    }
    return out + fmt::format("  exit status {}\n", exitStatus());
}

std::string LabReport::json() const
{
    std::string out = "{";
    out += fmt::format(R"("bundle":{},"kind":{},"exitStatus":{})", quoted(bundle), quoted(kind), exitStatus());
    if (!couldNotRun.empty()) {
        out += fmt::format(R"(,"couldNotRun":{})", quoted(couldNotRun));
    }
    out += fmt::format(R"(,"duration":{},"liveSeconds":{},"endedEarly":{})", number(duration), number(liveSeconds),
        endedEarly ? "true" : "false");
    if (endedEarly) {
        out += fmt::format(R"(,"stopError":{})", quoted(stopError));
    }
    out += fmt::format(R"(,"requests":{},"payloads":{{"applicationAudio":{},"microphoneAudio":{},"actions":{}}})"
                       R"(,"clips":{})",
        requests, applicationAudioPayloads, microphoneAudioPayloads, actions, clips);
    out += fmt::format(R"(,"latencyMilliseconds":{{"p50":{},"p90":{},"p99":{},"max":{}}})",
        number(latencyPercentile(0.5)), number(latencyPercentile(0.9)), number(latencyPercentile(0.99)),
        number(latencyPercentile(1.0)));
    out += fmt::format(R"(,"memory":{{"peakBytes":{},"peakResidentBytes":{},"ceilingBytes":{},"launches":{}}})",
        peakMemory, peakResidentMemory, memoryCeiling, launches);
    out += R"(,"serviceInfo":[)";
    for (std::size_t index = 0; index < serviceInfo.size(); ++index) {
        out += (index > 0 ? "," : "") + jsonOf(Value(serviceInfo[index]));
    }
    out += R"(],"faults":[)";
    for (std::size_t index = 0; index < faults.size(); ++index) {
        out += fmt::format(R"({}{{"kind":{},"at":{},"detail":{}}})", index > 0 ? "," : "",
            quoted(faultName(faults[index].kind)), number(faults[index].at), quoted(faults[index].detail));
    }
    return out + "]}\n";
}

} // namespace lumora::platform::host
