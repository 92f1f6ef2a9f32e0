#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lumora {

/// The requests the application side sends to the recording service. Every
/// request is one-way; answers come only through the completion callbacks.
class LMDaemonProtocol : private platform::Noncopyable {
public:
    /// Hears whether the start failed, and whether the microphone and the camera were granted.
    using StartHandler
        = std::function<void(const platform::ErrorRef& error, bool microphoneGranted, bool cameraGranted)>;
    /// Hears the stopped recording's movie, or the error.
    using StopHandler
        = std::function<void(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error)>;
    /// Hears the error of a request, or null when it succeeded.
    using ErrorHandler = std::function<void(const platform::ErrorRef& error)>;
    /// Called once the movie has been thrown away.
    using DiscardHandler = std::function<void()>;

    virtual ~LMDaemonProtocol() = default;

    /// Starts recording the windows whose layer context ids are given, at
    /// `windowSize` pixels.
    virtual void
    startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
        const std::vector<std::uint32_t>& windowLayerContextIDs, platform::Size windowSize, bool microphoneEnabled,
        bool cameraEnabled, bool broadcast, bool systemRecording, StartHandler handler)
        = 0;
    /// Hands the broadcast extension chosen by the host app, and its archived configuration,
    /// to the service before a broadcast starts.
    virtual void setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        const std::string& hostBundleID, const std::string& broadcastExtensionBundleID,
        const platform::Data& broadcastConfigurationData, const platform::DictionaryRef& userInfo, ErrorHandler handler)
        = 0;
    /// Stops the recording and hands over the movie.
    virtual void stopRecordingWithHandler(StopHandler handler) = 0;
    /// Stops, cutting `startClipDuration` seconds from the beginning of the
    /// movie and `endClipDuration` seconds from its end.
    virtual void stopRecordingWithStartClipDuration_endClipDuration_handler(
        double startClipDuration, double endClipDuration, StopHandler handler)
        = 0;
    /// Pauses the recording; nothing is captured until it resumes.
    virtual void pauseRecording() = 0;
    /// Resumes a paused recording of the window with that layer context id.
    virtual void resumeRecordingWithWindowLayerContextID(std::uint32_t windowLayerContextID) = 0;
    /// Switches the microphone on or off during a recording.
    virtual void setMicrophoneEnabled(bool microphoneEnabled) = 0;
    /// Throws the last movie away.
    virtual void discardRecordingWithHandler(DiscardHandler handler) = 0;
    /// The recording app with that bundle identifier became active.
    virtual void clientDidBecomeActiveWithBundleID(const std::string& bundleID) = 0;
    /// The recording app with that bundle identifier is going inactive.
    virtual void clientDidResignActiveWithBundleID(const std::string& bundleID) = 0;
};

} // namespace lumora
