#include "sample_app/app/BroadcastPickerApp.h"

#include "platform/extensions/ShareActivity.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Layer.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"
#include "recording/LMExtensions.h"
#include "recording/LMScreenRecorder.h"
#include "sample_app/app/Narration.h"

#include <array>
#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <vector>

namespace lumora::sample {

namespace {

std::string describe(const platform::ErrorRef& error)
{
    return error ? fmt::format("error {} ({})", error->code(), error->localizedDescription()) : "no error";
}

} // namespace

BroadcastPickerApp::BroadcastPickerApp()
    : window_(std::make_shared<platform::Window>(platform::Rect { { 0, 0 }, { 375, 667 } })),
      root_(std::make_shared<platform::ViewController>())
{
    window_->setRootViewController(root_);
    window_->makeKeyAndVisible();
}

void BroadcastPickerApp::showOnAirScene(int scene)
{
    const auto view = root_->view();
    if (!card_) {
        view->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(0.1, 0.1, 0.15, 1));
        auto bar = std::make_shared<platform::View>(platform::Rect { { 0, 0 }, { 375, 80 } });
        bar->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(0.85, 0.1, 0.1, 1));
        view->addSubview(bar);
        card_ = std::make_shared<platform::View>(platform::Rect { { 40, 180 }, { 295, 300 } });
        card_->layer()->setCornerRadius(24);
        view->addSubview(card_);
        auto badge = std::make_shared<platform::View>(platform::Rect { { 137, 520 }, { 100, 100 } });
        badge->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(1, 0.8, 0.1, 1));
        badge->layer()->setCornerRadius(50);
        view->addSubview(badge);
    }
    static constexpr std::array<std::array<double, 3>, 3> kCardColours { { { 0.1, 0.5, 0.95 }, { 0.15, 0.75, 0.3 },
        { 0.6, 0.3, 0.85 } } };
    const auto& colour = kCardColours.at(static_cast<std::size_t>(scene) % kCardColours.size());
    card_->setBackgroundColor(platform::Color::colorWithRed_green_blue_alpha(colour[0], colour[1], colour[2], 1));
}

bool BroadcastPickerApp::loadAndPresentPicker()
{
    {
        const std::lock_guard lock(mutex_);
        finish_.reset();
    }
    say("The app loads the broadcast service picker");
    auto loaded = std::make_shared<std::atomic<bool>>(false);
    auto picker = std::make_shared<std::shared_ptr<LMBroadcastActivityViewController>>();
    LMBroadcastActivityViewController::loadBroadcastActivityViewControllerWithHandler(
        [loaded, picker](
            const std::shared_ptr<LMBroadcastActivityViewController>& received, const platform::ErrorRef& error) {
            fmt::print("   picker loaded: {}, {} (on the MainQueue: {})\n", received ? "yes" : "no", describe(error),
                platform::MainQueue::isCurrent());
            *picker = received;
            *loaded = true;
        });
    if (!platform::MainQueue::runUntil([loaded] { return loaded->load(); }, std::chrono::seconds(5)) || !*picker) {
        say("No picker came");
        return false;
    }
    picker_ = *picker;
    picker_->setDelegate(shared_from_this());
    say("The app presents the picker over its window");
    root_->presentViewController_animated_completion(picker_, true, nullptr);
    fmt::print("   presented: {}; the system picker's view embedded: {}\n", root_->presentedViewController() == picker_,
        picker_->hostViewController() != nullptr);
    return true;
}

std::shared_ptr<LMBroadcastController> BroadcastPickerApp::waitForPickerToFinish()
{
    const auto heard = [this] {
        const std::lock_guard lock(mutex_);
        return finish_.has_value();
    };
    if (!platform::MainQueue::runUntil(heard, std::chrono::seconds(5))) {
        say("The picker's delegate heard nothing");
        return nullptr;
    }
    Finish finish;
    {
        const std::lock_guard lock(mutex_);
        finish = *finish_;
    }
    if (finish.controller) {
        fmt::print("   the picker handed over a broadcast controller for {} at {}\n",
            finish.controller->broadcastExtensionBundleID().value_or("(none)"),
            finish.controller->broadcastURL() ? finish.controller->broadcastURL()->absoluteString() : "(none)");
    } else {
        fmt::print("   no broadcast controller: {}\n", describe(finish.error));
    }
    say("The app dismisses the picker");
    picker_->dismissViewControllerAnimated_completion(true, nullptr);
    platform::MainQueue::runUntil(
        [this] { return root_->presentedViewController() == nullptr; }, std::chrono::seconds(5));
    fmt::print("   picker still presented: {}\n", root_->presentedViewController() != nullptr);
    // The picker keeps the handler it was loaded with; let it go with the picker.
    picker_->setDidFinishHandler(nullptr);
    picker_.reset();
    return finish.controller;
}

void BroadcastPickerApp::enableMicrophone()
{
    say("The app turns the microphone on for the broadcast");
    LMScreenRecorder::sharedRecorder()->setMicrophoneEnabled(true);
}

void BroadcastPickerApp::listStreamActivities()
{
    say("The app lists the share activities that take a live stream");
    struct Listing {
        std::mutex mutex;
        std::vector<std::shared_ptr<platform::ShareActivity>> activities;
        bool done = false;
    };
    auto listing = std::make_shared<Listing>();
    LMExtensions::streamActivitiesWithCompletion(
        [listing](const std::vector<std::shared_ptr<platform::ShareActivity>>& activities) {
            const std::lock_guard lock(listing->mutex);
            listing->activities = activities;
            listing->done = true;
        });
    const bool listed = platform::MainQueue::runUntil(
        [listing] {
            const std::lock_guard lock(listing->mutex);
            return listing->done;
        },
        std::chrono::seconds(5));
    if (!listed) {
        say("The list did not come");
        return;
    }
    const std::lock_guard lock(listing->mutex);
    fmt::print(
        "   {} streaming share activit{}\n", listing->activities.size(), listing->activities.size() == 1 ? "y" : "ies");
    for (const auto& activity : listing->activities) {
        fmt::print("   - {}\n", activity->activityType());
    }
}

void BroadcastPickerApp::broadcastActivityViewController_didFinishWithBroadcastController_error(
    const std::shared_ptr<LMBroadcastActivityViewController>& /*broadcastActivityViewController*/,
    const std::shared_ptr<LMBroadcastController>& broadcastController, const platform::ErrorRef& error)
{
    fmt::print("   delegate: the picker finished (on the MainQueue: {})\n", platform::MainQueue::isCurrent());
    const std::lock_guard lock(mutex_);
    finish_ = Finish { broadcastController, error };
}

} // namespace lumora::sample
