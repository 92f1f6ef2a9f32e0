#include "extensions/upload/ClipReportingHandler.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

#include <filesystem>
#include <fmt/format.h>

namespace lumora::sample {

void ClipReportingHandler::processMP4ClipWithURL_setupInfo_finished(
    const std::optional<platform::URL>& mp4ClipURL, const platform::DictionaryRef& setupInfo, bool finished)
{
    fmt::print("[clip extension] clip {}, setup info {}, last clip: {}\n",
        mp4ClipURL ? mp4ClipURL->absoluteString() : "(none)", platform::Value(setupInfo).description(),
        finished ? "yes" : "no");

    auto self = sharedFrom(this);
    platform::DispatchQueue::global(platform::DispatchQueue::Priority::Default).async([self, mp4ClipURL, finished] {
        std::error_code error;
        const auto size = mp4ClipURL ? std::filesystem::file_size(mp4ClipURL->path(), error) : 0;
        if (!mp4ClipURL || error) {
            self->finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(
                nullptr, platform::Error::errorWithDomain("com.example.clip-upload", 1));
            return;
        }
        const int uploaded = ++*self->clipsUploaded_;
        fmt::print("[clip extension] uploaded {} bytes\n", size);

        // Shorter clips once the stream runs; the last clip asks for nothing more.
        auto configuration = std::make_shared<LMBroadcastConfiguration>();
        configuration->setClipDuration(finished ? 0.0 : 4.0);
        configuration->setVideoCompressionProperties(std::make_shared<platform::Dictionary>(platform::Dictionary {
            { "AverageBitRate", platform::Value(std::int64_t { 1500000 } + std::int64_t { 500000 } * uploaded) } }));
        self->updateServiceInfo(std::make_shared<platform::Dictionary>(
            platform::Dictionary { { "clipsUploaded", platform::Value(uploaded) } }));
        self->finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, nullptr);
    });
}

} // namespace lumora::sample
