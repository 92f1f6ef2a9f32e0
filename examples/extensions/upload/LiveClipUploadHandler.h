#pragma once

#include "upload/LMBroadcastMP4ClipHandler.h"

#include <atomic>
#include <memory>

namespace lumora::sample {

/// What the clip service's upload extension keeps across requests (one
/// handler per clip).
struct LiveClipUpload {
    std::atomic<int> clipsReceived = 0;
    std::atomic<bool> lastClipReceived = false;
};

/// The sample clip service's upload extension: it lists each movie clip it
/// receives (its file and size), asks for shorter clips once the broadcast
/// runs, and tells the service how many clips it has uploaded.
class LiveClipUploadHandler final : public LMBroadcastMP4ClipHandler {
public:
    /// The clip length the extension asks for after the first clip, in seconds.
    static constexpr double RunningClipDuration = 2.0;

    explicit LiveClipUploadHandler(std::shared_ptr<LiveClipUpload> upload) : upload_(std::move(upload)) { }

    void processMP4ClipWithURL_setupInfo_finished(const std::optional<platform::URL>& mp4ClipURL,
        const platform::DictionaryRef& setupInfo, bool finished) override;

private:
    std::shared_ptr<LiveClipUpload> upload_;
};

} // namespace lumora::sample
