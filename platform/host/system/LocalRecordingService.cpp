#include "platform/system/LocalRecordingService.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedRecordingService.h"

namespace lumora::platform {

void LocalRecordingService::requestReceived(const std::string& message, std::vector<Value> arguments)
{
    host::SimulatedDevice::shared().recordingService().recordRequest(message, std::move(arguments));
}

LocalRecordingService::StartAnswer LocalRecordingService::answerStart(bool microphoneEnabled, bool cameraEnabled)
{
    return host::SimulatedDevice::shared().recordingService().answerStart(microphoneEnabled, cameraEnabled);
}

LocalRecordingService::StopAnswer LocalRecordingService::answerStop(const std::optional<URL>& cannedMovieURL)
{
    return host::SimulatedDevice::shared().recordingService().answerStop(cannedMovieURL);
}

} // namespace lumora::platform
