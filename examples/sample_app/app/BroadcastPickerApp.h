#pragma once

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastController.h"
#include "platform/system/Application.h"
#include "platform/ui/Window.h"

#include <memory>
#include <mutex>
#include <optional>

namespace lumora::sample {

/// The application's side of choosing a broadcast service: it loads the
/// broadcast service picker, presents it over its main window and waits for
/// the picker's delegate to hear how the user left it. It also lists the
/// share activities that take a live stream.
class BroadcastPickerApp final : public platform::ApplicationDelegate::Window,
                                 public LMBroadcastActivityViewControllerDelegate::
                                     BroadcastActivityViewController_didFinishWithBroadcastController_error,
                                 public std::enable_shared_from_this<BroadcastPickerApp> {
public:
    /// Makes the main window key and visible.
    BroadcastPickerApp();

    [[nodiscard]] std::shared_ptr<platform::Window> window() const override { return window_; }

    /// Loads the picker and presents it; false when no picker came.
    bool loadAndPresentPicker();
    /// Plays the run loop until the picker's delegate has heard from it, then
    /// dismisses the picker. Returns the broadcast controller the user set up,
    /// or null when the user cancelled.
    std::shared_ptr<LMBroadcastController> waitForPickerToFinish();
    /// Turns the microphone on for the broadcasts to come.
    void enableMicrophone();
    /// Lists the share activities that can take a live stream.
    void listStreamActivities();
    /// Shows what the app broadcasts live: an "on air" screen whose card
    /// takes the colour of the broadcast's `scene` (0, 1, 2, ...).
    void showOnAirScene(int scene);

    // Called on the thread the picker's message arrives on, not on the MainQueue.
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& broadcastActivityViewController,
        const std::shared_ptr<LMBroadcastController>& broadcastController, const platform::ErrorRef& error) override;

private:
    struct Finish {
        std::shared_ptr<LMBroadcastController> controller;
        platform::ErrorRef error;
    };

    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<platform::ViewController> root_;
    std::shared_ptr<LMBroadcastActivityViewController> picker_;
    std::shared_ptr<platform::View> card_;
    std::mutex mutex_;
    std::optional<Finish> finish_;
};

} // namespace lumora::sample
