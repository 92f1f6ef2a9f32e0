#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <optional>
#include <string>
#include <vector>

namespace lumora::platform {

/// The recording service as an in-process proxy stands in for it, when no
/// connection to the system service exists.
///
/// The proxy tells it of every request it answers, and asks it how to answer
/// a start (the application's consent to the microphone and the camera, and
/// whether the start fails) and a stop (the movie and whether the stop
/// fails). A device without a recording service grants exactly what was asked,
/// hands back the proxy's canned movie and never fails; the simulated device
/// can be told otherwise and keeps every request for inspection.
class LocalRecordingService {
public:
    /// How a start request is answered.
    struct StartAnswer {
        /// The error the start fails with; null when it succeeds.
        ErrorRef error;
        /// Whether the application may record the microphone.
        bool microphoneGranted = false;
        /// Whether the application may record the camera.
        bool cameraGranted = false;
    };
    /// How a stop request is answered.
    struct StopAnswer {
        /// The recorded movie; nullopt when there is none.
        std::optional<URL> movieURL;
        /// The error the stop fails with; null when it succeeds.
        ErrorRef error;
    };

    /// Records that the proxy answered `message` with these arguments.
    static void requestReceived(const std::string& message, std::vector<Value> arguments);
    /// How a start that asks for the microphone and the camera is answered.
    [[nodiscard]] static StartAnswer answerStart(bool microphoneEnabled, bool cameraEnabled);
    /// How a stop is answered when the proxy's own answer would be
    /// `cannedMovieURL` with no error.
    [[nodiscard]] static StopAnswer answerStop(const std::optional<URL>& cannedMovieURL);
};

} // namespace lumora::platform
