#pragma once

#include "camera/LMPictureInPictureWindow.h"
#include "platform/foundation/Object.h"

#include <concepts>
#include <memory>
#include <mutex>

namespace lumora {

/// Floats one content view above the whole application in a window of its
/// own, where the user can drag it and it springs into the nearest corner.
///
/// One shared controller per process shows and hides the window. Used on the
/// MainQueue.
class LMPictureInPictureController : public platform::Object {
public:
    /// The one controller of the process, created on first use by the class
    /// that asks first, and never destroyed.
    template <class Controller = LMPictureInPictureController>
    requires std::derived_from<Controller, LMPictureInPictureController>
    static std::shared_ptr<LMPictureInPictureController> sharedController()
    {
        std::call_once(sharedOnce(), [] { sharedInstance() = std::make_shared<Controller>(); });
        return sharedInstance();
    }

    LMPictureInPictureController() = default;

    /// Shows `contentView` in a new window the size of the main screen,
    /// springing to the top-left corner. A window shown earlier is replaced
    /// without being hidden. With no content view the window takes no touches.
    void showPictureInPictureWindowWithContentView(const std::shared_ptr<platform::View>& contentView);
    /// Hides the window and lets it go; does nothing while none is shown.
    void hidePictureInPictureWindow();

    /// The window being shown; null while hidden.
    [[nodiscard]] const std::shared_ptr<LMPictureInPictureWindow>& pictureInPictureWindow() const
    {
        return pictureInPictureWindow_;
    }
    /// Replaces the window reference without showing or hiding either window.
    void setPictureInPictureWindow(std::shared_ptr<LMPictureInPictureWindow> window)
    {
        pictureInPictureWindow_ = std::move(window);
    }

    [[nodiscard]] std::string className() const override { return "LMPictureInPictureController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPictureInPictureController" || platform::Object::isKindOfClassNamed(name);
    }

private:
    static std::once_flag& sharedOnce();
    static std::shared_ptr<LMPictureInPictureController>& sharedInstance();

    std::shared_ptr<LMPictureInPictureWindow> pictureInPictureWindow_;
};

} // namespace lumora
