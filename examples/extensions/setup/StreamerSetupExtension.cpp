#include "extensions/setup/StreamerSetupExtension.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/system/Bundle.h"

#include <fmt/format.h>

namespace lumora::sample {

std::shared_ptr<platform::ViewController> startStreamerSetup(const std::shared_ptr<platform::ExtensionContext>& context)
{
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(context,
        [context](const platform::Value& /*first*/, const platform::Value& /*second*/, const platform::Value& third) {
            // The host's details arrive as the third value.
            const auto hostInfo = third.dictionary();
            const auto hostBundleID = hostInfo
                ? hostInfo->stringForKey(LMBroadcastExtensionKeyExtensionHostInfoBundleID).value_or("?")
                : std::string("?");
            const auto self = platform::Bundle::mainBundle();
            fmt::print("   [setup extension {}] setting up a broadcast for {}\n",
                self ? self->bundleIdentifier().value_or("?") : "?", hostBundleID);

            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            configuration->setClipDuration(4.0);
            configuration->setVideoCompressionProperties(std::make_shared<const platform::Dictionary>(
                platform::Dictionary { { "AverageBitRate", platform::Value(std::int64_t { 2'500'000 }) } }));
            const auto setupInfo = std::make_shared<const platform::Dictionary>(platform::Dictionary {
                { "channel", platform::Value("lumora-sample") }, { "host", platform::Value(hostBundleID) } });
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(context,
                platform::URL::URLWithString("rtmp://live.streamer.example/lumora-sample"), configuration, setupInfo);
        });
    return std::make_shared<platform::ViewController>();
}

} // namespace lumora::sample
