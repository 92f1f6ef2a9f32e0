#pragma once

#include "extensions/upload/RtmpPublisher.h"
#include "upload/LMBroadcastMP4ClipHandler.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::sample {

/// What the clip service's upload extension keeps across requests (one
/// handler per clip): the broadcast's RTMP session and a tally of clips.
class LiveClipUpload {
public:
    /// Sessions open with `limits`; after the first clip the extension asks
    /// for clips of `runningClipDuration` seconds (none: it keeps the length
    /// the broadcast was set up with).
    explicit LiveClipUpload(RtmpPublisher::Limits limits = {}, std::optional<double> runningClipDuration = std::nullopt)
        : limits_(limits), runningClipDuration_(runningClipDuration)
    { }

    /// The session publishing to `url`: the broadcast's own, or a new one
    /// when there is none yet, or the last one ended or went elsewhere.
    std::shared_ptr<RtmpPublisher> publisherFor(const std::string& url);
    /// Lets the broadcast's session go once it has ended.
    void forgetPublisher(const std::shared_ptr<RtmpPublisher>& publisher);
    [[nodiscard]] std::optional<double> runningClipDuration() const { return runningClipDuration_; }

    std::atomic<int> clipsReceived = 0;
    std::atomic<int> clipsPublished = 0;
    std::atomic<int> clipsFailed = 0;
    std::atomic<bool> lastClipReceived = false;

private:
    const RtmpPublisher::Limits limits_;
    const std::optional<double> runningClipDuration_;
    std::mutex mutex_;
    std::shared_ptr<RtmpPublisher> publisher_;
};

/// The sample clip service's upload extension: it publishes the broadcast
/// live to the service's ingest server, each movie clip as it arrives, over
/// one RTMP session to the URL its setup extension handed back (setup
/// information `IngestURLKey`). It tells the app how many people watch and
/// how the stream stands, may ask for other clip lengths once it runs,
/// and gives a clip up with an error when the server cannot be reached.
class LiveClipUploadHandler final : public LMBroadcastMP4ClipHandler {
public:
    /// Setup information: the stream's RTMP URL, and the server's statistics page.
    static constexpr std::string_view IngestURLKey = "ingestURL";
    static constexpr std::string_view StatisticsURLKey = "statisticsURL";
    /// Service information: the stream's state ("live", "reconnecting",
    /// "failed", "ended"), the number of viewers (when the server says) and
    /// the clips published so far.
    static constexpr std::string_view StreamStateKey = "streamState";
    static constexpr std::string_view ViewersKey = "viewers";
    static constexpr std::string_view ClipsUploadedKey = "clipsUploaded";
    /// The domain of the errors a clip is given up with.
    static constexpr std::string_view ErrorDomain = "com.example.clipcaster";

    explicit LiveClipUploadHandler(std::shared_ptr<LiveClipUpload> upload) : upload_(std::move(upload)) { }

    void processMP4ClipWithURL_setupInfo_finished(const std::optional<platform::URL>& mp4ClipURL,
        const platform::DictionaryRef& setupInfo, bool finished) override;

private:
    std::shared_ptr<LiveClipUpload> upload_;
};

} // namespace lumora::sample
