#pragma once

#include "platform/Error.h"
#include "platform/Geometry.h"
#include "platform/Noncopyable.h"
#include "platform/URL.h"
#include "platform/Value.h"

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
    using StartHandler
        = std::function<void(const platform::ErrorRef& error, bool microphoneGranted, bool cameraGranted)>;
    using StopHandler
        = std::function<void(const std::optional<platform::URL>& movieURL, const platform::ErrorRef& error)>;
    using ErrorHandler = std::function<void(const platform::ErrorRef& error)>;
    using DiscardHandler = std::function<void()>;

    virtual ~LMDaemonProtocol() = default;

    /// Starts recording the windows whose layer context ids are given, at
    /// `windowSize` pixels.
    virtual void
    startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
        const std::vector<std::uint32_t>& windowLayerContextIDs, platform::Size windowSize, bool microphoneEnabled,
        bool cameraEnabled, bool broadcast, bool systemRecording, StartHandler handler)
        = 0;
    virtual void setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        const std::string& hostBundleID, const std::string& broadcastExtensionBundleID,
        const platform::Data& broadcastConfigurationData, const platform::DictionaryRef& userInfo, ErrorHandler handler)
        = 0;
    virtual void stopRecordingWithHandler(StopHandler handler) = 0;
    /// Stops, cutting `startClipDuration` seconds from the beginning of the
    /// movie and `endClipDuration` seconds from its end.
    virtual void stopRecordingWithStartClipDuration_endClipDuration_handler(
        double startClipDuration, double endClipDuration, StopHandler handler)
        = 0;
    virtual void pauseRecording() = 0;
    virtual void resumeRecordingWithWindowLayerContextID(std::uint32_t windowLayerContextID) = 0;
    virtual void setMicrophoneEnabled(bool microphoneEnabled) = 0;
    virtual void discardRecordingWithHandler(DiscardHandler handler) = 0;
    virtual void clientDidBecomeActiveWithBundleID(const std::string& bundleID) = 0;
    virtual void clientDidResignActiveWithBundleID(const std::string& bundleID) = 0;
};

} // namespace lumora
