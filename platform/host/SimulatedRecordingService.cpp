#include "platform/host/SimulatedRecordingService.h"

#include <algorithm>

namespace lumora::platform::host {

void SimulatedRecordingService::reset()
{
    std::lock_guard lock(mutex_);
    requests_.clear();
    startError_.reset();
    stopAnswer_.reset();
    microphoneConsent_ = true;
    cameraConsent_ = true;
    connection_.reset();
}

void SimulatedRecordingService::recordRequest(std::string message, std::vector<Value> arguments)
{
    std::lock_guard lock(mutex_);
    requests_.push_back(Request { std::move(message), std::move(arguments) });
}

std::vector<SimulatedRecordingService::Request> SimulatedRecordingService::requests() const
{
    std::lock_guard lock(mutex_);
    return requests_;
}

std::vector<SimulatedRecordingService::Request> SimulatedRecordingService::requestsNamed(
    const std::string& message) const
{
    std::vector<Request> found;
    std::lock_guard lock(mutex_);
    std::copy_if(requests_.begin(), requests_.end(), std::back_inserter(found),
        [&message](const Request& request) { return request.message == message; });
    return found;
}

void SimulatedRecordingService::clearRequests()
{
    std::lock_guard lock(mutex_);
    requests_.clear();
}

void SimulatedRecordingService::setStartError(ErrorRef error)
{
    std::lock_guard lock(mutex_);
    startError_ = std::move(error);
}

void SimulatedRecordingService::setMicrophoneConsent(bool consent)
{
    std::lock_guard lock(mutex_);
    microphoneConsent_ = consent;
}

void SimulatedRecordingService::setCameraConsent(bool consent)
{
    std::lock_guard lock(mutex_);
    cameraConsent_ = consent;
}

LocalRecordingService::StartAnswer SimulatedRecordingService::answerStart(
    bool microphoneEnabled, bool cameraEnabled) const
{
    std::lock_guard lock(mutex_);
    if (startError_) {
        return { startError_, false, false };
    }
    return { nullptr, microphoneEnabled && microphoneConsent_, cameraEnabled && cameraConsent_ };
}

void SimulatedRecordingService::setStopAnswer(std::optional<URL> movieURL, ErrorRef error)
{
    std::lock_guard lock(mutex_);
    stopAnswer_ = LocalRecordingService::StopAnswer { std::move(movieURL), std::move(error) };
}

LocalRecordingService::StopAnswer SimulatedRecordingService::answerStop(const std::optional<URL>& cannedMovieURL) const
{
    std::lock_guard lock(mutex_);
    return stopAnswer_ ? *stopAnswer_ : LocalRecordingService::StopAnswer { cannedMovieURL, nullptr };
}

std::shared_ptr<ServiceConnection> SimulatedRecordingService::clientConnection()
{
    std::lock_guard lock(mutex_);
    if (!connection_) {
        connection_ = std::make_shared<ServiceConnection>("com.lumora.recordingservice");
    }
    return connection_;
}

void SimulatedRecordingService::announceStop(const ErrorRef& error, const std::optional<URL>& movieURL)
{
    sendMessage("stopRecordingWithError:movieURL:",
        { Value(std::const_pointer_cast<Error>(error)), movieURL ? Value(*movieURL) : Value() });
}

void SimulatedRecordingService::announceBroadcastServiceInfo(const DictionaryRef& serviceInfo)
{
    sendMessage("updateBroadcastServiceInfo:", { Value(serviceInfo) });
}

void SimulatedRecordingService::sendMessage(std::string selector, std::vector<Value> arguments)
{
    clientConnection()->receiveMessage(selector, std::move(arguments));
}

} // namespace lumora::platform::host
