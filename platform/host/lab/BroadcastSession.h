#pragma once

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastActivityViewControllerDelegate.h"
#include "broadcast/LMBroadcastController.h"
#include "broadcast/LMBroadcastControllerDelegate.h"
#include "recording/LMScreenRecorderDelegate.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// A live broadcast on the simulated device in a few calls, for whoever
/// tests a broadcast service's extensions: it plays the application (a
/// window, the broadcast service picker presented over it, the controller
/// the picker hands over) and the user (choosing the service), and steps the
/// device clock.
///
///     BroadcastService { ... }.install();
///     const auto session = BroadcastSession::make();
///     session->goLive("com.example.setup");   // holds the device clock
///     session->run(10);                        // ten seconds of device time
///     session->finish();
///     session->waitForDeliveries();
///
/// Every call returns once what it started has happened: the answer it
/// waited for, and every request it handed the upload extension ended with
/// what the services sent the application delivered (each wait is bounded
/// by `Timeout`, running the MainQueue meanwhile). Call it on the main thread.
class BroadcastSession final
    : public LMBroadcastActivityViewControllerDelegate::
          BroadcastActivityViewController_didFinishWithBroadcastController_error,
      public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo,
      public LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController,
      public std::enable_shared_from_this<BroadcastSession> {
public:
    /// How long a step waits for its answer.
    static constexpr std::chrono::seconds Timeout { 5 };
    /// The domain of the session's own errors, and their codes.
    static constexpr std::string_view ErrorDomain = "lumora.platform.host.BroadcastSession";
    /// No picker came, or the picker did not take the choice of service.
    static constexpr std::int64_t NoPickerErrorCode = 1;
    /// The picker finished without a broadcast controller (the setup failed or was cancelled).
    static constexpr std::int64_t NoControllerErrorCode = 2;
    /// An answer did not come within `Timeout`.
    static constexpr std::int64_t TimedOutErrorCode = 3;

    /// A session with a key window of the application's.
    static std::shared_ptr<BroadcastSession> make();

    /// Holds the device clock, gives the recording service proxy the device's
    /// connection to the service if it has none, turns the microphone on or off, chooses the
    /// service whose setup extension is `setupExtension` in the picker and
    /// starts the broadcast. Null when it is live, else why not.
    ErrorRef goLive(const std::string& setupExtension, bool microphone = false);
    /// Lets `seconds` of device time pass, a payload interval at a time,
    /// running the MainQueue at each step.
    void run(double seconds);
    /// As `run`, calling `step` after each interval with the device seconds
    /// passed so far in this run (for what the application draws meanwhile).
    void run(double seconds, const std::function<void(double passed)>& step);
    /// Pauses and resumes the broadcast.
    void pause();
    void resume();
    /// Finishes the broadcast; null once finished, else the error it answered.
    ErrorRef finish();
    /// Waits until every request handed to the upload extension so far has
    /// ended and everything the services sent the application has arrived
    /// (`SimulatedDevice::drain`). False when that took longer than `timeout`.
    bool waitForDeliveries(std::chrono::milliseconds timeout = Timeout);

    /// The application's root view controller, whose view fills the key window.
    [[nodiscard]] std::shared_ptr<ViewController> rootViewController() const { return root_; }
    /// The controller the picker handed over, once live.
    [[nodiscard]] std::shared_ptr<LMBroadcastController> controller() const;
    /// Every piece of service information the controller's delegate heard, in order.
    [[nodiscard]] std::vector<DictionaryRef> serviceInfo() const;
    /// Whether the recording ended without being asked to, and with which error.
    [[nodiscard]] bool stoppedBySystem() const;
    [[nodiscard]] ErrorRef stopError() const;

    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& broadcastActivityViewController,
        const std::shared_ptr<LMBroadcastController>& broadcastController, const ErrorRef& error) override;
    void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& broadcastController, const DictionaryRef& serviceInfo) override;
    void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& screenRecorder, const ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& previewViewController) override;

private:
    BroadcastSession() = default;
    /// Calls `step` with a handler and waits for it; the handler's error, or a time-out.
    ErrorRef answer(const std::function<void(LMBroadcastController::ErrorHandler)>& step);
    ErrorRef presentPickerAndChoose(const std::string& setupExtension);

    std::shared_ptr<Window> window_;
    std::shared_ptr<ViewController> root_;
    std::shared_ptr<LMBroadcastActivityViewController> picker_;

    mutable std::mutex mutex_;
    bool pickerFinished_ = false;
    std::shared_ptr<LMBroadcastController> controller_;
    ErrorRef pickerError_;
    std::vector<DictionaryRef> serviceInfo_;
    bool stopped_ = false;
    ErrorRef stopError_;
};

} // namespace lumora::platform::host
