// A live broadcast with every extension of the service in a process of its
// own: the sample's setup extension, run inside the picker, and the upload
// extension the broadcast's payloads go to.
#include "broadcast/LMBroadcastController.h"
#include "platform/extensions/Extension.h"
#include "platform/host/lab/BroadcastSession.h"
#include "platform/host/services/ExtensionHostProcess.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "recording/LMDaemonProxy.h"
#include "tests/recording/RecorderFixture.h"

#include <gtest/gtest.h>

namespace lumora::test {
namespace {

using platform::host::BroadcastSession;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedRecordingService;

constexpr const char* kSetupExtension = "com.lumora.sample.streamer.setup";
constexpr const char* kUploadExtension = "com.example.faulty.upload";

std::string bundle(const char* name)
{
    return std::string(LUMORA_TEST_EXTENSIONS_DIR) + "/" + name + ".appex";
}

class OutOfProcessLiveBroadcastTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        LMDaemonProxy::daemonProxy()->setConnection(service().clientConnection());
    }
    void TearDown() override
    {
        RecorderTest::TearDown();
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        prepareDevice();
    }
};

TEST_F(OutOfProcessLiveBroadcastTest, SetupAndUploadExtensionsEachInTheirOwnProcessCarryABroadcastToItsFinish)
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
        = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
    (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
    device().extensions().installExtension(kSetupExtension, attributes, nullptr);
    platform::host::ExtensionViewProcess::Settings setup;
    setup.bundlePath = bundle("SampleSetup");
    setup.program = LUMORA_EXTENSION_HOST_PROGRAM;
    ASSERT_TRUE(device().extensions().runOutOfProcess(kSetupExtension, setup));
    const auto upload = service().installUploadExtensionOutOfProcess(
        kUploadExtension, SimulatedRecordingService::UploadKind::SampleBuffer, bundle("Steady"));

    const auto session = BroadcastSession::make();
    ASSERT_EQ(session->goLive(kSetupExtension), nullptr);
    // The setup's information, made in its process, reached the service.
    const auto chosen = device().broadcastPicker().chosenSetup();
    ASSERT_TRUE(chosen && chosen->setupInfo);
    EXPECT_EQ(chosen->setupInfo->stringForKey("ingestURL"), "rtmp://live.streamer.example/live/lumora-sample");
    EXPECT_EQ(session->controller()->broadcastURL(),
        platform::URL::URLWithString("rtmp://live.streamer.example/live/lumora-sample"));

    session->run(0.5);
    EXPECT_EQ(session->finish(), nullptr);
    ASSERT_TRUE(session->waitForDeliveries());
    EXPECT_FALSE(session->serviceInfo().empty());
    EXPECT_FALSE(session->stoppedBySystem());
    EXPECT_EQ(upload->launches(), 1U);
}

} // namespace
} // namespace lumora::test
