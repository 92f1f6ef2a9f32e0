#include "platform/media/CameraPreviewLayer.h"

#include "platform/foundation/Clock.h"
#include "platform/graphics/GraphicsContext.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/media/CameraPicture.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/media/CaptureDevice.h"

#include <algorithm>

namespace lumora::platform {

namespace {

// Whether `session` delivers a camera's picture now: it runs, and one of its
// inputs is a camera that is still attached and that the application may use.
bool deliversPicture(const CaptureSession& session)
{
    if (!session.isRunning() || !host::SimulatedDevice::shared().media().isCameraAuthorized()) {
        return false;
    }
    const auto& inputs = session.inputs();
    return std::any_of(inputs.begin(), inputs.end(), [](const std::shared_ptr<CaptureDeviceInput>& input) {
        const auto& device = input ? input->device() : nullptr;
        return device && device->hasMediaType(CaptureDevice::MediaTypeVideo) && device->isConnected();
    });
}

// Where the picture goes in `bounds` for `gravity`.
Rect pictureRect(Rect bounds, const std::string& gravity)
{
    if (gravity == CameraPreviewLayer::VideoGravityResize) {
        return bounds;
    }
    const double across = bounds.size.width / host::CameraPicture::Width;
    const double down = bounds.size.height / host::CameraPicture::Height;
    const double scale
        = gravity == CameraPreviewLayer::VideoGravityResizeAspectFill ? std::max(across, down) : std::min(across, down);
    const Size size { host::CameraPicture::Width * scale, host::CameraPicture::Height * scale };
    return { { bounds.origin.x + ((bounds.size.width - size.width) / 2),
                 bounds.origin.y + ((bounds.size.height - size.height) / 2) },
        size };
}

} // namespace

void CameraPreviewLayer::drawInContext(GraphicsContext& context) const
{
    if (!session_ || !deliversPicture(*session_)) {
        return;
    }
    const auto area = bounds();
    if (area.size.width <= 0 || area.size.height <= 0) {
        return;
    }
    // What overhangs the layer (aspect fill) is cut off.
    context.saveGState();
    context.clipToRect(area);
    host::CameraPicture::draw(context, pictureRect(area, videoGravity_), Clock::uptime());
    context.restoreGState();
}

} // namespace lumora::platform
