#pragma once

#include "platform/media/CameraPreviewLayer.h"
#include "platform/media/CaptureDevice.h"
#include "platform/media/CaptureDeviceInput.h"
#include "platform/media/CaptureSession.h"
#include "platform/ui/ViewController.h"

#include <memory>

namespace lumora {

/// Shows the live front-camera picture: a view controller whose view holds a
/// preview layer fed by a capture session of its own.
///
/// Nothing is prepared until the view loads; then the view takes a fifth of
/// the main screen's size, 3 % in from its top-left corner, and the session is
/// built and started. A device with no front camera, or a session that
/// refuses the camera, leaves a transparent view with an empty preview; no
/// failure is reported. A memory warning releases nothing: the picture keeps
/// running. Used on the MainQueue.
class LMPipViewController : public platform::ViewController {
public:
    LMPipViewController() = default;

    /// The capture session feeding the preview, null until the view loads.
    [[nodiscard]] const std::shared_ptr<platform::CaptureSession>& pipSession() const { return pipSession_; }
    /// Replaces the capture session.
    void setPipSession(std::shared_ptr<platform::CaptureSession> session) { pipSession_ = std::move(session); }
    /// The front camera, or null when the device has none.
    [[nodiscard]] const std::shared_ptr<platform::CaptureDevice>& videoDevice() const { return videoDevice_; }
    /// Replaces the camera.
    void setVideoDevice(std::shared_ptr<platform::CaptureDevice> device) { videoDevice_ = std::move(device); }
    /// The session's input from the front camera, null when there is no camera.
    [[nodiscard]] const std::shared_ptr<platform::CaptureDeviceInput>& videoInput() const { return videoInput_; }
    /// Replaces the camera input.
    void setVideoInput(std::shared_ptr<platform::CaptureDeviceInput> input) { videoInput_ = std::move(input); }
    /// The layer showing the session's picture, on top of the view.
    [[nodiscard]] const std::shared_ptr<platform::CameraPreviewLayer>& previewLayer() const { return previewLayer_; }
    /// Replaces the preview layer.
    void setPreviewLayer(std::shared_ptr<platform::CameraPreviewLayer> layer) { previewLayer_ = std::move(layer); }

    /// Builds the session, finds the front camera, connects it if the session
    /// takes it, and puts a preview layer of the session on top of the view.
    void setUpPipSession();
    /// Starts the session, so the picture runs.
    void startPipSession();
    /// Stops the session.
    void stopPipSession();
    /// Turns the preview to the device's orientation when the device is held
    /// upright; lying flat or unknown leaves the last upright orientation.
    void setPreviewOrientation();

    /// Sets the view's frame and builds and starts the session (`setUpPipSession`).
    void viewDidLoad() override;
    /// Turns the preview with the interface, alongside the transition and
    /// again once it has finished. The preview's frame stays as it is.
    void viewWillTransitionToSize_withTransitionCoordinator(
        platform::Size size, const std::shared_ptr<platform::TransitionCoordinator>& coordinator) override;

    [[nodiscard]] std::string className() const override { return "LMPipViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPipViewController" || platform::ViewController::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<platform::CaptureSession> pipSession_;
    std::shared_ptr<platform::CaptureDevice> videoDevice_;
    std::shared_ptr<platform::CaptureDeviceInput> videoInput_;
    std::shared_ptr<platform::CameraPreviewLayer> previewLayer_;
};

} // namespace lumora
