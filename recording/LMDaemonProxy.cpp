#include "recording/LMDaemonProxy.h"

#include "platform/DispatchQueue.h"
#include "platform/Log.h"
#include "recording/LMExtensions.h"

#include <mutex>

namespace lumora {

using platform::Log;

std::shared_ptr<LMDaemonProxy> LMDaemonProxy::daemonProxy()
{
    static std::once_flag once;
    static std::shared_ptr<LMDaemonProxy> shared;
    std::call_once(once, [] { shared = std::make_shared<LMDaemonProxy>(); });
    return shared;
}

std::optional<platform::URL> LMDaemonProxy::cannedMovieURL()
{
    const auto bundle = LMExtensions::_lmFrameworkBundle();
    return bundle ? bundle->URLForResource("srecorder", "mp4") : std::nullopt;
}

void LMDaemonProxy::
    startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
        const std::vector<std::uint32_t>& /*windowLayerContextIDs*/, platform::Size /*windowSize*/,
        bool microphoneEnabled, bool cameraEnabled, bool /*broadcast*/, bool /*systemRecording*/, StartHandler handler)
{
    if (handler) {
        handler(nullptr, microphoneEnabled, cameraEnabled);
    }
}

void LMDaemonProxy::
    setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        const std::string& /*hostBundleID*/, const std::string& /*broadcastExtensionBundleID*/,
        const platform::Data& /*broadcastConfigurationData*/, const platform::DictionaryRef& /*userInfo*/,
        ErrorHandler handler)
{
    if (handler) {
        handler(nullptr);
    }
}

void LMDaemonProxy::stopRecordingWithHandler(StopHandler handler)
{
    if (handler) {
        handler(cannedMovieURL(), nullptr);
    }
}

void LMDaemonProxy::stopRecordingWithStartClipDuration_endClipDuration_handler(
    double /*startClipDuration*/, double /*endClipDuration*/, StopHandler handler)
{
    stopRecordingWithHandler(std::move(handler));
}

void LMDaemonProxy::pauseRecording() { }

void LMDaemonProxy::resumeRecordingWithWindowLayerContextID(std::uint32_t /*windowLayerContextID*/) { }

void LMDaemonProxy::setMicrophoneEnabled(bool /*microphoneEnabled*/) { }

// The local service has no movie to throw away and never answers a discard.
void LMDaemonProxy::discardRecordingWithHandler(DiscardHandler /*handler*/) { }

void LMDaemonProxy::clientDidBecomeActiveWithBundleID(const std::string& /*bundleID*/) { }

void LMDaemonProxy::clientDidResignActiveWithBundleID(const std::string& /*bundleID*/) { }

void LMDaemonProxy::stopRecordingWithError_movieURL(
    const platform::ErrorRef& /*error*/, const std::optional<platform::URL>& /*movieURL*/)
{
    Log::ordinary("LMDaemonProxy: stopRecordingWithError:movieURL:");
}

void LMDaemonProxy::updateBroadcastServiceInfo(const platform::DictionaryRef& /*serviceInfo*/)
{
    Log::ordinary("LMDaemonProxy: updateBroadcastServiceInfo:");
}

void LMDaemonProxy::connection_handleInvocation_isReply(
    const std::shared_ptr<platform::ServiceConnection>& /*connection*/,
    const std::shared_ptr<platform::Invocation>& invocation, bool isReply)
{
    Log::ordinary("LMDaemonProxy: connection: handleInvocation:");
    if (isReply) {
        Log::ordinary("LMDaemonProxy: connection: handleInvocation: recieved reply for invocation");
        invocation->retainArguments();
        // Replies complete requests the application made on the MainQueue, so
        // they are answered there.
        platform::DispatchQueue::main().async([invocation] {
            invocation->invoke();
            invocation->setTarget(platform::Invocation::nullPlaceholder());
        });
        return;
    }
    Log::ordinary("LMDaemonProxy: connection: handleInvocation: did not recieve reply for invocation");
    invocation->invoke();
    invocation->setTarget(platform::Invocation::nullPlaceholder());
}

} // namespace lumora
