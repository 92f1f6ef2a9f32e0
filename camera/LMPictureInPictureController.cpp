#include "camera/LMPictureInPictureController.h"

#include "camera/LMPictureInPictureViewController.h"
#include "platform/ui/Screen.h"

namespace lumora {

std::once_flag& LMPictureInPictureController::sharedOnce()
{
    static std::once_flag once;
    return once;
}

std::shared_ptr<LMPictureInPictureController>& LMPictureInPictureController::sharedInstance()
{
    // Deliberately never destroyed: the controller lives as long as the process.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* instance = new std::shared_ptr<LMPictureInPictureController>();
    return *instance;
}

void LMPictureInPictureController::showPictureInPictureWindowWithContentView(
    const std::shared_ptr<platform::View>& contentView)
{
    const auto screen = platform::Screen::mainScreen();
    const auto window = std::make_shared<LMPictureInPictureWindow>(screen ? screen->bounds() : platform::Rect {});
    pictureInPictureWindow_ = window;

    const auto controller = std::make_shared<LMPictureInPictureViewController>();
    window->setRootViewController(controller);
    window->setUserInteractionEnabled(true);
    window->setHidden(false);
    window->setOpaque(false);

    controller->setContentView(contentView);
    window->setContentView(contentView);
}

void LMPictureInPictureController::hidePictureInPictureWindow()
{
    if (!pictureInPictureWindow_) {
        return;
    }
    pictureInPictureWindow_->setHidden(true);
    pictureInPictureWindow_->setOpaque(true);
    pictureInPictureWindow_ = nullptr;
}

} // namespace lumora
