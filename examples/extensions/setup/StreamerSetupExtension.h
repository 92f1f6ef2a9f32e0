#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/ui/ViewController.h"

#include <memory>
#include <string>

namespace lumora::sample {

/// Where a broadcast service takes its broadcasts, as its setup tells them.
struct StreamerIngest {
    /// The stream's RTMP URL: the broadcast URL, also handed to the upload
    /// extension in the setup information.
    std::string streamURL = "rtmp://live.streamer.example/live/lumora-sample";
    /// The ingest server's statistics page (empty: none).
    std::string statisticsURL;
    /// The clip length the broadcast is set up with, in seconds.
    double clipDuration = 4.0;
};

/// A broadcast service's setup extension: it reads which application is
/// about to broadcast, then finishes the setup with the broadcast's URL, a
/// configuration and setup information of its own, which tell the upload
/// extension where to send the broadcast. Returns the view controller it
/// shows while it works.
std::shared_ptr<platform::ViewController> startStreamerSetup(
    const std::shared_ptr<platform::ExtensionContext>& context, const StreamerIngest& ingest = {});

} // namespace lumora::sample
