// Setup extensions and video editors run in processes of their own: the
// picker's and the preview's flows end to end, and each way such a process
// can fail while the application waits for it.
#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/Extension.h"
#include "platform/foundation/ReplyBlock.h"
#include "platform/graphics/Layer.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/ui/View.h"
#include "preview/LMPreviewViewController.h"
#include "preview/LMVideoEditorExtensionKeys.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "tests/harness/Harness.h"
#include "tests/harness/PickerDelegate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace lumora::test {
namespace {

using platform::ErrorRef;
using platform::Value;
using platform::host::ExtensionViewProcess;
using platform::host::SimulatedBroadcastPicker;
using platform::host::SimulatedDevice;

constexpr const char* kSetupExtension = "com.example.caster.setup";

std::string bundle(const std::string& name)
{
    return std::string(LUMORA_TEST_EXTENSIONS_DIR) + "/" + name + ".appex";
}

ExtensionViewProcess::Settings settingsFor(const std::string& name)
{
    ExtensionViewProcess::Settings settings;
    settings.bundlePath = bundle(name);
    settings.program = LUMORA_EXTENSION_HOST_PROGRAM;
    return settings;
}

// Whether some log line holds `part`.
bool logged(const LogCapture& log, std::string_view part)
{
    const auto texts = log.texts();
    return std::any_of(
        texts.begin(), texts.end(), [part](const std::string& text) { return text.find(part) != std::string::npos; });
}

platform::host::SimulatedExtensions& extensions()
{
    return SimulatedDevice::shared().extensions();
}

// ---- The picker and a setup extension -------------------------------------------------

class SetupOutOfProcess : public ::testing::Test {
protected:
    void SetUp() override
    {
        SimulatedDevice::shared().setMainBundle(fixturesDirectory() + "/bundles/RecordingHost.app");
    }

    // Installs a setup extension that runs in processes of its own.
    static void installSetup(ExtensionViewProcess::Settings settings)
    {
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)]
            = std::string(SimulatedBroadcastPicker::SetupExtensionPoint);
        (*attributes)[std::string(SimulatedBroadcastPicker::UploadExtensionAttribute)]
            = std::string(kSetupExtension) + ".upload";
        extensions().installExtension(kSetupExtension, attributes, nullptr);
        ASSERT_TRUE(extensions().runOutOfProcess(kSetupExtension, std::move(settings)));
    }

    // Shows the picker and chooses the setup extension.
    void showPickerAndChoose()
    {
        CallbackRecorder<std::shared_ptr<LMBroadcastActivityViewController>, ErrorRef> loaded;
        LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(loaded.callback());
        ASSERT_TRUE(loaded.wait());
        picker_ = std::get<0>(loaded.call());
        picker_->setDidFinishHandler(nullptr);
        picker_->setDelegate(delegate_);
        ASSERT_TRUE(SimulatedDevice::shared().broadcastPicker().chooseService(kSetupExtension));
    }

    std::shared_ptr<LMBroadcastActivityViewController> picker_;
    std::shared_ptr<PickerDelegate> delegate_ = std::make_shared<PickerDelegate>();
};

TEST_F(SetupOutOfProcess, TheSampleSetupRunsInItsOwnProcessAndHandsTheAppAController)
{
    const LogCapture log;
    installSetup(settingsFor("SampleSetup"));
    showPickerAndChoose();
    ASSERT_TRUE(delegate_->recorder.wait(1, std::chrono::seconds(10)));
    const auto& [controller, error] = delegate_->recorder.call();
    EXPECT_EQ(error, nullptr);
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->broadcastExtensionBundleID(), std::string(kSetupExtension) + ".upload");
    EXPECT_EQ(
        controller->broadcastURL(), platform::URL::URLWithString("rtmp://live.streamer.example/live/lumora-sample"));

    const auto setup = SimulatedDevice::shared().broadcastPicker().chosenSetup();
    ASSERT_TRUE(setup);
    // The setup read the application's details from its input item, and
    // named itself by its own process's main bundle.
    ASSERT_NE(setup->setupInfo, nullptr);
    EXPECT_EQ(setup->setupInfo->stringForKey("host"), "com.example.recordinghost");
    EXPECT_EQ(platform::host::ExtensionRequest::loadValueOfItem(
                  setup->returnedItems, LMBroadcastExtensionKeyExtensionBundleIdentifier),
        Value("com.lumora.sample.streamer.setup"));
    EXPECT_TRUE(setup->configurationArchive.has_value());
    // The completed request ends, and its process with it, its peak memory told.
    EXPECT_TRUE(runUntil([] { return !SimulatedDevice::shared().broadcastPicker().setupRequest().has_value(); }));
    EXPECT_TRUE(runUntil([&log] { return logged(log, "peak memory"); }));
}

struct Fault {
    std::string name;
    /// The bundle's fault; "wait" bundles are killed by the test.
    std::string bundleFault;
    /// What a log line says.
    std::string logged;
};

std::string faultName(const ::testing::TestParamInfo<Fault>& info)
{
    return info.param.name;
}

class SetupOutOfProcessFault : public SetupOutOfProcess, public ::testing::WithParamInterface<Fault> { };

TEST_P(SetupOutOfProcessFault, ThePickersDelegateHearsTheSetupEndedWithoutABroadcast)
{
    const LogCapture log;
    auto settings = settingsFor("Setup-" + GetParam().bundleFault);
    settings.startDeadline = std::chrono::milliseconds(GetParam().bundleFault == "hang" ? 300 : 3000);
    settings.memoryCeiling = std::size_t { 64 } << 20U;
    installSetup(settings);
    showPickerAndChoose();
    if (GetParam().name == "Killed") {
        std::optional<pid_t> pid;
        ASSERT_TRUE(runUntil([&pid] {
            const auto request = SimulatedDevice::shared().broadcastPicker().setupRequest();
            pid = request && request->process ? request->process->pid() : std::nullopt;
            return pid.has_value();
        }));
        ASSERT_NE(*pid, ::getpid());
        ASSERT_EQ(::kill(*pid, SIGKILL), 0);
    }

    ASSERT_TRUE(delegate_->recorder.wait(1, std::chrono::seconds(20)));
    const auto& [controller, error] = delegate_->recorder.call();
    EXPECT_EQ(controller, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), -5801);
    EXPECT_TRUE(logged(log, GetParam().logged)) << GetParam().logged;
    // The setup's request is over and the application carries on.
    EXPECT_TRUE(runPendingDeliveries());
    EXPECT_EQ(delegate_->recorder.callCount(), 1U);
    EXPECT_TRUE(extensions().requests().size() <= 1U); // the picker's own request, while the picker lives
}

INSTANTIATE_TEST_SUITE_P(Faults, SetupOutOfProcessFault,
    // The crash may strike before or after the extension's start is answered.
    ::testing::Values(Fault { "Crash", "crash", "its process ended" }, Fault { "Throw", "throw", "it failed to start" },
        Fault { "Hang", "hang", "it did not start within 300 ms" },
        Fault { "Leak", "leak", "crossed its memory ceiling" },
        Fault { "Malformed", "malformed", "sent malformed items" },
        Fault { "Killed", "wait", "its process ended during the request" }),
    faultName);

// ---- The preview and a video editor ---------------------------------------------------

class PreviewDelegate final : public LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes,
                              public LMPreviewViewControllerDelegate::PreviewControllerDidFinish {
public:
    void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& /*preview*/, const std::set<std::string>& types) override
    {
        std::lock_guard lock(mutex_);
        std::string text = "types:";
        for (const auto& type : types) {
            text += type + ";";
        }
        heard_.push_back(text);
    }
    void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& /*preview*/) override
    {
        std::lock_guard lock(mutex_);
        heard_.emplace_back("finish");
    }
    [[nodiscard]] std::vector<std::string> heard() const
    {
        std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> heard_;
};

class EditorOutOfProcess : public ::testing::Test {
protected:
    void SetUp() override
    {
        SimulatedDevice::shared().setMainBundle(fixturesDirectory() + "/bundles/RecordingHost.app");
        // A movie of the test's own, at a device path.
        folder_ = std::filesystem::temp_directory_path() / ("lumora-editor-test-" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder_);
        std::ofstream(folder_ / "movie.mp4", std::ios::binary) << std::string(1234, 'm');
        SimulatedDevice::shared().mountDirectory("/private/var/mobile/Media/EditorTest", folder_.string());
    }
    void TearDown() override
    {
        preview_.reset();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    static void installEditor(ExtensionViewProcess::Settings settings)
    {
        auto attributes = std::make_shared<platform::Dictionary>();
        (*attributes)[std::string(platform::Extension::RemoteViewControllerClassAttribute)]
            = "LMVideoEditorHostViewController";
        (*attributes)[std::string(platform::Extension::HostContextClassAttribute)]
            = "LMVideoEditorExtensionHostContext";
        extensions().installExtension(std::string(LMVideoEditorExtensionIdentifier), attributes, nullptr);
        ASSERT_TRUE(extensions().runOutOfProcess(std::string(LMVideoEditorExtensionIdentifier), std::move(settings)));
    }

    // Loads a preview of the movie; the recorder hears the completion.
    void loadPreview()
    {
        LMPreviewViewController::loadPreviewViewControllerWithMovieURL_completion(
            platform::URL::fileURLWithPath(kMovie), loaded_.callback());
    }

    // Plays the user in the editor: a message to the editor's view controller
    // over the remote view's connection.
    void sendToEditor(std::string selector, std::vector<Value> arguments) const
    {
        preview_->hostViewController()
            ->serviceViewControllerConnection()
            ->remoteObjectProxyWithErrorHandler({})
            ->sendMessage(std::move(selector), std::move(arguments));
    }

    static Value activityTypes(const std::vector<std::string>& types)
    {
        auto array = std::make_shared<platform::Array>();
        for (const auto& type : types) {
            array->emplace_back(type);
        }
        return Value(std::move(array));
    }

    static constexpr const char* kMovie = "/private/var/mobile/Media/EditorTest/movie.mp4";
    std::filesystem::path folder_;
    CallbackRecorder<std::shared_ptr<LMPreviewViewController>> loaded_;
    std::shared_ptr<LMPreviewViewController> preview_;
    std::shared_ptr<PreviewDelegate> delegate_ = std::make_shared<PreviewDelegate>();
};

TEST_F(EditorOutOfProcess, TheSampleEditorsFinishReachesThePreviewsDelegateTypesFirst)
{
    installEditor(settingsFor("SampleVideoEditor"));
    loadPreview();
    ASSERT_TRUE(loaded_.wait(1, std::chrono::seconds(10)));
    preview_ = std::get<0>(loaded_.call());
    ASSERT_NE(preview_, nullptr);
    preview_->setPreviewControllerDelegate(delegate_);
    // The remote view shows a picture of what the editor drew in its process.
    const auto host = preview_->hostViewController();
    ASSERT_TRUE(runUntil([&host] {
        return extensions().pictureOfRequest(host->requestIdentifier()).has_value()
            && host->viewIfLoaded()->layer()->contents() != nullptr;
    }));
    const auto picture = *extensions().pictureOfRequest(host->requestIdentifier());
    ASSERT_GT(picture.length(), 8U);
    EXPECT_EQ(picture.bytes()[1], 'P');

    sendToEditor("userDidFinishWithActivityTypes:",
        { activityTypes(
            { "com.lumora.activity.mail", "com.lumora.activity.save-to-files", "com.lumora.activity.mail" }) });
    ASSERT_TRUE(runUntil([this] { return delegate_->heard().size() >= 2; }, std::chrono::seconds(10)));
    EXPECT_THAT(delegate_->heard(),
        ::testing::ElementsAre("types:com.lumora.activity.mail;com.lumora.activity.save-to-files;", "finish"));
}

TEST_F(EditorOutOfProcess, ItemsAndTheMovieCrossAndACompletionCarriesTheEditorsReply)
{
    installEditor(settingsFor("Editor-none"));
    loadPreview();
    ASSERT_TRUE(loaded_.wait(1, std::chrono::seconds(10)));
    preview_ = std::get<0>(loaded_.call());
    ASSERT_NE(preview_, nullptr);

    CallbackRecorder<std::vector<Value>> replied;
    sendToEditor("inputValuesWithReply:", { Value(std::make_shared<platform::ReplyBlock>(replied.callback())) });
    ASSERT_TRUE(replied.wait(1, std::chrono::seconds(10)));
    const auto values = std::get<0>(replied.call());
    ASSERT_EQ(values.size(), 1U);
    const auto dictionary = values[0].dictionary();
    ASSERT_NE(dictionary, nullptr);
    EXPECT_EQ(dictionary->stringForKey(LMVideoEditorExtensionMoviePathKey), kMovie);
    EXPECT_EQ(dictionary->stringForKey(LMVideoEditorExtensionBundleIdentifierKey), "com.example.recordinghost");
    // The editor read the movie through the file it was handed.
    EXPECT_EQ(dictionary->valueForKey("movieBytes"), Value(std::int64_t { 1234 }));
    // A completion is called once: the request goes on undisturbed.
    EXPECT_TRUE(runPendingDeliveries());
    EXPECT_EQ(replied.callCount(), 1U);
}

class EditorFailsToStart : public EditorOutOfProcess, public ::testing::WithParamInterface<Fault> { };

TEST_P(EditorFailsToStart, ThePreviewNeverCompletesAndTheHostSaysWhy)
{
    const LogCapture log;
    auto settings = settingsFor("Editor-" + GetParam().bundleFault);
    settings.startDeadline = std::chrono::milliseconds(GetParam().bundleFault == "hang" ? 300 : 3000);
    installEditor(settings);
    loadPreview();
    ASSERT_TRUE(runUntil([&log] { return logged(log, "Error instantiating remote view controller for extension: "); },
        std::chrono::seconds(10)));
    EXPECT_TRUE(logged(log, GetParam().logged)) << GetParam().logged;
    EXPECT_TRUE(runPendingDeliveries());
    EXPECT_EQ(loaded_.callCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Faults, EditorFailsToStart,
    ::testing::Values(
        Fault { "Throw", "throw", "it failed to start" }, Fault { "Hang", "hang", "it did not start within 300 ms" }),
    faultName);

class EditorFailsWhileShown : public EditorOutOfProcess, public ::testing::WithParamInterface<Fault> { };

TEST_P(EditorFailsWhileShown, TheRequestEndsAndThePreviewsDelegateHearsNothing)
{
    const LogCapture log;
    installEditor(settingsFor("Editor-" + GetParam().bundleFault));
    loadPreview();
    ASSERT_TRUE(loaded_.wait(1, std::chrono::seconds(10)));
    preview_ = std::get<0>(loaded_.call());
    ASSERT_NE(preview_, nullptr);
    preview_->setPreviewControllerDelegate(delegate_);
    const auto request = extensions().requestWithIdentifier(preview_->hostViewController()->requestIdentifier());
    ASSERT_TRUE(request && request->process);

    if (GetParam().name == "Killed") {
        ASSERT_TRUE(request->process->signal(SIGKILL));
    } else {
        sendToEditor("userDidFinishWithActivityTypes:", { activityTypes({ "com.lumora.activity.mail" }) });
    }
    ASSERT_TRUE(runUntil([] { return extensions().requests().empty(); }, std::chrono::seconds(10)));
    EXPECT_TRUE(logged(log, GetParam().logged)) << GetParam().logged;
    const auto outcome = extensions().outcomeOfRequest(request->identifier);
    ASSERT_TRUE(outcome && outcome->error);
    EXPECT_EQ(outcome->error->code(), platform::Extension::RequestFailedErrorCode);
    // No finish reaches the delegate; the preview stays until the app dismisses it.
    EXPECT_TRUE(runPendingDeliveries());
    EXPECT_TRUE(delegate_->heard().empty());
    EXPECT_FALSE(preview_->hostViewController()->serviceViewControllerConnection()->isValid());
}

INSTANTIATE_TEST_SUITE_P(Faults, EditorFailsWhileShown,
    ::testing::Values(Fault { "Crash", "crash", "its process ended during the request" },
        Fault { "Malformed", "malformed", "sent malformed items" },
        Fault { "Killed", "none", "its process ended during the request" }),
    faultName);

} // namespace
} // namespace lumora::test
