#include "broadcast/LMBroadcastActivityHostViewController.h"

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastActivityViewControllerDelegate.h"
#include "broadcast/LMBroadcastController.h"
#include "platform/foundation/Protocol.h"
#include "platform/foundation/Runtime.h"
#include "platform/graphics/Color.h"
#include "platform/system/Application.h"
#include "platform/ui/PopoverPresentationController.h"
#include "platform/ui/View.h"
#include "platform/ui/Window.h"
#include "recording/LumoraErrors.h"

namespace lumora {

namespace {
// Loading the framework makes the class known to the run time by name: the
// platform makes the remote view controller of a picker request as an
// instance of the class the picker extension names.
const bool registeredWithRuntime = [] {
    platform::Runtime::registerClass(std::make_shared<platform::RuntimeClass>("LMBroadcastActivityHostViewController",
        "RemoteViewController", [] { return std::make_shared<LMBroadcastActivityHostViewController>(); }));
    return true;
}();
} // namespace

std::shared_ptr<platform::Interface> LMBroadcastActivityHostViewController::Class::exportedInterface() const
{
    return LMBroadcastActivityCommunicationHostProtocol::makeInterface();
}

const LMBroadcastActivityHostViewController::Class& LMBroadcastActivityHostViewController::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const pickerHostClass = new const Class();
    return *pickerHostClass;
}

void LMBroadcastActivityHostViewController::viewDidLoad()
{
    RemoteViewController::viewDidLoad();
    view()->setBackgroundColor(platform::Color::clearColor());
}

void LMBroadcastActivityHostViewController::extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
    const std::optional<platform::URL>& launchURL, const std::optional<platform::URL>& broadcastURL,
    const std::optional<std::string>& extensionBundleID, bool cancelled)
{
    if (launchURL) {
        platform::Application::sharedApplication()->openURL_options_completionHandler(
            *launchURL, std::make_shared<const platform::Dictionary>(), nullptr);
    }
    const auto picker = broadcastActivityViewController();
    using DidFinish = LMBroadcastActivityViewControllerDelegate::
        BroadcastActivityViewController_didFinishWithBroadcastController_error;
    const auto delegate = picker ? platform::answering<DidFinish>(picker->delegate()) : nullptr;
    if (!delegate) {
        return;
    }
    if (cancelled) {
        delegate->broadcastActivityViewController_didFinishWithBroadcastController_error(picker, nullptr,
            LumoraErrors::_lmUserErrorForCode_userInfo(-5801, std::make_shared<const platform::Dictionary>()));
        return;
    }
    // Handed over: the channel keeps no reference to the new controller.
    delegate->broadcastActivityViewController_didFinishWithBroadcastController_error(picker,
        LMBroadcastController::initWithExtensionBundleID_broadcastURL(extensionBundleID, broadcastURL), nullptr);
}

void LMBroadcastActivityHostViewController::presentationInfoWithCompletion(PresentationInfoCompletion completion)
{
    const auto style = modalPresentationStyle();
    const auto rect = popoverControllerSourceRect();
    const auto direction = popoverArrowDirection();
    if (completion) {
        completion(style, rect, direction);
    }
}

platform::Rect LMBroadcastActivityHostViewController::popoverControllerSourceRect() const
{
    const auto picker = broadcastActivityViewController();
    const auto popover = picker ? picker->popoverPresentationController() : nullptr;
    if (!popover) {
        return platform::Rect::zero();
    }
    const auto sourceView = popover->sourceView();
    const auto superview = sourceView ? sourceView->superview() : nullptr;
    if (!superview) {
        return platform::Rect::zero();
    }
    const auto window = sourceView->window();
    // Deliberately converted from the superview's space, not the source view's
    // own: applications place the rectangle in the superview's coordinates.
    return superview->convertRect_toView(popover->sourceRect(), window.get());
}

std::uint64_t LMBroadcastActivityHostViewController::popoverArrowDirection() const
{
    const auto picker = broadcastActivityViewController();
    const auto popover = picker ? picker->popoverPresentationController() : nullptr;
    return popover ? popover->arrowDirection() : 0;
}

std::int64_t LMBroadcastActivityHostViewController::modalPresentationStyle() const
{
    if (popoverControllerSourceRect() != platform::Rect::zero()) {
        return ModalPresentationPopover;
    }
    const auto picker = broadcastActivityViewController();
    return picker ? picker->modalPresentationStyle() : ModalPresentationOverCurrentContext;
}

} // namespace lumora
