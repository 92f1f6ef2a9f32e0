// A broadcast service's setup extension for the out-of-process tests. It
// reads the application's details and completes with a URL, a configuration
// and setup information naming the application, unless its bundle's fault
// (ViewExtensionFaults.h) strikes first: in its factory (throw, hang) or
// once the application's details have arrived (crash, leak, malformed,
// wait).
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/ui/ViewController.h"
#include "tests/outofprocess/extensions/ViewExtensionFaults.h"

#include <stdexcept>

namespace {

using namespace lumora;
namespace faults = lumora::test::faults;

std::shared_ptr<platform::ViewController> startSetup(const platform::host::ExtensionRequestSide& request)
{
    if (faults::is("throw")) {
        throw std::runtime_error("the setup extension gave up");
    }
    if (faults::is("hang")) {
        faults::hangForever();
    }
    const auto context = request.context;
    LMBroadcastExtension::loadBroadcastingApplicationInfoWithCompletion(context,
        [context, identifier = request.requestIdentifier](
            const platform::Value& /*first*/, const platform::Value& /*second*/, const platform::Value& third) {
            if (faults::is("crash")) {
                std::abort();
            } else if (faults::is("leak")) {
                faults::leakForever();
            } else if (faults::is("malformed")) {
                faults::endWithMalformedItems(identifier);
                faults::hangForever();
            } else if (faults::is("wait")) {
                return;
            }
            const auto hostInfo = third.dictionary();
            auto setupInfo = std::make_shared<platform::Dictionary>();
            (*setupInfo)["channel"] = "main";
            (*setupInfo)["host"] = hostInfo
                ? hostInfo->stringForKey(LMBroadcastExtensionKeyExtensionHostInfoBundleID).value_or("?")
                : std::string("?");
            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            configuration->setClipDuration(3.0);
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(
                context, platform::URL::URLWithString("rtmp://live.example/main"), configuration, setupInfo);
        });
    return std::make_shared<platform::ViewController>();
}

} // namespace

LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY(startSetup)
