#include "platform/host/lab/LabScreen.h"

#include "platform/graphics/Color.h"
#include "platform/graphics/Layer.h"

#include <cmath>
#include <numbers>

namespace lumora::platform::host {

namespace {

constexpr double kTurn = 2.0 * std::numbers::pi;

std::shared_ptr<View> addView(View& container, Rect frame, std::shared_ptr<Color> colour)
{
    auto view = std::make_shared<View>(frame);
    view->setBackgroundColor(std::move(colour));
    container.addSubview(view);
    return view;
}

} // namespace

LabScreen::LabScreen(LabOptions::Screen screen, std::shared_ptr<View> container, std::unique_ptr<MovieFrames> movie)
    : screen_(screen), container_(std::move(container)), movie_(std::move(movie))
{
    const auto bounds = container_->bounds();
    picture_ = addView(*container_, bounds, Color::blackColor());
    switch (screen_) {
    case LabOptions::Screen::TestPicture:
        // A bar sweeping across and a square going up and down.
        parts_.push_back(addView(*picture_, { { 0, 0 }, { 24, bounds.size.height } }, Color::whiteColor()));
        parts_.push_back(
            addView(*picture_, { { 0, 0 }, { 80, 80 } }, Color::colorWithRed_green_blue_alpha(1, 0, 0, 1)));
        break;
    case LabOptions::Screen::Scenes:
        // Three cards circling the middle and a panel that fades in and out.
        parts_.push_back(
            addView(*picture_, { { 0, 0 }, { 90, 120 } }, Color::colorWithRed_green_blue_alpha(0.9, 0.3, 0.2, 1)));
        parts_.push_back(
            addView(*picture_, { { 0, 0 }, { 90, 120 } }, Color::colorWithRed_green_blue_alpha(0.2, 0.7, 0.3, 1)));
        parts_.push_back(
            addView(*picture_, { { 0, 0 }, { 90, 120 } }, Color::colorWithRed_green_blue_alpha(0.2, 0.4, 0.9, 1)));
        parts_.push_back(addView(*picture_, { { 20, bounds.size.height - 140 }, { bounds.size.width - 40, 100 } },
            Color::colorWithWhite_alpha(0.95, 1)));
        break;
    case LabOptions::Screen::Movie:
        break;
    }
    show(0);
}

void LabScreen::show(double seconds)
{
    const auto bounds = picture_->bounds();
    const double width = bounds.size.width;
    const double height = bounds.size.height;
    switch (screen_) {
    case LabOptions::Screen::TestPicture: {
        const double hue = std::fmod(seconds / 10.0, 1.0);
        picture_->setBackgroundColor(Color::colorWithRed_green_blue_alpha(0.5 + (0.5 * std::sin(kTurn * hue)),
            0.5 + (0.5 * std::sin(kTurn * (hue + (1.0 / 3)))), 0.5 + (0.5 * std::sin(kTurn * (hue + (2.0 / 3)))), 1));
        parts_[0]->setCenter({ std::fmod(seconds * 100.0, width), height / 2 });
        parts_[1]->setCenter({ width / 2, (height / 2) + ((height / 3) * std::sin(kTurn * seconds / 4.0)) });
        break;
    }
    case LabOptions::Screen::Scenes: {
        picture_->setBackgroundColor(Color::colorWithWhite_alpha(0.15, 1));
        for (std::size_t card = 0; card < 3; ++card) {
            const double angle = (kTurn * seconds / 6.0) + (kTurn * static_cast<double>(card) / 3.0);
            parts_[card]->setCenter({ (width / 2) + (100 * std::cos(angle)), (height / 3) + (100 * std::sin(angle)) });
        }
        parts_[3]->setAlpha(0.5 + (0.5 * std::sin(kTurn * seconds / 3.0)));
        break;
    }
    case LabOptions::Screen::Movie:
        if (movie_) {
            picture_->layer()->setContents(movie_->pictureAt(
                seconds, static_cast<int>(std::lround(width)), static_cast<int>(std::lround(height))));
        }
        break;
    }
}

} // namespace lumora::platform::host
