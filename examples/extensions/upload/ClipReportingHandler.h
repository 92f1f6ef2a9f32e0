#pragma once

#include "upload/LMBroadcastMP4ClipHandler.h"

#include <atomic>
#include <memory>

namespace lumora::sample {

/// A movie-clip upload extension: it reports each clip it receives, "uploads"
/// it (measures the file), and finishes with a configuration updated for the
/// next clip, from a background queue as a real upload would.
class ClipReportingHandler final : public LMBroadcastMP4ClipHandler {
public:
    /// `clipsUploaded` counts across the extension's requests.
    explicit ClipReportingHandler(std::shared_ptr<std::atomic<int>> clipsUploaded)
        : clipsUploaded_(std::move(clipsUploaded))
    { }

    void processMP4ClipWithURL_setupInfo_finished(const std::optional<platform::URL>& mp4ClipURL,
        const platform::DictionaryRef& setupInfo, bool finished) override;

private:
    std::shared_ptr<std::atomic<int>> clipsUploaded_;
};

} // namespace lumora::sample
