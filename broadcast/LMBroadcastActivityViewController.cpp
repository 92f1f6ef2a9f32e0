#include "broadcast/LMBroadcastActivityViewController.h"

#include "broadcast/LMBroadcastActivityExtensionHostContext.h"
#include "broadcast/LMBroadcastActivityHostViewController.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Image.h"
#include "platform/system/Bundle.h"
#include "platform/ui/PopoverPresentationController.h"
#include "platform/ui/View.h"
#include "recording/LMExtensions.h"

namespace lumora {

using platform::Log;

namespace {

// The name of the application's icon: the primary icon's first icon file, or
// the primary icon entry itself when it is a plain name.
std::optional<std::string> appIconName(const platform::DictionaryRef& info)
{
    const auto icons = info ? info->valueForKey(platform::Bundle::IconsKey).dictionary() : nullptr;
    if (!icons) {
        return std::nullopt;
    }
    const auto& primary = icons->valueForKey(platform::Bundle::PrimaryIconKey);
    if (const auto primaryIcon = primary.dictionary()) {
        const auto files = primaryIcon->valueForKey(platform::Bundle::IconFilesKey).array();
        if (!files || files->empty()) {
            return std::nullopt;
        }
        const auto& first = files->front();
        if (const auto* name = first.string()) {
            return *name;
        }
        return std::nullopt;
    }
    if (const auto* name = primary.string()) {
        return *name;
    }
    return std::nullopt;
}

// The one input item of a picker request: the host information.
platform::ExtensionItems hostInfoItems()
{
    const auto mainBundle = platform::Bundle::mainBundle();
    const auto iconName = appIconName(mainBundle ? mainBundle->infoDictionary() : nullptr);
    const auto icon = iconName ? platform::Image::imageNamed(*iconName) : nullptr;
    const auto appName = mainBundle ? LMExtensions::_lmLocalizedAppName(*mainBundle) : std::string();
    const auto bundleID = mainBundle ? mainBundle->bundleIdentifier() : std::nullopt;
    auto hostInfo = std::make_shared<platform::Dictionary>();
    hostInfo->emplace(std::string(LMBroadcastExtensionKeyExtensionHostInfoAppName), appName);
    hostInfo->emplace(std::string(LMBroadcastExtensionKeyExtensionHostInfoBundleID),
        bundleID ? platform::Value(*bundleID) : platform::Value());
    if (icon) {
        hostInfo->emplace(std::string(LMBroadcastExtensionKeyExtensionHostInfoAppIcon), icon);
    }
    auto item = std::make_shared<platform::ExtensionItem>();
    item->setAttributedTitle(
        std::make_shared<platform::AttributedString>(std::string(LMBroadcastExtensionKeyExtensionHostInfo)));
    item->setAttachments({ std::make_shared<platform::ItemProvider>(
        platform::Value(platform::DictionaryRef(std::move(hostInfo))), std::string(platform::TypeIdentifier::Data)) });
    return { item };
}

} // namespace

const LMBroadcastActivityViewController::Class& LMBroadcastActivityViewController::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const pickerClass = new const Class();
    return *pickerClass;
}

void LMBroadcastActivityViewController::Class::loadBroadcastActivityViewControllerWithHandler(Handler handler) const
{
    platform::ErrorRef error;
    const auto extension = platform::Extension::extensionWithIdentifier_error(
        std::string(LMBroadcastActivityViewControllerExtensionIdentifier), &error);
    if (error) {
        // The load carries on: without an extension the instantiation below
        // does nothing, so this is the only call the handler gets.
        if (handler) {
            handler(nullptr, error);
        }
    }
    auto picker = std::make_shared<LMBroadcastActivityViewController>();
    picker->setDidFinishHandler(handler);
    viewControllerForExtension_inputItems_completionHandler(extension, hostInfoItems(),
        [picker, handler, error](const std::shared_ptr<LMBroadcastActivityHostViewController>& hostViewController) {
            platform::DispatchQueue::main().async([picker, handler, error, hostViewController] {
                picker->setModalPresentationStyle(ModalPresentationOverCurrentContext);
                const auto pickerView = picker->view();
                pickerView->setBackgroundColor(platform::Color::clearColor());
                picker->setHostViewController(hostViewController);
                hostViewController->setBroadcastActivityViewController(picker);
                hostViewController->view()->setFrame(pickerView->bounds());
                picker->addChildViewController(hostViewController);
                pickerView->addSubview(hostViewController->view());
                hostViewController->didMoveToParentViewController(picker);
                if (handler) {
                    handler(picker, error);
                }
            });
        });
}

void LMBroadcastActivityViewController::Class::viewControllerForExtension_inputItems_completionHandler(
    const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
    HostViewControllerHandler completionHandler) const
{
    if (!extension) {
        return;
    }
    extension->instantiateViewControllerWithInputItems_connectionHandler(inputItems,
        [extension, completionHandler = std::move(completionHandler)](const std::string& requestIdentifier,
            const std::shared_ptr<platform::RemoteViewController>& remoteViewController,
            const platform::ErrorRef& error) {
            const auto hostViewController
                = std::dynamic_pointer_cast<LMBroadcastActivityHostViewController>(remoteViewController);
            // The context learns its view controller even when the request failed.
            if (const auto context = std::dynamic_pointer_cast<LMBroadcastActivityExtensionHostContext>(
                    extension->hostContextForRequestIdentifier(requestIdentifier))) {
                context->setHostViewController(hostViewController);
            }
            if (error) {
                Log::console("Error instantiating remote view controller for extension: %i",
                    static_cast<std::int32_t>(error->code()));
                return;
            }
            if (!hostViewController) {
                // The picker extension named a view controller class the
                // picker cannot embed.
                Log::console("Error instantiating remote view controller for extension: %i",
                    static_cast<std::int32_t>(platform::Extension::ClassNotLoadedErrorCode));
                return;
            }
            if (completionHandler) {
                completionHandler(hostViewController);
            }
        });
}

void LMBroadcastActivityViewController::setModalPresentationStyle(std::int64_t style)
{
    if (style != ModalPresentationPopover) {
        ViewController::setModalPresentationStyle(style);
        return;
    }
    popoverPresentationControllerProxy_ = std::make_shared<platform::PopoverPresentationController>(
        hostViewController_, std::static_pointer_cast<ViewController>(sharedFrom(this)));
}

void LMBroadcastActivityViewController::dismissViewControllerAnimated_completion(
    bool /*animated*/, std::function<void()> completion)
{
    ViewController::dismissViewControllerAnimated_completion(false, std::move(completion));
}

} // namespace lumora
