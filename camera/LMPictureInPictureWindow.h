#pragma once

#include "platform/ui/Window.h"

#include <memory>

namespace lumora {

/// The window that floats the picture-in-picture content view above the
/// application. Only points on the content view belong to it; every other
/// touch goes to the windows below.
class LMPictureInPictureWindow : public platform::Window {
public:
    using platform::Window::Window;

    /// The view that takes the window's touches (held strongly), or null.
    [[nodiscard]] const std::shared_ptr<platform::View>& contentView() const { return contentView_; }
    /// Sets the view that takes the window's touches.
    void setContentView(std::shared_ptr<platform::View> view) { contentView_ = std::move(view); }

    /// Whether the content view takes `point` (in the window's coordinates);
    /// false with no content view.
    [[nodiscard]] bool pointInside_withEvent(
        platform::Point point, const std::shared_ptr<platform::Event>& event) const override;

    [[nodiscard]] std::string className() const override { return "LMPictureInPictureWindow"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPictureInPictureWindow" || platform::Window::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<platform::View> contentView_;
};

} // namespace lumora
