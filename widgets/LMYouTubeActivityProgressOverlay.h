#pragma once

#include "platform/ui/ActivityIndicatorView.h"
#include "platform/ui/View.h"

#include <memory>

namespace lumora {

/// Dims whatever it covers and shows a spinner while a long task (an upload,
/// say) runs.
///
/// The caller sizes the overlay and adds it to a parent view, then shows it:
/// the overlay fades in and then adds its spinner. Hiding removes the spinner
/// at once, fades the overlay out and takes it from its parent; showing it
/// again needs a parent again. Used on the MainQueue.
class LMYouTubeActivityProgressOverlay : public platform::View {
public:
    /// How long each fade takes, in seconds.
    static constexpr double FadeDuration = 0.2;

    using platform::View::View;

    /// Shows or hides the overlay; does nothing when it already is in that state.
    void setShowing_animated(bool showing, bool animated);
    /// Fades the overlay in over a new dimming view, then adds a spinner. It
    /// always animates.
    void setupOverlayAnimated(bool animated);
    /// Takes the spinner away, fades the overlay out and removes it from its
    /// parent. It always animates.
    void tearDownOverlayAnimated(bool animated);
    /// Takes the spinner away and leaves the dimming in place.
    void stopActivity();

    /// Whether the overlay is shown or being shown. Setting it changes nothing else.
    [[nodiscard]] bool isShowing() const { return isShowing_; }
    /// Sets the flag alone: nothing is shown or hidden.
    void setIsShowing(bool showing) { isShowing_ = showing; }
    /// The spinner; null until the first fade-in has ended.
    [[nodiscard]] const std::shared_ptr<platform::ActivityIndicatorView>& activityIndicator() const
    {
        return activityIndicator_;
    }
    /// Replaces the spinner reference without adding or removing a view.
    void setActivityIndicator(std::shared_ptr<platform::ActivityIndicatorView> indicator)
    {
        activityIndicator_ = std::move(indicator);
    }

    [[nodiscard]] std::string className() const override { return "LMYouTubeActivityProgressOverlay"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMYouTubeActivityProgressOverlay" || platform::View::isKindOfClassNamed(name);
    }

private:
    bool isShowing_ = false;
    std::shared_ptr<platform::ActivityIndicatorView> activityIndicator_;
};

} // namespace lumora
