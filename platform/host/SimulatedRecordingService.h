#pragma once

#include "platform/Error.h"
#include "platform/LocalRecordingService.h"
#include "platform/Value.h"

#include <mutex>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The recording service as the simulated device plays it behind the local
/// proxy: it keeps every request the proxy answered, in order, and decides
/// how a start is answered.
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

private:
    mutable std::mutex mutex_;
    std::vector<Request> requests_;
    ErrorRef startError_;
    bool microphoneConsent_ = true;
    bool cameraConsent_ = true;
};

} // namespace lumora::platform::host
