#include "extensions/upload/LiveClipUploadHandler.h"

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/system/FileManager.h"

#include <filesystem>
#include <fmt/format.h>

namespace lumora::sample {

void LiveClipUploadHandler::processMP4ClipWithURL_setupInfo_finished(
    const std::optional<platform::URL>& mp4ClipURL, const platform::DictionaryRef& setupInfo, bool finished)
{
    const auto attributes = mp4ClipURL
        ? platform::FileManager::defaultManager()->attributesOfItemAtPath_error(mp4ClipURL->path(), nullptr)
        : nullptr;
    if (!attributes) {
        fmt::print(
            "   [clip extension] a clip it cannot read: {}\n", mp4ClipURL ? mp4ClipURL->absoluteString() : "(no URL)");
        finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(
            nullptr, platform::Error::errorWithDomain("com.example.clipcaster", 1));
        return;
    }
    const int clip = ++upload_->clipsReceived;
    fmt::print("   [clip extension] clip {}: {}, {} bytes, channel {}, last: {}\n", clip,
        std::filesystem::path(mp4ClipURL->path()).filename().string(),
        attributes->valueForKey(platform::FileManager::FileSizeKey).int64Value(),
        setupInfo ? setupInfo->stringForKey("channel").value_or("(none)") : "(none)", finished ? "yes" : "no");
    if (finished) {
        upload_->lastClipReceived = true;
    }

    updateServiceInfo(std::make_shared<const platform::Dictionary>(
        platform::Dictionary { { "clipsUploaded", platform::Value(std::int64_t { clip }) } }));
    // Shorter clips once the broadcast runs; the last clip asks for nothing more.
    std::shared_ptr<LMBroadcastConfiguration> configuration;
    if (!finished) {
        configuration = std::make_shared<LMBroadcastConfiguration>();
        configuration->setClipDuration(RunningClipDuration);
    }
    finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(configuration, nullptr);
}

} // namespace lumora::sample
