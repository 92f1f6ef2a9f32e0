#include "extensions/setup/StreamerSetupExtension.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "extensions/upload/LiveClipUploadHandler.h"
#include "platform/system/Bundle.h"

#include <fmt/format.h>

namespace lumora::sample {

std::shared_ptr<platform::ViewController> startStreamerSetup(
    const std::shared_ptr<platform::ExtensionContext>& context, const StreamerIngest& ingest)
{
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(context,
        [context, ingest](
            const platform::Value& /*first*/, const platform::Value& /*second*/, const platform::Value& third) {
            // The host's details arrive as the third value.
            const auto hostInfo = third.dictionary();
            const auto hostBundleID = hostInfo
                ? hostInfo->stringForKey(LMBroadcastExtensionKeyExtensionHostInfoBundleID).value_or("?")
                : std::string("?");
            const auto self = platform::Bundle::mainBundle();
            fmt::print("   [setup extension {}] setting up a broadcast for {}\n",
                self ? self->bundleIdentifier().value_or("?") : "?", hostBundleID);

            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            configuration->setClipDuration(ingest.clipDuration);
            configuration->setVideoCompressionProperties(std::make_shared<const platform::Dictionary>(
                platform::Dictionary { { "AverageBitRate", platform::Value(std::int64_t { 2'500'000 }) } }));
            platform::Dictionary setupInfo { { "channel", platform::Value("lumora-sample") },
                { "host", platform::Value(hostBundleID) },
                { std::string(LiveClipUploadHandler::IngestURLKey), platform::Value(ingest.streamURL) } };
            if (!ingest.statisticsURL.empty()) {
                setupInfo.emplace(LiveClipUploadHandler::StatisticsURLKey, platform::Value(ingest.statisticsURL));
            }
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(context,
                platform::URL::URLWithString(ingest.streamURL), configuration,
                std::make_shared<const platform::Dictionary>(std::move(setupInfo)));
        });
    return std::make_shared<platform::ViewController>();
}

} // namespace lumora::sample
