#pragma once

#include "platform/graphics/Layer.h"
#include "platform/media/CaptureSession.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace lumora::platform {

/// The orientation of a capture connection's picture (the platform's numbering).
enum class CaptureVideoOrientation : std::int64_t {
    /// Upright, home button at the bottom.
    Portrait = 1,
    /// Upside down, home button at the top.
    PortraitUpsideDown = 2,
    LandscapeRight = 3, ///< home button on the right
    LandscapeLeft = 4, ///< home button on the left
};

/// The link between a capture session and one of its outputs.
class CaptureConnection final : public Object {
public:
    /// A connection in portrait orientation.
    CaptureConnection() = default;

    /// The orientation the picture is delivered in; portrait by default.
    [[nodiscard]] CaptureVideoOrientation videoOrientation() const { return videoOrientation_; }
    /// Sets the orientation the picture is delivered in.
    void setVideoOrientation(CaptureVideoOrientation orientation) { videoOrientation_ = orientation; }
    /// Whether the connection can turn its picture; always true.
    [[nodiscard]] bool isVideoOrientationSupported() const { return true; }

    [[nodiscard]] std::string className() const override { return "CaptureConnection"; }

private:
    CaptureVideoOrientation videoOrientation_ = CaptureVideoOrientation::Portrait;
};

/// A layer that shows the live picture of a capture session.
class CameraPreviewLayer final : public Layer {
public:
    /// The picture is stretched to fill the layer.
    static constexpr std::string_view VideoGravityResize = "VideoGravityResize";
    /// The picture is scaled, keeping its aspect ratio, to fit inside the layer.
    static constexpr std::string_view VideoGravityResizeAspect = "VideoGravityResizeAspect";
    /// The picture is scaled, keeping its aspect ratio, until it covers the
    /// layer; the overhang is cut off.
    static constexpr std::string_view VideoGravityResizeAspectFill = "VideoGravityResizeAspectFill";

    /// A layer showing `session`'s picture; the session is held strongly and may
    /// be null.
    explicit CameraPreviewLayer(std::shared_ptr<CaptureSession> session)
        : session_(std::move(session)), connection_(std::make_shared<CaptureConnection>())
    { }

    /// The capture session whose picture the layer shows.
    [[nodiscard]] const std::shared_ptr<CaptureSession>& session() const { return session_; }
    /// How the picture is fitted in the bounds: one of the `VideoGravity` values,
    /// `VideoGravityResizeAspect` by default.
    [[nodiscard]] const std::string& videoGravity() const { return videoGravity_; }
    /// Sets how the picture is fitted in the bounds.
    void setVideoGravity(std::string_view gravity) { videoGravity_ = std::string(gravity); }
    /// The connection from the session to this layer.
    [[nodiscard]] const std::shared_ptr<CaptureConnection>& connection() const { return connection_; }

    /// Draws the camera's live picture, fitted by `videoGravity`, while the
    /// session runs with an input of a camera that is still attached and
    /// that the application may use; nothing otherwise.
    void drawInContext(GraphicsContext& context) const override;
    /// Always true: the layer draws the camera's picture itself.
    [[nodiscard]] bool drawsContent() const override { return true; }

    [[nodiscard]] std::string className() const override { return "CameraPreviewLayer"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "CameraPreviewLayer" || Layer::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<CaptureSession> session_;
    std::shared_ptr<CaptureConnection> connection_;
    std::string videoGravity_ = std::string(VideoGravityResizeAspect);
};

} // namespace lumora::platform
