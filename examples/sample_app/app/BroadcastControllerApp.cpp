#include "sample_app/app/BroadcastControllerApp.h"

#include "platform/foundation/DispatchQueue.h"
#include "sample_app/app/Narration.h"

#include <atomic>
#include <chrono>
#include <fmt/format.h>

namespace lumora::sample {

namespace {

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("error {} ({})", error->code(), error->localizedDescription()) : "no error";
}

// Runs the MainQueue until `handler`'s answer has come.
template <class Step> void waitForAnswer(const char* what, Step step)
{
    auto answered = std::make_shared<std::atomic<bool>>(false);
    step([answered, what](const platform::ErrorRef& error) {
        fmt::print("   {}: {}\n", what, describe(error));
        *answered = true;
    });
    if (!platform::MainQueue::runUntil([answered] { return answered->load(); }, std::chrono::seconds(5))) {
        fmt::print("   {}: no answer\n", what);
    }
}

} // namespace

void BroadcastControllerApp::makeController(
    const std::optional<std::string>& extensionBundleID, const std::optional<platform::URL>& url)
{
    controller_ = LMBroadcastController::initWithExtensionBundleID_broadcastURL(extensionBundleID, url);
    controller_->setDelegate(shared_from_this());
    say(fmt::format("The app makes a broadcast controller for {} at {}", extensionBundleID.value_or("(none)"),
        url ? url->absoluteString() : "(none)"));
}

void BroadcastControllerApp::adoptController(std::shared_ptr<LMBroadcastController> controller)
{
    controller_ = std::move(controller);
    controller_->setDelegate(shared_from_this());
}

void BroadcastControllerApp::start()
{
    say("The app starts the broadcast");
    waitForAnswer("start", [this](auto handler) { controller_->startBroadcastWithHandler(std::move(handler)); });
    printState();
}

void BroadcastControllerApp::pause()
{
    say("The app pauses the broadcast");
    controller_->pauseBroadcast();
    printState();
}

void BroadcastControllerApp::resume()
{
    say("The app resumes the broadcast");
    controller_->resumeBroadcast();
    printState();
}

void BroadcastControllerApp::finish()
{
    say("The app finishes the broadcast");
    waitForAnswer("finish", [this](auto handler) { controller_->finishBroadcastWithHandler(std::move(handler)); });
    const auto info = controller_->serviceInfo();
    fmt::print("   service info after finishing: {}\n", info ? platform::Value(info).description() : "(none)");
    printState();
}

void BroadcastControllerApp::printState() const
{
    fmt::print("   broadcasting: {}, paused: {}\n", controller_->isBroadcasting(), controller_->isPaused());
}

void BroadcastControllerApp::broadcastController_didUpdateServiceInfo(
    const std::shared_ptr<LMBroadcastController>& /*broadcastController*/, const platform::DictionaryRef& serviceInfo)
{
    // This arrives on the service connection's thread; printing needs no MainQueue.
    fmt::print("   delegate: the service reports {} (on the MainQueue: {})\n",
        platform::Value(serviceInfo).description(), platform::MainQueue::isCurrent());
}

} // namespace lumora::sample
