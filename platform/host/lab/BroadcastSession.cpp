#include "platform/host/lab/BroadcastSession.h"

#include "platform/foundation/Date.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/ui/ViewController.h"
#include "platform/ui/Window.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMScreenRecorder.h"

#include <atomic>
#include <cmath>

namespace lumora::platform::host {

namespace {

ErrorRef sessionError(std::int64_t code)
{
    return Error::errorWithDomain(std::string(BroadcastSession::ErrorDomain), code);
}

bool runUntil(const std::function<bool()>& condition)
{
    return MainQueue::runUntil(condition, BroadcastSession::Timeout);
}

} // namespace

std::shared_ptr<BroadcastSession> BroadcastSession::make()
{
    std::shared_ptr<BroadcastSession> session(new BroadcastSession());
    session->window_ = std::make_shared<Window>(Rect { { 0, 0 }, { 375, 667 } });
    session->root_ = std::make_shared<ViewController>();
    session->window_->setRootViewController(session->root_);
    session->window_->makeKeyAndVisible();
    return session;
}

ErrorRef BroadcastSession::goLive(const std::string& setupExtension, bool microphone)
{
    auto& device = SimulatedDevice::shared();
    device.freezeClock(Date::now());
    // The service's calls into the application (service information, a stop
    // it decides on) cross the connection the proxy keeps.
    const auto proxy = LMDaemonProxy::daemonProxy();
    if (!proxy->connection()) {
        proxy->setConnection(device.recordingService().clientConnection());
    }
    const auto recorder = LMScreenRecorder::sharedRecorder();
    recorder->setMicrophoneEnabled(microphone);
    recorder->setDelegate(shared_from_this());
    if (auto error = presentPickerAndChoose(setupExtension)) {
        return error;
    }
    const auto live = controller();
    live->setDelegate(shared_from_this());
    auto error = answer([&live](auto handler) { live->startBroadcastWithHandler(std::move(handler)); });
    waitForDeliveries();
    return error;
}

ErrorRef BroadcastSession::presentPickerAndChoose(const std::string& setupExtension)
{
    {
        const std::lock_guard lock(mutex_);
        pickerFinished_ = false;
        controller_.reset();
        pickerError_.reset();
    }
    auto loaded = std::make_shared<std::atomic<bool>>(false);
    auto picker = std::make_shared<std::shared_ptr<LMBroadcastActivityViewController>>();
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(
        [loaded, picker](const std::shared_ptr<LMBroadcastActivityViewController>& received, const ErrorRef&) {
            *picker = received;
            loaded->store(true);
        });
    if (!runUntil([loaded] { return loaded->load(); }) || !*picker) {
        return sessionError(NoPickerErrorCode);
    }
    picker_ = *picker;
    picker_->setDelegate(shared_from_this());
    root_->presentViewController_animated_completion(picker_, false, nullptr);
    const bool chosen = SimulatedDevice::shared().broadcastPicker().chooseService(setupExtension);
    const bool finished = chosen && runUntil([this] {
        const std::lock_guard lock(mutex_);
        return pickerFinished_;
    });
    picker_->dismissViewControllerAnimated_completion(false, nullptr);
    runUntil([this] { return root_->presentedViewController() == nullptr; });
    // The picker keeps the handler it was loaded with; let it go with the picker.
    picker_->setDidFinishHandler(nullptr);
    picker_.reset();
    if (!chosen) {
        return sessionError(NoPickerErrorCode);
    }
    if (!finished) {
        return sessionError(TimedOutErrorCode);
    }
    const std::lock_guard lock(mutex_);
    return controller_ ? nullptr : (pickerError_ ? pickerError_ : sessionError(NoControllerErrorCode));
}

void BroadcastSession::run(double seconds)
{
    run(seconds, nullptr);
}

void BroadcastSession::run(double seconds, const std::function<void(double passed)>& step)
{
    auto& device = SimulatedDevice::shared();
    const auto steps = std::lround(seconds / SimulatedRecordingService::PayloadInterval);
    for (long index = 0; index < steps; ++index) {
        device.advanceClock(SimulatedRecordingService::PayloadInterval);
        MainQueue::drain();
        if (step) {
            step(static_cast<double>(index + 1) * SimulatedRecordingService::PayloadInterval);
        }
    }
    waitForDeliveries();
}

void BroadcastSession::pause()
{
    if (const auto live = controller()) {
        live->pauseBroadcast();
        MainQueue::drain();
        waitForDeliveries();
    }
}

void BroadcastSession::resume()
{
    if (const auto live = controller()) {
        live->resumeBroadcast();
        MainQueue::drain();
        waitForDeliveries();
    }
}

ErrorRef BroadcastSession::finish()
{
    const auto live = controller();
    if (!live) {
        return sessionError(NoControllerErrorCode);
    }
    auto error = answer([&live](auto handler) { live->finishBroadcastWithHandler(std::move(handler)); });
    waitForDeliveries();
    return error;
}

bool BroadcastSession::waitForDeliveries(std::chrono::milliseconds timeout)
{
    return SimulatedDevice::shared().drain(timeout);
}

ErrorRef BroadcastSession::answer(const std::function<void(LMBroadcastController::ErrorHandler)>& step)
{
    struct Answer {
        std::mutex mutex;
        bool answered = false;
        ErrorRef error;
    };
    auto received = std::make_shared<Answer>();
    step([received](const ErrorRef& error) {
        const std::lock_guard lock(received->mutex);
        received->answered = true;
        received->error = error;
    });
    const bool answered = runUntil([received] {
        const std::lock_guard lock(received->mutex);
        return received->answered;
    });
    const std::lock_guard lock(received->mutex);
    return answered ? received->error : sessionError(TimedOutErrorCode);
}

std::shared_ptr<LMBroadcastController> BroadcastSession::controller() const
{
    const std::lock_guard lock(mutex_);
    return controller_;
}

std::vector<DictionaryRef> BroadcastSession::serviceInfo() const
{
    const std::lock_guard lock(mutex_);
    return serviceInfo_;
}

bool BroadcastSession::stoppedBySystem() const
{
    const std::lock_guard lock(mutex_);
    return stopped_;
}

ErrorRef BroadcastSession::stopError() const
{
    const std::lock_guard lock(mutex_);
    return stopError_;
}

void BroadcastSession::broadcastActivityViewController_didFinishWithBroadcastController_error(
    const std::shared_ptr<LMBroadcastActivityViewController>& /*broadcastActivityViewController*/,
    const std::shared_ptr<LMBroadcastController>& broadcastController, const ErrorRef& error)
{
    const std::lock_guard lock(mutex_);
    pickerFinished_ = true;
    controller_ = broadcastController;
    pickerError_ = error;
}

void BroadcastSession::broadcastController_didUpdateServiceInfo(
    const std::shared_ptr<LMBroadcastController>& /*broadcastController*/, const DictionaryRef& serviceInfo)
{
    const std::lock_guard lock(mutex_);
    serviceInfo_.push_back(serviceInfo);
}

void BroadcastSession::screenRecorder_didStopRecordingWithError_previewViewController(
    const std::shared_ptr<LMScreenRecorder>& /*screenRecorder*/, const ErrorRef& error,
    const std::shared_ptr<LMPreviewViewController>& /*previewViewController*/)
{
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    stopError_ = error;
}

} // namespace lumora::platform::host
