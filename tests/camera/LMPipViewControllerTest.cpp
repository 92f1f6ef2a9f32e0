#include "camera/LMPipViewController.h"

#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/ui/Window.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>
#include <limits>

namespace lumora::test {
namespace {

using platform::CameraPreviewLayer;
using platform::CaptureVideoOrientation;
using platform::DeviceOrientation;

class LMPipViewControllerTest : public ::testing::Test {
protected:
    void SetUp() override { device().screens().setMainScreen({ { 0, 0 }, { 320, 568 } }, 2); }
    static platform::host::SimulatedDevice& device() { return platform::host::SimulatedDevice::shared(); }
};

TEST_F(LMPipViewControllerTest, LoadingTheViewPlacesAFifthOfTheScreenAndStartsTheFrontCamera)
{
    const auto pip = std::make_shared<LMPipViewController>();
    EXPECT_EQ(pip->pipSession(), nullptr); // nothing before the view loads
    const auto view = pip->view();

    EXPECT_DOUBLE_EQ(view->frame().origin.x, 9.6);
    EXPECT_DOUBLE_EQ(view->frame().origin.y, 17.04);
    EXPECT_DOUBLE_EQ(view->frame().size.width, 64);
    EXPECT_DOUBLE_EQ(view->frame().size.height, 113.6);
    EXPECT_EQ(view->backgroundColor()->alpha(), 0);
    EXPECT_TRUE(view->layer()->masksToBounds());

    const auto& session = pip->pipSession();
    EXPECT_TRUE(session->isRunning());
    EXPECT_EQ(session->sessionPreset(), platform::CaptureSession::PresetHigh);
    ASSERT_NE(pip->videoDevice(), nullptr);
    EXPECT_EQ(pip->videoDevice()->position(), platform::CaptureDevicePosition::Front);
    ASSERT_EQ(session->inputs().size(), 1U);
    EXPECT_EQ(session->inputs()[0], pip->videoInput());

    const auto& preview = pip->previewLayer();
    EXPECT_EQ(preview->session(), session);
    EXPECT_EQ(preview->videoGravity(), CameraPreviewLayer::VideoGravityResizeAspectFill);
    EXPECT_EQ(preview->frame(), view->layer()->bounds());
    EXPECT_EQ(preview->zPosition(), 3.4028234663852886e38);
    EXPECT_EQ(preview->superlayer(), view->layer());
    EXPECT_EQ(preview->connection()->videoOrientation(), CaptureVideoOrientation::Portrait);
}

TEST_F(LMPipViewControllerTest, WithoutAFrontCameraOrWithARefusedInputThePreviewStaysEmptyAndQuiet)
{
    device().media().setFrontCameraPresent(false);
    LogCapture log;
    const auto noCamera = std::make_shared<LMPipViewController>();
    noCamera->loadViewIfNeeded();
    EXPECT_EQ(noCamera->videoDevice(), nullptr); // the back camera is not taken instead
    EXPECT_EQ(noCamera->videoInput(), nullptr);
    EXPECT_TRUE(noCamera->pipSession()->inputs().empty());
    EXPECT_NE(noCamera->previewLayer(), nullptr);

    device().media().setFrontCameraPresent(true);
    device().media().setSessionsAcceptInputs(false);
    const auto refused = std::make_shared<LMPipViewController>();
    refused->loadViewIfNeeded();
    EXPECT_NE(refused->videoInput(), nullptr);
    EXPECT_TRUE(refused->pipSession()->inputs().empty());
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(LMPipViewControllerTest, ThePreviewFollowsUprightOrientationsAndKeepsTheLastOneWhenFlat)
{
    const auto pip = std::make_shared<LMPipViewController>();
    pip->loadViewIfNeeded();
    const auto& connection = pip->previewLayer()->connection();
    const std::pair<DeviceOrientation, CaptureVideoOrientation> upright[] = {
        { DeviceOrientation::LandscapeLeft, static_cast<CaptureVideoOrientation>(3) },
        { DeviceOrientation::PortraitUpsideDown, CaptureVideoOrientation::PortraitUpsideDown },
        { DeviceOrientation::LandscapeRight, static_cast<CaptureVideoOrientation>(4) },
    };
    for (const auto& [deviceOrientation, pictureOrientation] : upright) {
        device().hardware().rotateTo(deviceOrientation);
        pip->setPreviewOrientation();
        EXPECT_EQ(connection->videoOrientation(), pictureOrientation);
    }
    for (const auto flat : { DeviceOrientation::FaceUp, DeviceOrientation::FaceDown, DeviceOrientation::Unknown }) {
        device().hardware().rotateTo(flat);
        pip->setPreviewOrientation();
        EXPECT_EQ(connection->videoOrientation(), static_cast<CaptureVideoOrientation>(4));
    }
}

TEST_F(LMPipViewControllerTest, ASizeTransitionTurnsThePreviewAlongsideAndAgainWhenItCompletes)
{
    const auto pip = std::make_shared<LMPipViewController>();
    const auto window = std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 320, 568 } });
    window->setRootViewController(pip);
    window->makeKeyAndVisible();
    const auto& connection = pip->previewLayer()->connection();
    const auto previewFrame = pip->previewLayer()->frame();

    // With the interface locked, turning the device changes nothing on screen.
    window->beginDisablingInterfaceAutorotation();
    device().hardware().rotateTo(DeviceOrientation::LandscapeRight);
    EXPECT_EQ(connection->videoOrientation(), CaptureVideoOrientation::Portrait);

    device().application().transitionToSize({ 568, 320 }, 0.4);
    EXPECT_EQ(connection->videoOrientation(), static_cast<CaptureVideoOrientation>(4)); // alongside

    device().hardware().rotateTo(DeviceOrientation::LandscapeLeft);
    drainMainQueue();
    EXPECT_EQ(connection->videoOrientation(), static_cast<CaptureVideoOrientation>(4));
    device().advanceClock(0.4);
    drainMainQueue();
    EXPECT_EQ(connection->videoOrientation(), static_cast<CaptureVideoOrientation>(3)); // on completion
    EXPECT_EQ(pip->previewLayer()->frame(), previewFrame);
}

} // namespace
} // namespace lumora::test
