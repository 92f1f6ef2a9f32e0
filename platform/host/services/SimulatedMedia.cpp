#include "platform/host/services/SimulatedMedia.h"

#include "platform/media/AudioSession.h"

namespace lumora::platform::host {

void SimulatedMedia::reset()
{
    std::lock_guard lock(mutex_);
    audioCategory_ = std::string(AudioSession::CategorySoloAmbient);
    audioOptions_ = 0;
    audioChanges_ = 0;
    // New device objects per reset, so nothing of an earlier test's devices carries over.
    backCamera_ = std::make_shared<CaptureDevice>(
        "camera.back", "Back Camera", std::string(CaptureDevice::MediaTypeVideo), CaptureDevicePosition::Back);
    frontCamera_ = std::make_shared<CaptureDevice>(
        "camera.front", "Front Camera", std::string(CaptureDevice::MediaTypeVideo), CaptureDevicePosition::Front);
    microphone_ = std::make_shared<CaptureDevice>(
        "microphone", "Microphone", std::string(CaptureDevice::MediaTypeAudio), CaptureDevicePosition::Unspecified);
    backPresent_ = true;
    frontPresent_ = true;
    cameraAuthorized_ = true;
    acceptInputs_ = true;
    runningSessions_ = 0;
}

std::string SimulatedMedia::audioCategory() const
{
    std::lock_guard lock(mutex_);
    return audioCategory_;
}

std::uint64_t SimulatedMedia::audioCategoryOptions() const
{
    std::lock_guard lock(mutex_);
    return audioOptions_;
}

void SimulatedMedia::setAudioCategory(std::string category, std::uint64_t options)
{
    std::lock_guard lock(mutex_);
    audioCategory_ = std::move(category);
    audioOptions_ = options;
    ++audioChanges_;
}

int SimulatedMedia::audioCategoryChangeCount() const
{
    std::lock_guard lock(mutex_);
    return audioChanges_;
}

void SimulatedMedia::setFrontCameraPresent(bool present)
{
    std::lock_guard lock(mutex_);
    frontPresent_ = present;
}

void SimulatedMedia::setBackCameraPresent(bool present)
{
    std::lock_guard lock(mutex_);
    backPresent_ = present;
}

std::vector<std::shared_ptr<CaptureDevice>> SimulatedMedia::devicesWithMediaType(std::string_view mediaType) const
{
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<CaptureDevice>> devices;
    if (backPresent_ && backCamera_->hasMediaType(mediaType)) {
        devices.push_back(backCamera_);
    }
    if (frontPresent_ && frontCamera_->hasMediaType(mediaType)) {
        devices.push_back(frontCamera_);
    }
    if (microphone_->hasMediaType(mediaType)) {
        devices.push_back(microphone_);
    }
    return devices;
}

bool SimulatedMedia::isConnected(const CaptureDevice* device) const
{
    std::lock_guard lock(mutex_);
    if (device == backCamera_.get()) {
        return backPresent_;
    }
    if (device == frontCamera_.get()) {
        return frontPresent_;
    }
    return device == microphone_.get();
}

void SimulatedMedia::setCameraAuthorized(bool authorized)
{
    std::lock_guard lock(mutex_);
    cameraAuthorized_ = authorized;
}

bool SimulatedMedia::isCameraAuthorized() const
{
    std::lock_guard lock(mutex_);
    return cameraAuthorized_;
}

void SimulatedMedia::setSessionsAcceptInputs(bool accept)
{
    std::lock_guard lock(mutex_);
    acceptInputs_ = accept;
}

bool SimulatedMedia::sessionsAcceptInputs() const
{
    std::lock_guard lock(mutex_);
    return acceptInputs_;
}

void SimulatedMedia::sessionDidStartRunning()
{
    std::lock_guard lock(mutex_);
    ++runningSessions_;
}

void SimulatedMedia::sessionDidStopRunning()
{
    std::lock_guard lock(mutex_);
    if (runningSessions_ > 0) {
        --runningSessions_;
    }
}

int SimulatedMedia::runningSessionCount() const
{
    std::lock_guard lock(mutex_);
    return runningSessions_;
}

} // namespace lumora::platform::host
