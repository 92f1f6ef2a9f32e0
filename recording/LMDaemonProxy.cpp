#include "recording/LMDaemonProxy.h"

#include "broadcast/LMBroadcastController.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Protocol.h"
#include "platform/system/LocalRecordingService.h"
#include "recording/LMExtensions.h"
#include "recording/LMScreenRecorder.h"
#include "recording/LumoraErrors.h"

#include <mutex>

namespace lumora {

using platform::LocalRecordingService;
using platform::Log;
using platform::Value;

namespace {

// The name the recording service is offered under.
constexpr const char* kRecordingServiceName = "com.lumora.recordingservice";

constexpr std::int64_t kFailedToStart = -5803;
constexpr std::int64_t kFailedDuringRecording = -5804;

bool isErrorOrNull(const Value& value)
{
    return value.isNull() || value.objectAs<platform::Error>() != nullptr;
}

// How the answers of the service's requests are read: a start answers
// (error, microphone granted, camera granted), a stop (movie URL, error), a
// setup (error), a discard nothing.
platform::ServiceConnection::Reply startReply(LMDaemonProtocol::StartHandler handler)
{
    return { [](const std::vector<Value>& values) {
                return values.size() == 3 && isErrorOrNull(values[0]) && values[1].isBool() && values[2].isBool();
            },
        [handler = std::move(handler)](const std::vector<Value>& values, const platform::ErrorRef& failure) {
            if (!handler) {
                return;
            }
            if (failure) {
                handler(LumoraErrors::_lmUserErrorForCode_userInfo(kFailedToStart, nullptr), false, false);
                return;
            }
            handler(values[0].objectAs<platform::Error>(), values[1].boolValue(), values[2].boolValue());
        } };
}

platform::ServiceConnection::Reply stopReply(LMDaemonProtocol::StopHandler handler)
{
    return { [](const std::vector<Value>& values) {
                return values.size() == 2 && (values[0].isNull() || values[0].isURL()) && isErrorOrNull(values[1]);
            },
        [handler = std::move(handler)](const std::vector<Value>& values, const platform::ErrorRef& failure) {
            if (!handler) {
                return;
            }
            if (failure) {
                handler(std::nullopt, LumoraErrors::_lmUserErrorForCode_userInfo(kFailedDuringRecording, nullptr));
                return;
            }
            handler(values[0].url(), values[1].objectAs<platform::Error>());
        } };
}

} // namespace

std::shared_ptr<LMDaemonProxy> LMDaemonProxy::daemonProxy()
{
    static std::once_flag once;
    // Never destroyed: replies and service calls may still arrive while the
    // process winds down.
    static const std::shared_ptr<LMDaemonProxy>* shared = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        shared = new const std::shared_ptr<LMDaemonProxy>(std::make_shared<LMDaemonProxy>());
        // Where the platform runs the service as a process of its own, it
        // offers a connection to it; otherwise the proxy answers locally.
        if (auto offered = platform::ServiceConnection::connectionToService(kRecordingServiceName)) {
            (*shared)->setConnection(std::move(offered));
        }
    });
    return *shared;
}

void LMDaemonProxy::setConnection(std::shared_ptr<platform::ServiceConnection> connection)
{
    connection_ = std::move(connection);
    if (!connection_) {
        return;
    }
    connection_->setDelegate(sharedFrom(this));
    connection_->setExportedInterface(clientInterface());
    connection_->setExportedObject(sharedFrom(this));
    connection_->setInterruptionHandler([weak = weakFrom(this)] {
        // After the failed requests' replies, which are queued on the MainQueue already.
        platform::DispatchQueue::main().async([weak] {
            if (const auto self = weak.lock()) {
                self->connectionInterrupted();
            }
        });
    });
}

bool LMDaemonProxy::sendsRequestsOverConnection() const
{
    return connection_ && connection_->carriesRequests();
}

void LMDaemonProxy::connectionInterrupted()
{
    // A recorder that is not recording (a start or a stop already failed) ignores it.
    stopRecordingWithError_movieURL(
        LumoraErrors::_lmUserErrorForCode_userInfo(kFailedDuringRecording, nullptr), std::nullopt);
}

std::shared_ptr<platform::Interface> LMDaemonProxy::clientInterface()
{
    auto interface = platform::Interface::interfaceWithProtocolName("LMClientProtocol");
    interface->addOperation(
        "stopRecordingWithError:movieURL:", [](const platform::ObjectRef& target, const std::vector<Value>& arguments) {
            const auto client = std::dynamic_pointer_cast<LMClientProtocol>(target);
            if (!client || arguments.size() != 2 || !(arguments[0].isNull() || arguments[0].objectAs<platform::Error>())
                || !(arguments[1].isNull() || arguments[1].isURL())) {
                return false;
            }
            client->stopRecordingWithError_movieURL(arguments[0].objectAs<platform::Error>(), arguments[1].url());
            return true;
        });
    interface->addOperation(
        "updateBroadcastServiceInfo:", [](const platform::ObjectRef& target, const std::vector<Value>& arguments) {
            const auto client = std::dynamic_pointer_cast<LMClientProtocol>(target);
            if (!client || arguments.size() != 1 || !(arguments[0].isNull() || arguments[0].isDictionary())) {
                return false;
            }
            client->updateBroadcastServiceInfo(arguments[0].dictionary());
            return true;
        });
    return interface;
}

std::optional<platform::URL> LMDaemonProxy::cannedMovieURL()
{
    const auto bundle = LMExtensions::_lmFrameworkBundle();
    return bundle ? bundle->URLForResource("srecorder", "mp4") : std::nullopt;
}

// Every request is shown to the local stand-in for the service, which the
// development host's device records; it also decides how a start is answered
// (on a device with no service: granted exactly as asked, never failing).

void LMDaemonProxy::
    startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
        const std::vector<std::uint32_t>& windowLayerContextIDs, platform::Size windowSize, bool microphoneEnabled,
        bool cameraEnabled, bool broadcast, bool systemRecording, StartHandler handler)
{
    auto ids = std::make_shared<platform::Array>();
    for (const auto contextID : windowLayerContextIDs) {
        ids->emplace_back(contextID);
    }
    if (sendsRequestsOverConnection()) {
        connection_->sendRequest(
            "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
            "withHandler:",
            { Value(ids), windowSize.width, windowSize.height, microphoneEnabled, cameraEnabled, broadcast,
                systemRecording },
            startReply(std::move(handler)));
        return;
    }
    LocalRecordingService::requestReceived(
        "startRecordingWindowLayerContextIDs:windowSize:microphoneEnabled:cameraEnabled:broadcast:systemRecording:"
        "withHandler:",
        { Value(ids), windowSize.width, windowSize.height, microphoneEnabled, cameraEnabled, broadcast,
            systemRecording });
    const auto answer = LocalRecordingService::answerStart(microphoneEnabled, cameraEnabled);
    if (handler) {
        handler(answer.error, answer.microphoneGranted, answer.cameraGranted);
    }
}

void LMDaemonProxy::
    setupBroadcastWithHostBundleID_broadcastExtensionBundleID_broadcastConfigurationData_userInfo_handler(
        const std::string& hostBundleID, const std::string& broadcastExtensionBundleID,
        const platform::Data& broadcastConfigurationData, const platform::DictionaryRef& userInfo, ErrorHandler handler)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendRequest(
            "setupBroadcastWithHostBundleID:broadcastExtensionBundleID:broadcastConfigurationData:userInfo:handler:",
            { hostBundleID, broadcastExtensionBundleID, broadcastConfigurationData, userInfo },
            { [](const std::vector<Value>& values) { return values.size() == 1 && isErrorOrNull(values[0]); },
                [handler = std::move(handler)](const std::vector<Value>& values, const platform::ErrorRef& failure) {
                    if (handler) {
                        handler(failure ? LumoraErrors::_lmUserErrorForCode_userInfo(kFailedToStart, nullptr)
                                        : values[0].objectAs<platform::Error>());
                    }
                } });
        return;
    }
    LocalRecordingService::requestReceived(
        "setupBroadcastWithHostBundleID:broadcastExtensionBundleID:broadcastConfigurationData:userInfo:handler:",
        { hostBundleID, broadcastExtensionBundleID, broadcastConfigurationData, userInfo });
    if (handler) {
        handler(nullptr);
    }
}

void LMDaemonProxy::stopRecordingWithHandler(StopHandler handler)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendRequest("stopRecordingWithHandler:", {}, stopReply(std::move(handler)));
        return;
    }
    LocalRecordingService::requestReceived("stopRecordingWithHandler:", {});
    const auto answer = LocalRecordingService::answerStop(cannedMovieURL());
    if (handler) {
        handler(answer.movieURL, answer.error);
    }
}

void LMDaemonProxy::stopRecordingWithStartClipDuration_endClipDuration_handler(
    double startClipDuration, double endClipDuration, StopHandler handler)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendRequest("stopRecordingWithStartClipDuration:endClipDuration:handler:",
            { startClipDuration, endClipDuration }, stopReply(std::move(handler)));
        return;
    }
    LocalRecordingService::requestReceived(
        "stopRecordingWithStartClipDuration:endClipDuration:handler:", { startClipDuration, endClipDuration });
    const auto answer = LocalRecordingService::answerStop(cannedMovieURL());
    if (handler) {
        handler(answer.movieURL, answer.error);
    }
}

void LMDaemonProxy::pauseRecording()
{
    if (sendsRequestsOverConnection()) {
        connection_->sendMessage("pauseRecording", {});
        return;
    }
    LocalRecordingService::requestReceived("pauseRecording", {});
}

void LMDaemonProxy::resumeRecordingWithWindowLayerContextID(std::uint32_t windowLayerContextID)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendMessage("resumeRecordingWithWindowLayerContextID:", { windowLayerContextID });
        return;
    }
    LocalRecordingService::requestReceived("resumeRecordingWithWindowLayerContextID:", { windowLayerContextID });
}

void LMDaemonProxy::setMicrophoneEnabled(bool microphoneEnabled)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendMessage("setMicrophoneEnabled:", { microphoneEnabled });
        return;
    }
    LocalRecordingService::requestReceived("setMicrophoneEnabled:", { microphoneEnabled });
}

// The local service has no movie to throw away and deliberately never answers a discard.
void LMDaemonProxy::discardRecordingWithHandler(DiscardHandler handler)
{
    if (sendsRequestsOverConnection()) {
        // A service of its own answers once the movie is gone (or it went away).
        connection_->sendRequest("discardRecordingWithHandler:", {},
            { [](const std::vector<Value>& values) { return values.empty(); },
                [handler = std::move(handler)](
                    const std::vector<Value>& /*values*/, const platform::ErrorRef& /*failure*/) {
                    if (handler) {
                        handler();
                    }
                } });
        return;
    }
    LocalRecordingService::requestReceived("discardRecordingWithHandler:", {});
}

void LMDaemonProxy::clientDidBecomeActiveWithBundleID(const std::string& bundleID)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendMessage("clientDidBecomeActiveWithBundleID:", { bundleID });
        return;
    }
    LocalRecordingService::requestReceived("clientDidBecomeActiveWithBundleID:", { bundleID });
}

void LMDaemonProxy::clientDidResignActiveWithBundleID(const std::string& bundleID)
{
    if (sendsRequestsOverConnection()) {
        connection_->sendMessage("clientDidResignActiveWithBundleID:", { bundleID });
        return;
    }
    LocalRecordingService::requestReceived("clientDidResignActiveWithBundleID:", { bundleID });
}

void LMDaemonProxy::stopRecordingWithError_movieURL(
    const platform::ErrorRef& error, const std::optional<platform::URL>& movieURL)
{
    Log::ordinary("LMDaemonProxy: stopRecordingWithError:movieURL:");
    // The recorder decides what a stop it did not ask for means.
    LMScreenRecorder::sharedRecorder()->stopRecordingWithError_movieURL(error, movieURL);
}

void LMDaemonProxy::updateBroadcastServiceInfo(const platform::DictionaryRef& serviceInfo)
{
    Log::ordinary("LMDaemonProxy: updateBroadcastServiceInfo:");
    // The report stays on the connection's thread; with no broadcast using the
    // recorder it goes nowhere.
    const auto controller = LMScreenRecorder::sharedRecorder()->activeBroadcastController();
    if (!controller) {
        return;
    }
    controller->setServiceInfo(serviceInfo);
    if (const auto delegate
        = platform::answering<LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo>(
            controller->delegate())) {
        delegate->broadcastController_didUpdateServiceInfo(controller, serviceInfo);
    }
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
