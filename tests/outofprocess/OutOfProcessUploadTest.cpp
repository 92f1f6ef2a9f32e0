// Upload extensions run in processes of their own: a live broadcast through
// one, and each way such a process can fail during a broadcast.
#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/extensions/Extension.h"
#include "platform/host/device/ChildProcess.h"
#include "platform/host/lab/BroadcastSession.h"
#include "platform/host/services/ExtensionHostSpares.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/system/TemporaryFolder.h"
#include "platform/ui/ViewController.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LumoraErrors.h"
#include "tests/recording/RecorderFixture.h"
#include "tests/upload/UploadTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <unistd.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::host::BroadcastSession;
using platform::host::ChildProcess;
using platform::host::ExtensionHostProcess;
using platform::host::ExtensionHostSpares;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedRecordingService;
using platform::host::TemporaryFolder;

constexpr const char* kSetupExtension = "com.example.faulty.setup";
constexpr const char* kUploadExtension = "com.example.faulty.upload";

bool logged(const LogCapture& log, std::string_view part)
{
    const auto texts = log.texts();
    return std::any_of(
        texts.begin(), texts.end(), [part](const std::string& text) { return text.find(part) != std::string::npos; });
}

std::string bundle(const char* name)
{
    return std::string(LUMORA_TEST_EXTENSIONS_DIR) + "/" + name + ".appex";
}

class OutOfProcessUploadTest : public RecorderTest {
protected:
    void SetUp() override
    {
        RecorderTest::SetUp();
        LMDaemonProxy::daemonProxy()->setConnection(service().clientConnection());
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)] = kUploadExtension;
        device().extensions().installExtension(
            kSetupExtension, attributes, [](const platform::host::ExtensionRequestSide& request) {
                LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(request.context,
                    platform::URL::URLWithString("rtmp://live.example/main"),
                    std::make_shared<LMBroadcastConfiguration>(), dictionary({ { "channel", Value("main") } }));
                return std::make_shared<platform::ViewController>();
            });
    }
    void TearDown() override
    {
        RecorderTest::TearDown();
        LMDaemonProxy::daemonProxy()->setConnection(nullptr);
        prepareDevice();
    }

    // Installs the upload extension from `bundleName`, chooses its service in
    // the picker and starts broadcasting; the extension's process.
    std::shared_ptr<ExtensionHostProcess> goLive(const char* bundleName,
        std::chrono::milliseconds deadline = ExtensionHostProcess::UploadRequestDeadline,
        SimulatedRecordingService::UploadKind kind = SimulatedRecordingService::UploadKind::SampleBuffer)
    {
        auto process = service().installUploadExtensionOutOfProcess(kUploadExtension, kind, bundle(bundleName));
        process->setRequestDeadline(deadline);
        session = BroadcastSession::make();
        const auto error = session->goLive(kSetupExtension);
        EXPECT_EQ(error, nullptr);
        controller = session->controller();
        return error ? nullptr : process;
    }

    // The numbers under `key` in each service information the application heard, in order.
    std::vector<std::int64_t> numbers(std::string_view key) const
    {
        std::vector<std::int64_t> numbers;
        for (const auto& info : session->serviceInfo()) {
            numbers.push_back(info ? info->valueForKey(key).int64Value() : -1);
        }
        return numbers;
    }
    // The "requests" the application heard in each service information, in order.
    std::vector<std::int64_t> requests() const { return numbers("requests"); }

    // Lets one payload interval pass on the device clock.
    static void letPayloadIntervalPass()
    {
        device().advanceClock(SimulatedRecordingService::PayloadInterval);
        drainMainQueue();
    }

    // Waits until the application has heard the service information of `count` requests.
    bool heardRequests(std::size_t count)
    {
        return runUntil([this, count] { return session->serviceInfo().size() >= count; });
    }

    // Waits until the recorder's delegate heard the broadcast stop, and returns its error.
    ErrorRef stopHeard()
    {
        EXPECT_TRUE(runUntil([this] { return session->stoppedBySystem(); }, std::chrono::seconds(15)));
        return session->stopError();
    }

    std::shared_ptr<BroadcastSession> session;
    std::shared_ptr<LMBroadcastController> controller;
};

TEST_F(OutOfProcessUploadTest, ABroadcastRunsThroughTheExtensionsOwnProcessAndItsPeakMemoryIsReported)
{
    const LogCapture log;
    const auto process = goLive("Steady");
    ASSERT_NE(process, nullptr);
    ASSERT_TRUE(heardRequests(1));
    const auto pid = process->pid();
    ASSERT_TRUE(pid.has_value());
    EXPECT_NE(*pid, ::getpid());
    letPayloadIntervalPass();
    letPayloadIntervalPass();
    ASSERT_TRUE(heardRequests(3));

    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler(finished.callback());
    ASSERT_TRUE(finished.wait());
    ASSERT_TRUE(service().waitForUploadRequests(std::chrono::seconds(10)));
    EXPECT_FALSE(service().isBroadcasting());
    EXPECT_THAT(requests(), ::testing::ElementsAre(1, 2, 3));
    EXPECT_FALSE(session->stoppedBySystem());
    EXPECT_EQ(process->launches(), 1U);

    process->stop();
    const auto exit = process->lastExit();
    ASSERT_TRUE(exit.has_value());
    EXPECT_FALSE(exit->crossedCeiling);
    EXPECT_GT(exit->peakMemory, 0U);
    EXPECT_GE(exit->memoryCeiling, ExtensionHostProcess::UploadMemoryCeiling);
    EXPECT_LT(exit->peakMemory, exit->memoryCeiling);
    EXPECT_TRUE(logged(log, "peak memory"));
}

TEST_F(OutOfProcessUploadTest, AMovieClipExtensionReadsEachClipThroughTheFileItIsHanded)
{
    const auto process = goLive(
        "ClipSize", ExtensionHostProcess::UploadRequestDeadline, SimulatedRecordingService::UploadKind::MovieClip);
    ASSERT_NE(process, nullptr);
    device().advanceClock(SimulatedRecordingService::DefaultClipDuration);
    drainMainQueue();
    ASSERT_TRUE(heardRequests(1));
    const auto sizes = numbers("clipBytes");
    ASSERT_EQ(sizes.size(), 1U);
    // The clip's own size (a movie of several kilobytes), not that of a link to it.
    EXPECT_GT(sizes[0], 1024);
    CallbackRecorder<ErrorRef> finished;
    controller->finishBroadcastWithHandler(finished.callback());
    ASSERT_TRUE(finished.wait());
    ASSERT_TRUE(service().waitForUploadRequests(std::chrono::seconds(10)));
    EXPECT_FALSE(session->stoppedBySystem());

    // Killed, the extension's process cleans up nothing: the device removes
    // the folder its handed-over files were shown in.
    process->stop();
    const auto folders = TemporaryFolder::named("lumora-extension-files");
    EXPECT_TRUE(std::filesystem::is_empty(folders)) << folders;
}

struct Fault {
    const char* bundle;
    /// How the process ended: by a signal, by crossing its ceiling, or not at all.
    std::optional<int> signal;
    bool crossesCeiling = false;
    bool processEnds = true;
    const char* logged;
    /// The watchdog's deadline: short for the one that hangs, long enough
    /// for the others to fail on their own on a loaded machine (a sanitizer
    /// build takes a while to fill a ceiling).
    std::chrono::milliseconds deadline { 10000 };
};

void PrintTo(const Fault& fault, std::ostream* out)
{
    *out << fault.bundle;
}

class OutOfProcessFaultTest : public OutOfProcessUploadTest, public ::testing::WithParamInterface<Fault> { };

// The fault strikes on the process's third request (the second payload): the
// application has heard what the first two returned, the broadcast stops as a
// failed recording, and the host carries on.
TEST_P(OutOfProcessFaultTest, AFailingExtensionStopsTheBroadcastAsAFailedRecording)
{
    const auto& fault = GetParam();
    const LogCapture log;
    const auto process = goLive(fault.bundle, fault.deadline);
    ASSERT_NE(process, nullptr);
    letPayloadIntervalPass();
    ASSERT_TRUE(heardRequests(2));
    letPayloadIntervalPass();

    const auto error = stopHeard();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5804);
    EXPECT_EQ(error->domain(), LMRecordingErrorDomain);
    EXPECT_FALSE(service().isBroadcasting());
    // Payloads the service had queued are not delivered to a failed broadcast.
    letPayloadIntervalPass();
    ASSERT_TRUE(service().waitForUploadRequests(std::chrono::seconds(10)));
    EXPECT_THAT(requests(), ::testing::ElementsAre(1, 2));
    EXPECT_TRUE(logged(log, fault.logged)) << ::testing::PrintToString(log.texts());

    if (fault.processEnds) {
        const auto exit = process->lastExit();
        ASSERT_TRUE(exit.has_value());
        EXPECT_EQ(exit->crossedCeiling, fault.crossesCeiling);
        if (fault.signal) {
            EXPECT_EQ(exit->signal, fault.signal);
        }
        EXPECT_GT(exit->peakMemory, 0U);
        EXPECT_FALSE(process->pid().has_value());
    } else {
        EXPECT_TRUE(process->pid().has_value());
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, OutOfProcessFaultTest,
    ::testing::Values(Fault { "Crashing", SIGABRT, false, true, "its process ended during a request" },
        Fault { "Throwing", std::nullopt, false, false, "its code failed a request" },
        Fault {
            "Hanging", SIGKILL, false, true, "did not answer a request within 400 ms", std::chrono::milliseconds(400) },
        Fault { "Leaking", SIGKILL, true, true, "crossed its memory ceiling" },
        Fault { "Malformed", SIGKILL, false, true, "answered a request with malformed items" }),
    [](const ::testing::TestParamInfo<Fault>& given) { return std::string(given.param.bundle); });

// The process comes from the spare the device started ahead, and runs under
// the extension's own ceiling, not the spare's.
TEST_F(OutOfProcessUploadTest, AnExtensionProcessKilledMidBroadcastStopsTheBroadcast)
{
    constexpr std::size_t kCeiling = std::size_t { 40 } << 20U;
    const auto installed = service().installUploadExtensionOutOfProcess(
        kUploadExtension, SimulatedRecordingService::UploadKind::SampleBuffer, bundle("Steady"));
    installed->setMemoryCeiling(kCeiling);
    ASSERT_TRUE(ExtensionHostSpares::shared().waitUntilReady(installed->program(), std::chrono::seconds(10)));
    session = BroadcastSession::make();
    ASSERT_EQ(session->goLive(kSetupExtension), nullptr);
    const auto& process = installed;
    letPayloadIntervalPass();
    ASSERT_TRUE(heardRequests(2));
    ASSERT_TRUE(service().waitForUploadRequests(std::chrono::seconds(10)));
    ASSERT_TRUE(process->signal(SIGKILL));
    letPayloadIntervalPass();

    const auto error = stopHeard();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5804);
    const auto exit = process->lastExit();
    ASSERT_TRUE(exit.has_value());
    EXPECT_EQ(exit->signal, SIGKILL);
    EXPECT_EQ(exit->memoryCeiling, kCeiling + ChildProcess::sanitizerAllowance());
    EXPECT_EQ(process->launches(), 1U);
    EXPECT_THAT(requests(), ::testing::ElementsAre(1, 2));
}

} // namespace
} // namespace lumora::test
