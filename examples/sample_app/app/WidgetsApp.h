#pragma once

#include "platform/foundation/Object.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "widgets/LMYouTubeActivityProgressOverlay.h"

#include <cstdint>
#include <memory>

namespace lumora::sample {

/// The sample app's widgets screen, as an application developer writes it: a
/// colourful main window, a floating picture-in-picture view, video overlay
/// buttons and a progress overlay.
class WidgetsApp final : public platform::Object {
public:
    /// Makes the main window, filled with coloured tiles, and shows it.
    void showMainWindow();
    [[nodiscard]] const std::shared_ptr<platform::Window>& mainWindow() const { return window_; }
    /// How many times the main window's tiles were tapped.
    [[nodiscard]] int tileTaps() const { return tileTaps_; }

    /// Floats a small "camera" view above the app; it springs to the top left.
    void showPictureInPicture();
    void hidePictureInPicture();
    [[nodiscard]] const std::shared_ptr<platform::View>& pictureInPictureView() const { return pipView_; }

    /// A video overlay button of `style`, centred on a picture of its own in
    /// the main window; taps on it are counted.
    std::shared_ptr<platform::View> addOverlayButtonOverPicture(std::int64_t style, platform::Rect pictureFrame);
    [[nodiscard]] int buttonTaps() const { return buttonTaps_; }

    /// Covers the main window with a progress overlay and shows it, or hides it.
    void showProgress();
    void hideProgress();
    [[nodiscard]] const std::shared_ptr<LMYouTubeActivityProgressOverlay>& progressOverlay() const
    {
        return progressOverlay_;
    }

    /// The action of the overlay buttons.
    void playTapped(const std::shared_ptr<platform::Object>& sender);
    /// The action of the tiles.
    void tileTapped(const std::shared_ptr<platform::Object>& sender);

private:
    std::shared_ptr<platform::Window> window_;
    std::shared_ptr<platform::View> pipView_;
    std::shared_ptr<LMYouTubeActivityProgressOverlay> progressOverlay_;
    int buttonTaps_ = 0;
    int tileTaps_ = 0;
};

} // namespace lumora::sample
