#include "platform/media/CaptureSession.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedMedia.h"

#include <algorithm>

namespace lumora::platform {

CaptureSession::CaptureSession() = default;

CaptureSession::~CaptureSession()
{
    if (running_) {
        host::SimulatedDevice::shared().media().sessionDidStopRunning();
    }
}

bool CaptureSession::canAddInput(const std::shared_ptr<CaptureDeviceInput>& input) const
{
    return input && std::find(inputs_.begin(), inputs_.end(), input) == inputs_.end()
        && host::SimulatedDevice::shared().media().sessionsAcceptInputs();
}

void CaptureSession::addInput(const std::shared_ptr<CaptureDeviceInput>& input)
{
    if (canAddInput(input)) {
        inputs_.push_back(input);
    }
}

void CaptureSession::startRunning()
{
    if (!running_) {
        running_ = true;
        host::SimulatedDevice::shared().media().sessionDidStartRunning();
    }
}

void CaptureSession::stopRunning()
{
    if (running_) {
        running_ = false;
        host::SimulatedDevice::shared().media().sessionDidStopRunning();
    }
}

} // namespace lumora::platform
