#include "camera/LMPipViewController.h"

#include "platform/graphics/Color.h"
#include "platform/system/Device.h"
#include "platform/ui/Screen.h"

#include <limits>

namespace lumora {

using platform::CaptureDevice;
using platform::CaptureDevicePosition;
using platform::Color;
using platform::DeviceOrientation;

void LMPipViewController::viewDidLoad()
{
    platform::ViewController::viewDidLoad();
    const auto view = this->view();
    view->setBackgroundColor(Color::clearColor());
    const auto screen = platform::Screen::mainScreen();
    const auto bounds = screen ? screen->bounds() : platform::Rect {};
    const double x = bounds.origin.x;
    const double y = bounds.origin.y;
    const double width = bounds.size.width;
    const double height = bounds.size.height;
    // A fifth of the screen, keeping its aspect ratio. The height keeps its
    // published form (a fifth of the width, over the width, times the
    // height): it rounds differently from a plain fifth of the height, and
    // a screen of no width gives a height that is not a number.
    view->setFrame({ { x + 0.03 * width, y + 0.03 * height }, { 0.2 * width, (0.2 * width / width) * height } });
    setUpPipSession();
    startPipSession();
}

void LMPipViewController::setUpPipSession()
{
    pipSession_ = std::make_shared<platform::CaptureSession>();
    pipSession_->setSessionPreset(platform::CaptureSession::PresetHigh);

    for (const auto& device : CaptureDevice::devicesWithMediaType(CaptureDevice::MediaTypeVideo)) {
        if (device->position() == CaptureDevicePosition::Front) {
            videoDevice_ = device;
            break;
        }
    }

    // A camera that cannot be opened simply leaves the preview empty.
    platform::ErrorRef ignored;
    videoInput_ = platform::CaptureDeviceInput::deviceInputWithDevice_error(videoDevice_, &ignored);
    if (pipSession_->canAddInput(videoInput_)) {
        pipSession_->addInput(videoInput_);
    }

    const auto view = this->view();
    view->setBackgroundColor(Color::clearColor());
    const auto& viewLayer = view->layer();
    viewLayer->setMasksToBounds(true);

    previewLayer_ = std::make_shared<platform::CameraPreviewLayer>(pipSession_);
    previewLayer_->setVideoGravity(platform::CameraPreviewLayer::VideoGravityResizeAspectFill);
    previewLayer_->setFrame(viewLayer ? viewLayer->bounds() : platform::Rect {});
    // Above every other sublayer the view may be given.
    previewLayer_->setZPosition(std::numeric_limits<float>::max());
    setPreviewOrientation();
    viewLayer->addSublayer(previewLayer_);
}

void LMPipViewController::startPipSession()
{
    if (pipSession_) {
        pipSession_->startRunning();
    }
}

void LMPipViewController::stopPipSession()
{
    if (pipSession_) {
        pipSession_->stopRunning();
    }
}

void LMPipViewController::setPreviewOrientation()
{
    if (!previewLayer_) {
        return;
    }
    const auto orientation = platform::Device::currentDevice()->orientation();
    switch (orientation) {
    case DeviceOrientation::Portrait:
    case DeviceOrientation::PortraitUpsideDown:
    case DeviceOrientation::LandscapeLeft:
    case DeviceOrientation::LandscapeRight:
        // The upright device orientations and the picture orientations share their codes.
        previewLayer_->connection()->setVideoOrientation(
            static_cast<platform::CaptureVideoOrientation>(static_cast<std::int64_t>(orientation)));
        break;
    case DeviceOrientation::Unknown:
    case DeviceOrientation::FaceUp:
    case DeviceOrientation::FaceDown:
        break;
    }
}

void LMPipViewController::viewWillTransitionToSize_withTransitionCoordinator(
    platform::Size size, const std::shared_ptr<platform::TransitionCoordinator>& coordinator)
{
    platform::ViewController::viewWillTransitionToSize_withTransitionCoordinator(size, coordinator);
    if (!coordinator) {
        return;
    }
    const auto turn = [weak = weakFrom(this)](const platform::TransitionCoordinatorContext& /*context*/) {
        if (const auto self = weak.lock()) {
            self->setPreviewOrientation();
        }
    };
    coordinator->animateAlongsideTransition_completion(turn, turn);
}

} // namespace lumora
