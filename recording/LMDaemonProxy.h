#pragma once

#include "platform/foundation/Object.h"
#include "platform/system/ServiceConnection.h"
#include "recording/LMClientProtocol.h"
#include "recording/LMDaemonProtocol.h"

#include <memory>

namespace lumora {

/// The one proxy to the recording service. This build's proxy is local: it
/// answers every request in-process, at once, on the thread that sent it (a
/// start succeeds and grants what was asked; a stop hands back the canned
/// movie "srecorder.mp4" of the framework bundle; the rest does nothing). It
/// shows every request to the platform's local stand-in for the service
/// (`platform::LocalRecordingService`), which may answer a start otherwise,
/// as the simulated device does when told to. It also receives the service's
/// calls and forwards them.
///
/// When the platform offers a connection to a recording service of its own
/// process, the proxy keeps it as its `connection` and sends every request
/// through it instead: replies are performed on the MainQueue, the service's
/// calls on the connection's thread. A request the service never answers
/// because its connection was interrupted fails (a start with -5803, a stop
/// with -5804), and a recording the interruption cut short is reported as a
/// stop with -5804.
class LMDaemonProxy final : public platform::Object,
                            public platform::ServiceConnectionDelegate::Connection_handleInvocation_isReply,
                            public LMDaemonProtocol,
                            public LMClientProtocol {
public:
    /// The shared proxy, created on first use and kept for the life of the process.
    static std::shared_ptr<LMDaemonProxy> daemonProxy();

    LMDaemonProxy() = default;

    /// The connection to the service. The local proxy never makes one; given
    /// one, the proxy becomes its delegate and receives the service's calls
    /// (`clientInterface`) over it.
    [[nodiscard]] const std::shared_ptr<platform::ServiceConnection>& connection() const { return connection_; }
    /// Replaces the connection to the service.
    void setConnection(std::shared_ptr<platform::ServiceConnection> connection);
    /// The calls the service may make into the application, as they cross
    /// the connection: each argument is checked before it is handed on.
    static std::shared_ptr<platform::Interface> clientInterface();

    // LMDaemonProtocol
    void
    startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
        const std::vector<std::uint32_t>& windowLayerContextIDs, platform::Size windowSize, bool microphoneEnabled,
        bool cameraEnabled, bool broadcast, bool systemRecording, StartHandler handler) override;
    void setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        const std::string& hostBundleID, const std::string& broadcastExtensionBundleID,
        const platform::Data& broadcastConfigurationData, const platform::DictionaryRef& userInfo,
        ErrorHandler handler) override;
    void stopRecordingWithHandler(StopHandler handler) override;
    void stopRecordingWithStartClipDuration_endClipDuration_handler(
        double startClipDuration, double endClipDuration, StopHandler handler) override;
    void pauseRecording() override;
    void resumeRecordingWithWindowLayerContextID(std::uint32_t windowLayerContextID) override;
    void setMicrophoneEnabled(bool microphoneEnabled) override;
    void discardRecordingWithHandler(DiscardHandler handler) override;
    void clientDidBecomeActiveWithBundleID(const std::string& bundleID) override;
    void clientDidResignActiveWithBundleID(const std::string& bundleID) override;

    // LMClientProtocol
    void stopRecordingWithError_movieURL(
        const platform::ErrorRef& error, const std::optional<platform::URL>& movieURL) override;
    void updateBroadcastServiceInfo(const platform::DictionaryRef& serviceInfo) override;

    // The connection's delegate hook.
    /// A message from the service arrived on the connection: runs it against this proxy
    /// if it is one the application side answers (see `LMClientProtocol`).
    void connection_handleInvocation_isReply(const std::shared_ptr<platform::ServiceConnection>& connection,
        const std::shared_ptr<platform::Invocation>& invocation, bool isReply) override;

    [[nodiscard]] std::string className() const override { return "LMDaemonProxy"; }

private:
    /// The URL of the canned movie in the framework bundle, if it is there.
    static std::optional<platform::URL> cannedMovieURL();
    /// Whether requests go to the service over `connection` rather than
    /// being answered here.
    [[nodiscard]] bool sendsRequestsOverConnection() const;
    /// The connection was interrupted: a recording going on has ended.
    void connectionInterrupted();

    std::shared_ptr<platform::ServiceConnection> connection_;
};

} // namespace lumora
