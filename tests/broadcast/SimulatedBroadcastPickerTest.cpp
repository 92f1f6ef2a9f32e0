#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/extensions/Extension.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "tests/harness/Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;
using ::testing::ElementsAre;

class Delegate final : public LMBroadcastActivityViewControllerDelegate::
                           BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& controller, const platform::ErrorRef& error) override
    {
        recorder.callback()(controller, error);
    }
    test::CallbackRecorder<std::shared_ptr<LMBroadcastController>, platform::ErrorRef> recorder;
};

// A broadcast service's setup extension: it completes its request as soon as
// it starts, with a URL, a configuration and setup information.
void installSetupExtension(const std::string& identifier)
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = identifier + ".upload";
    SimulatedDevice::shared().extensions().installExtension(
        identifier, attributes, [](const platform::host::ExtensionRequestSide& request) {
            auto setupInfo = std::make_shared<platform::Dictionary>();
            (*setupInfo)["channel"] = "main";
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(request.context,
                platform::URL::URLWithString("rtmp://live.example/main"), std::make_shared<LMBroadcastConfiguration>(),
                setupInfo);
            return std::make_shared<platform::ViewController>();
        });
}

std::pair<std::shared_ptr<LMBroadcastActivityViewController>, std::shared_ptr<Delegate>> showPicker()
{
    test::CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, platform::ErrorRef> loaded;
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
    EXPECT_TRUE(loaded.wait());
    auto picker = std::get<0>(loaded.call());
    // The picker keeps the load's handler, and the recorder behind that
    // handler keeps the picker: break that cycle, which only the tests make.
    picker->setDidFinishHandler(nullptr);
    auto delegate = std::make_shared<Delegate>();
    picker->setDelegate(delegate);
    return { picker, delegate };
}

TEST(SystemPicker, ChoosingAServiceRunsItsSetupAndHandsTheAppAController)
{
    installSetupExtension("com.example.caster.setup");
    auto& systemPicker = SimulatedDevice::shared().broadcastPicker();
    EXPECT_THAT(systemPicker.availableServices(), ElementsAre("com.example.caster.setup"));
    EXPECT_FALSE(systemPicker.chooseService("com.example.caster.setup")); // not shown yet

    const auto [picker, delegate] = showPicker();
    EXPECT_FALSE(systemPicker.chooseService("com.example.missing"));
    ASSERT_TRUE(systemPicker.chooseService("com.example.caster.setup"));
    ASSERT_TRUE(delegate->recorder.wait());
    const auto& [controller, error] = delegate->recorder.call();
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->broadcastExtensionBundleID(), "com.example.caster.setup.upload");
    EXPECT_EQ(controller->broadcastURL(), platform::URL::URLWithString("rtmp://live.example/main"));

    const auto setup = systemPicker.chosenSetup();
    ASSERT_TRUE(setup);
    EXPECT_EQ(setup->setupExtensionIdentifier, "com.example.caster.setup");
    ASSERT_NE(setup->setupInfo, nullptr);
    EXPECT_EQ(setup->setupInfo->stringForKey("channel"), "main");
    EXPECT_TRUE(setup->configurationArchive.has_value());
}

TEST(SystemPicker, CancellingOpensTheLaunchURLAndTellsTheAppTheUserDeclined)
{
    const auto [picker, delegate] = showPicker();
    ASSERT_TRUE(SimulatedDevice::shared().broadcastPicker().cancel(platform::URL::URLWithString("caster://later")));
    ASSERT_TRUE(delegate->recorder.wait());
    EXPECT_EQ(std::get<0>(delegate->recorder.call()), nullptr);
    EXPECT_EQ(std::get<1>(delegate->recorder.call())->code(), -5801);
    EXPECT_THAT(SimulatedDevice::shared().application().openedURLs(),
        ElementsAre(*platform::URL::URLWithString("caster://later")));
    picker->setDidFinishHandler(nullptr);
}

} // namespace
} // namespace lumora
