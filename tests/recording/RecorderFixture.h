#pragma once

#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/system/Application.h"
#include "platform/ui/Window.h"
#include "recording/LMScreenRecorder.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

namespace lumora::test {

/// An application delegate that names its window.
class WindowedAppDelegate final : public platform::ApplicationDelegate::Window {
public:
    std::shared_ptr<platform::Window> window() const override { return window_; }
    std::shared_ptr<platform::Window> window_;
};

/// A delegate that answers both recorder operations and remembers what it heard.
class RecordingDelegate final
    : public LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability,
      public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController {
public:
    void screenRecorderDidChangeAvailability(const std::shared_ptr<LMScreenRecorder>& recorder) override
    {
        availabilitySeen.push_back(recorder->isAvailable());
    }
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& /*recorder*/, const platform::ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& preview) override
    {
        stops.emplace_back(error, preview != nullptr);
    }

    std::vector<bool> availabilitySeen;
    std::vector<std::pair<platform::ErrorRef, bool>> stops;
};

/// A phone-sized device running an application with a main bundle and one
/// window named by its delegate.
class RecorderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        device().setMainBundle(fixturesDirectory() + "/bundles/RecordingHost.app");
        device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 2);
        appWindow = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 320, 568 } });
        appWindow->makeKeyAndVisible();
        appDelegate = std::make_shared<WindowedAppDelegate>();
        appDelegate->window_ = appWindow;
        device().application().setDelegate(appDelegate);
    }

    // The recorder lives as long as the process: a recording a test left
    // running would turn the next test's start into a no-op.
    void TearDown() override
    {
        const auto recorder = LMScreenRecorder::sharedRecorder();
        if (recorder->isRecording()) {
            recorder->stopRecordingWithHandler(nullptr);
        }
        recorder->setDelegate(nullptr);
        EXPECT_TRUE(runPendingDeliveries());
    }

    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }
    static platform::host::SimulatedRecordingService& service() { return device().recordingService(); }
    static std::size_t requestCount(const std::string& message) { return service().requestsNamed(message).size(); }
    static std::vector<platform::Value> startArguments(std::size_t index = 0)
    {
        return service().requestsNamed(kStartMessage).at(index).arguments;
    }
    static std::uint32_t contextIdOf(const std::shared_ptr<platform::Window>& window)
    {
        return window->layer()->context()->contextId();
    }

    static constexpr const char* kStartMessage
        = "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
          "withHandler:";

    std::shared_ptr<platform::Window> appWindow;
    std::shared_ptr<WindowedAppDelegate> appDelegate;
};

} // namespace lumora::test
