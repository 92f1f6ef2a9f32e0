#include "sample_app/app/WidgetsApp.h"

#include "camera/LMPictureInPictureController.h"
#include "platform/graphics/Color.h"
#include "platform/ui/Control.h"
#include "platform/ui/Screen.h"
#include "platform/ui/ViewController.h"
#include "widgets/LMVideoOverlayButton.h"

#include <array>
#include <cmath>
#include <fmt/format.h>

namespace lumora::sample {

namespace {

using platform::Color;
using platform::Rect;

constexpr int tileColumns = 4;
constexpr int tileRows = 5;

// A hue wheel colour, for tiles and pictures that show off the blur.
std::shared_ptr<Color> hueColor(double hue, double lightness)
{
    const auto channel = [hue, lightness](double offset) {
        const double value = 0.5 + 0.5 * std::cos(2 * M_PI * (hue + offset));
        return lightness + (1 - lightness) * value * 0.9;
    };
    return Color::colorWithRed_green_blue_alpha(channel(0), channel(2.0 / 3), channel(1.0 / 3), 1);
}

} // namespace

void WidgetsApp::showMainWindow()
{
    const auto screen = platform::Screen::mainScreen();
    const auto bounds = screen ? screen->bounds() : Rect {};
    window_ = std::make_shared<platform::Window>(bounds);
    window_->setRootViewController(std::make_shared<platform::ViewController>());
    const auto root = window_->rootViewController()->view();
    root->setBackgroundColor(Color::whiteColor());

    // Twenty tiles of the hue wheel; each is a control the user may tap.
    const double width = bounds.size.width / tileColumns;
    const double height = bounds.size.height / tileRows;
    for (int row = 0; row < tileRows; ++row) {
        for (int column = 0; column < tileColumns; ++column) {
            const int index = row * tileColumns + column;
            auto tile = std::make_shared<platform::Control>(
                Rect { { column * width + 2, row * height + 2 }, { width - 4, height - 4 } });
            tile->setBackgroundColor(hueColor(static_cast<double>(index) / (tileColumns * tileRows), 0.15));
            tile->layer()->setCornerRadius(8);
            tile->addTarget_action_forControlEvents(
                platform::Control::Action(sharedFrom(this), &WidgetsApp::tileTapped),
                platform::Control::EventTouchUpInside);
            root->addSubview(tile);
        }
    }
    window_->makeKeyAndVisible();
}

void WidgetsApp::tileTapped(const std::shared_ptr<platform::Object>& /*sender*/)
{
    ++tileTaps_;
    fmt::print("[widgets] the app's tile was tapped ({} so far)\n", tileTaps_);
}

void WidgetsApp::showPictureInPicture()
{
    // A stand-in for the camera picture: a framed, two-tone card.
    pipView_ = std::make_shared<platform::View>(Rect { { 137, 258 }, { 100, 150 } });
    pipView_->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.1, 0.1, 0.15, 1));
    pipView_->layer()->setCornerRadius(10);
    pipView_->setClipsToBounds(true);
    auto face = std::make_shared<platform::View>(Rect { { 25, 30 }, { 50, 50 } });
    face->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.95, 0.75, 0.55, 1));
    face->layer()->setCornerRadius(25);
    pipView_->addSubview(face);
    auto shoulders = std::make_shared<platform::View>(Rect { { 10, 95 }, { 80, 70 } });
    shoulders->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.2, 0.45, 0.85, 1));
    shoulders->layer()->setCornerRadius(30);
    pipView_->addSubview(shoulders);
    LMPictureInPictureController::sharedController()->showPictureInPictureWindowWithContentView(pipView_);
}

void WidgetsApp::hidePictureInPicture()
{
    LMPictureInPictureController::sharedController()->hidePictureInPictureWindow();
}

std::shared_ptr<platform::View> WidgetsApp::addOverlayButtonOverPicture(std::int64_t style, Rect pictureFrame)
{
    // A striped, colourful picture standing in for a video frame.
    auto picture = std::make_shared<platform::View>(pictureFrame);
    picture->setClipsToBounds(true);
    constexpr int stripes = 8;
    const double stripeWidth = pictureFrame.size.width / stripes;
    for (int index = 0; index < stripes; ++index) {
        auto stripe = std::make_shared<platform::View>(
            Rect { { index * stripeWidth, 0 }, { stripeWidth, pictureFrame.size.height } });
        stripe->setBackgroundColor(hueColor(static_cast<double>(index) / stripes, 0.0));
        picture->addSubview(stripe);
    }
    window_->rootViewController()->view()->addSubview(picture);

    const auto button = LMVideoOverlayButton::_srVideoOverlayButtonWithStyle(style);
    if (const auto overlay = std::dynamic_pointer_cast<LMVideoOverlayButton>(button)) {
        overlay->setTarget_action(sharedFrom(this), &WidgetsApp::playTapped);
    }
    button->setCenter({ pictureFrame.size.width / 2, pictureFrame.size.height / 2 });
    picture->addSubview(button);
    return button;
}

void WidgetsApp::playTapped(const std::shared_ptr<platform::Object>& sender)
{
    ++buttonTaps_;
    fmt::print("[widgets] play tapped on a {}\n", sender ? sender->className() : "button");
}

void WidgetsApp::showProgress()
{
    const auto root = window_->rootViewController()->view();
    progressOverlay_ = std::make_shared<LMYouTubeActivityProgressOverlay>(root->bounds());
    root->addSubview(progressOverlay_);
    progressOverlay_->setShowing_animated(true, true);
}

void WidgetsApp::hideProgress()
{
    if (progressOverlay_) {
        progressOverlay_->setShowing_animated(false, true);
    }
}

} // namespace lumora::sample
