#include "extensions/upload/LiveClipUploadHandler.h"

#include "extensions/upload/IngestStatistics.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Value.h"
#include "platform/system/FileManager.h"

#include <fmt/format.h>

namespace lumora::sample {

namespace {

// The statistics page answers at once or not at all: a clip is not held up for it.
constexpr auto kStatisticsTimeout = std::chrono::milliseconds(500);

std::string_view stateName(RtmpPublisher::State state)
{
    switch (state) {
    case RtmpPublisher::State::Idle:
        return "idle";
    case RtmpPublisher::State::Live:
        return "live";
    case RtmpPublisher::State::Reconnecting:
        return "reconnecting";
    case RtmpPublisher::State::Failed:
        return "failed";
    case RtmpPublisher::State::Ended:
        return "ended";
    }
    return "idle";
}

} // namespace

std::shared_ptr<RtmpPublisher> LiveClipUpload::publisherFor(const std::string& url)
{
    std::lock_guard lock(mutex_);
    if (!publisher_ || publisher_->url() != url || publisher_->state() == RtmpPublisher::State::Ended) {
        publisher_ = std::make_shared<RtmpPublisher>(url, limits_);
    }
    return publisher_;
}

void LiveClipUpload::forgetPublisher(const std::shared_ptr<RtmpPublisher>& publisher)
{
    std::lock_guard lock(mutex_);
    if (publisher_ == publisher) {
        publisher_.reset();
    }
}

void LiveClipUploadHandler::processMP4ClipWithURL_setupInfo_finished(
    const std::optional<platform::URL>& mp4ClipURL, const platform::DictionaryRef& setupInfo, bool finished)
{
    const int clip = ++upload_->clipsReceived;
    const auto ingestURL = setupInfo ? setupInfo->stringForKey(IngestURLKey).value_or("") : std::string();
    const auto publisher = upload_->publisherFor(ingestURL);
    const auto movie
        = mp4ClipURL ? platform::FileManager::defaultManager()->contentsAtPath(mp4ClipURL->path()) : std::nullopt;
    auto failure = movie ? publisher->publishClip(*movie) : std::optional<std::string>("the clip cannot be read");
    if (finished) {
        publisher->end();
        upload_->forgetPublisher(publisher);
        upload_->lastClipReceived = true;
    }
    if (failure) {
        ++upload_->clipsFailed;
        platform::Log::error("Clip upload: clip %i was not published: %s", clip, *failure);
        fmt::print("   [clip extension] clip {} not published: {}\n", clip, *failure);
        finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(nullptr,
            platform::Error::errorWithDomain(std::string(ErrorDomain), 1,
                std::make_shared<const platform::Dictionary>(platform::Dictionary {
                    { std::string(platform::Error::LocalizedDescriptionKey), platform::Value(*failure) } })));
        return;
    }
    const int published = ++upload_->clipsPublished;
    fmt::print("   [clip extension] clip {} published to {}: the stream is {:.1f} s long{}\n", clip, ingestURL,
        publisher->publishedSeconds(), finished ? ", and ends" : "");

    platform::Dictionary info { { std::string(StreamStateKey),
                                    platform::Value(std::string(stateName(publisher->state()))) },
        { std::string(ClipsUploadedKey), platform::Value(std::int64_t { published }) } };
    const auto statistics = setupInfo ? setupInfo->stringForKey(StatisticsURLKey) : std::nullopt;
    const auto key = ingestURL.substr(ingestURL.rfind('/') + 1);
    if (const auto viewers
        = statistics ? IngestStatistics::viewersOfStream(*statistics, key, kStatisticsTimeout) : std::nullopt) {
        info.emplace(ViewersKey, platform::Value(std::int64_t { *viewers }));
    }
    updateServiceInfo(std::make_shared<const platform::Dictionary>(std::move(info)));
    // Another clip length once the broadcast runs; the last clip asks for nothing more.
    std::shared_ptr<LMBroadcastConfiguration> configuration;
    if (const auto duration = upload_->runningClipDuration(); duration && !finished) {
        configuration = std::make_shared<LMBroadcastConfiguration>();
        configuration->setClipDuration(*duration);
    }
    finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, nullptr);
}

} // namespace lumora::sample
