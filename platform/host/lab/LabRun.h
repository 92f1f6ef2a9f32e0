#pragma once

#include "platform/host/lab/LabOptions.h"
#include "platform/host/lab/LabReport.h"

#include <functional>
#include <string>

namespace lumora::platform::host {

/// One run of the lab: installs a broadcast service whose upload extension
/// is the bundle the options name, run in a process of its own under its
/// memory ceiling; goes live through the picker; lets the broadcast's live
/// time pass on the device clock (pausing and resuming as asked) while the
/// screen shows the chosen picture and the audio payloads carry the chosen
/// sounds; finishes it; and reports what the extension was handed and how
/// it fared (`LabReport`).
///
/// Call `run` on the main thread of a process whose simulated device has the
/// framework's bundle mounted; it holds the device clock. It returns early
/// when the broadcast ends without being asked to (the extension failed).
class LabRun {
public:
    /// The identifiers the lab installs the service under.
    static constexpr std::string_view SetupExtension = "com.lumora.lab.setup";
    static constexpr std::string_view UploadExtension = "com.lumora.lab.upload";
    /// Where the lab's setup extension sends the broadcast.
    static constexpr std::string_view BroadcastURL = "rtmp://127.0.0.1/live/lab";

    explicit LabRun(LabOptions options);

    /// The extension host program to start (by default the device's own).
    void setExtensionHostProgram(std::string program);
    /// Hears the share of the run done so far (0...1) after each step, on the main thread.
    void setProgressHandler(std::function<void(double done)> handler);

    /// Runs the broadcast and reports on it.
    LabReport run();

private:
    LabOptions options_;
    std::string extensionHostProgram_;
    std::function<void(double)> progress_;
};

} // namespace lumora::platform::host
