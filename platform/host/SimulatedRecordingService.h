#pragma once

#include "platform/Error.h"
#include "platform/LocalRecordingService.h"
#include "platform/ServiceConnection.h"
#include "platform/Value.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The recording service as the simulated device plays it behind the local
/// proxy: it keeps every request the proxy answered, in order, and decides
/// how a start and a stop are answered.
///
/// Initially the user consents to both microphone and camera and starts
/// succeed, so a start is granted exactly what it asked for.
class SimulatedRecordingService {
public:
    struct Request {
        std::string message;
        std::vector<Value> arguments;
    };

    void reset();

    void recordRequest(std::string message, std::vector<Value> arguments);
    [[nodiscard]] std::vector<Request> requests() const;
    /// The requests with this message name, in order.
    [[nodiscard]] std::vector<Request> requestsNamed(const std::string& message) const;
    void clearRequests();

    /// Makes every start fail with `error` (null: starts succeed again).
    void setStartError(ErrorRef error);
    /// The user's answer when the service asks for the microphone (or the camera).
    void setMicrophoneConsent(bool consent);
    void setCameraConsent(bool consent);
    [[nodiscard]] LocalRecordingService::StartAnswer answerStart(bool microphoneEnabled, bool cameraEnabled) const;
    /// Makes every stop answer with `movieURL` (may be absent) and `error`
    /// instead of the canned movie and no error, until the next reset.
    void setStopAnswer(std::optional<URL> movieURL, ErrorRef error);
    [[nodiscard]] LocalRecordingService::StopAnswer answerStop(const std::optional<URL>& cannedMovieURL) const;

    // ---- Calls of the service into the application ------------------------------------
    /// The application's end of its connection to the service, made on first
    /// use (a reset makes the next use make a new one). Whoever stands for the
    /// application's client gives it a delegate and an exported interface.
    std::shared_ptr<ServiceConnection> clientConnection();
    /// The service stops the recording on its own and says so.
    void announceStop(const ErrorRef& error, const std::optional<URL>& movieURL);
    /// The broadcast service reports new information about the broadcast.
    void announceBroadcastServiceInfo(const DictionaryRef& serviceInfo);
    /// Sends any message, as a misbehaving service might; it arrives on the
    /// connection's thread like every call of the service.
    void sendMessage(std::string selector, std::vector<Value> arguments);

private:
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    ErrorRef startError_;
    std::optional<LocalRecordingService::StopAnswer> stopAnswer_;
    bool microphoneConsent_ = true;
    bool cameraConsent_ = true;
    std::shared_ptr<ServiceConnection> connection_;
};

} // namespace lumora::platform::host
