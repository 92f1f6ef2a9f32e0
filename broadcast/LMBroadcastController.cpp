#include "broadcast/LMBroadcastController.h"

#include "recording/LMScreenRecorder.h"

namespace lumora {

LMBroadcastController::LMBroadcastController(
    std::optional<std::string> extensionBundleID, std::optional<platform::URL> broadcastURL)
    : broadcastExtensionBundleID_(std::move(extensionBundleID)), broadcastURL_(std::move(broadcastURL))
{ }

LMBroadcastController::~LMBroadcastController()
{
    // A running broadcast keeps its controller alive as the recorder's active
    // controller, so this is reached for a controller that was never started,
    // was paused or has finished. The recorder ignores it when not recording
    // and calls no absent handler.
    LMScreenRecorder::sharedRecorder()->stopBroadcastWithHandler(nullptr);
}

std::shared_ptr<LMBroadcastController> LMBroadcastController::init()
{
    return initWithExtensionBundleID_broadcastURL(std::nullopt, std::nullopt);
}

std::shared_ptr<LMBroadcastController> LMBroadcastController::initWithExtensionBundleID_broadcastURL(
    std::optional<std::string> extensionBundleID, std::optional<platform::URL> broadcastURL)
{
    return std::make_shared<LMBroadcastController>(std::move(extensionBundleID), std::move(broadcastURL));
}

void LMBroadcastController::startBroadcastWithHandler(ErrorHandler handler)
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->setActiveBroadcastController(sharedFrom(this));
    recorder->startBroadcastWithHandler([handler = std::move(handler)](const platform::ErrorRef& error) {
        if (handler) {
            handler(error);
        }
    });
}

void LMBroadcastController::pauseBroadcast()
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->setActiveBroadcastController(nullptr);
    recorder->pauseRecording();
}

void LMBroadcastController::resumeBroadcast()
{
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->setActiveBroadcastController(sharedFrom(this));
    recorder->resumeRecording();
}

void LMBroadcastController::finishBroadcastWithHandler(ErrorHandler handler)
{
    // The completion holds the controller until the recorder answers.
    LMScreenRecorder::sharedRecorder()->stopBroadcastWithHandler(
        [self = sharedFrom(this), handler = std::move(handler)](
            const platform::DictionaryRef& serviceInfo, const platform::ErrorRef& error) {
            LMScreenRecorder::sharedRecorder()->setActiveBroadcastController(nullptr);
            self->setServiceInfo(serviceInfo);
            if (handler) {
                handler(error);
            }
        });
}

bool LMBroadcastController::isBroadcasting() const
{
    return LMScreenRecorder::sharedRecorder()->isRecording();
}

bool LMBroadcastController::isPaused() const
{
    return LMScreenRecorder::sharedRecorder()->isPaused();
}

} // namespace lumora
