#include "preview/LMPreviewViewController.h"

#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Protocol.h"
#include "platform/system/Application.h"
#include "platform/system/Bundle.h"
#include "preview/LMVideoEditorExtensionHostContext.h"
#include "preview/LMVideoEditorExtensionKeys.h"
#include "preview/LMVideoEditorHostViewController.h"
#include "recording/LMScreenRecorder.h"

#include <set>

namespace lumora {

using platform::Log;

namespace {

// One labelled input item: titled with the label, its one attachment carrying
// the value under the most general data type.
platform::ExtensionItemRef labelledItem(std::string_view label, platform::Value value)
{
    auto item = std::make_shared<platform::ExtensionItem>();
    item->setAttributedTitle(std::make_shared<platform::AttributedString>(std::string(label)));
    item->setAttachments(
        { std::make_shared<platform::ItemProvider>(std::move(value), std::string(platform::TypeIdentifier::Data)) });
    return item;
}

} // namespace

const LMPreviewViewController::Class& LMPreviewViewController::defaultClass()
{
    // Never destroyed: the platform's threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const previewClass = new const Class();
    return *previewClass;
}

void LMPreviewViewController::Class::loadPreviewViewControllerWithMovieURL_completion(
    const platform::URL& movieURL, Completion completion) const
{
    loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
        movieURL, std::nullopt, std::nullopt, nullptr, std::move(completion));
}

void LMPreviewViewController::Class::
    loadPreviewViewControllerWithMovieURL_attachmentURL_overrideShareMessage_overrideTintColor_completion(
        const platform::URL& movieURL, const std::optional<platform::URL>& attachmentURL,
        const std::optional<std::string>& overrideShareMessage,
        const std::shared_ptr<platform::Color>& overrideTintColor, Completion completion) const
{
    Log::ordinary("LMVideoPreviewViewController:loadPreviewViewControllerWithCompletion");

    platform::ErrorRef error;
    const auto extension
        = platform::Extension::extensionWithIdentifier_error(std::string(LMVideoEditorExtensionIdentifier), &error);
    if (!extension || error) {
        Log::error("error getting extension: %i", error ? error->code() : 0);
        // The completion is required; an absent one leaves no one to tell.
        if (completion) {
            completion(nullptr);
        }
        return;
    }

    platform::ExtensionItems inputItems;
    if (attachmentURL) {
        inputItems.push_back(labelledItem(LMVideoEditorExtensionFileAttachmentKey, attachmentURL->path()));
    }
    if (overrideShareMessage) {
        inputItems.push_back(labelledItem(LMVideoEditorExtensionOverrideShareMessageKey, *overrideShareMessage));
    }
    if (overrideTintColor) {
        inputItems.push_back(labelledItem(LMVideoEditorExtensionOverrideTintColorKey, overrideTintColor));
    }
    const auto mainBundle = platform::Bundle::mainBundle();
    const auto info = mainBundle ? mainBundle->infoDictionary() : nullptr;
    // The plain bundle name, not the localized display name.
    inputItems.push_back(labelledItem(
        LMVideoEditorExtensionAppNameKey, info ? info->valueForKey(platform::Bundle::NameKey) : platform::Value()));
    inputItems.push_back(labelledItem(LMVideoEditorExtensionMoviePathKey, movieURL.path()));
    const auto bundleIdentifier = mainBundle ? mainBundle->bundleIdentifier() : std::nullopt;
    inputItems.push_back(labelledItem(LMVideoEditorExtensionBundleIdentifierKey,
        bundleIdentifier ? platform::Value(*bundleIdentifier) : platform::Value()));

    auto preview = std::make_shared<LMPreviewViewController>();
    preview->setMovieURL(movieURL);

    viewControllerForExtension_inputItems_completionHandler(extension, inputItems,
        [preview, completion = std::move(completion)](
            const std::shared_ptr<LMVideoEditorHostViewController>& hostViewController) {
            // Views belong to the MainQueue; the editor answers elsewhere. The
            // embedding is queued even when this already runs there, so the
            // caller always hears of the preview after its call has returned.
            platform::DispatchQueue::main().async([preview, completion, hostViewController] {
                hostViewController->setPreviewViewController(preview);
                preview->setHostViewController(hostViewController);
                const auto previewView = preview->view();
                hostViewController->view()->setFrame(previewView ? previewView->bounds() : platform::Rect::zero());
                preview->addChildViewController(hostViewController);
                if (previewView) {
                    previewView->addSubview(hostViewController->view());
                }
                hostViewController->didMoveToParentViewController(preview);
                if (completion) {
                    completion(preview);
                }
            });
        });
}

void LMPreviewViewController::Class::viewControllerForExtension_inputItems_completionHandler(
    const std::shared_ptr<platform::Extension>& extension, const platform::ExtensionItems& inputItems,
    HostViewControllerHandler completionHandler) const
{
    Log::ordinary("LMPreviewViewController:viewControllerForExtension");
    if (!extension) {
        return;
    }
    extension->instantiateViewControllerWithInputItems_connectionHandler(inputItems,
        [extension, completionHandler = std::move(completionHandler)](const std::string& requestIdentifier,
            const std::shared_ptr<platform::RemoteViewController>& remoteViewController,
            const platform::ErrorRef& error) {
            const auto hostViewController
                = std::dynamic_pointer_cast<LMVideoEditorHostViewController>(remoteViewController);
            const auto context = std::dynamic_pointer_cast<LMVideoEditorExtensionHostContext>(
                extension->hostContextForRequestIdentifier(requestIdentifier));
            // The two ends of the request know each other even when it failed.
            if (context) {
                context->setHostViewController(hostViewController);
            }
            if (hostViewController) {
                hostViewController->setHostContext(context);
            }
            if (error) {
                Log::error("Error instantiating remote view controller for extension: %i", error->code());
                return; // Deliberately never answers: the caller is not told the editor failed.
            }
            if (!hostViewController) {
                // The extension's bundle named a view controller class the
                // preview cannot embed.
                Log::error("LMPreviewViewController: the editor extension's view controller is a %s, not an "
                           "LMVideoEditorHostViewController",
                    remoteViewController ? remoteViewController->className() : "(null)");
                return; // Deliberately never answers, as for a failed editor.
            }
            if (completionHandler) {
                completionHandler(hostViewController);
            }
        });
}

void LMPreviewViewController::viewWillAppear(bool animated)
{
    ViewController::viewWillAppear(animated);
    // The recorder's rotation lock is held from now until the view has gone.
    LMScreenRecorder::sharedRecorder()->setWindowRotationLocked(true);
    const auto application = platform::Application::sharedApplication();
    wasStatusBarHidden_ = application->isStatusBarHidden();
    application->setStatusBarHidden(false);
}

void LMPreviewViewController::viewWillDisappear(bool animated)
{
    ViewController::viewWillDisappear(animated);
    platform::Application::sharedApplication()->setStatusBarHidden(wasStatusBarHidden_);
}

void LMPreviewViewController::viewDidDisappear(bool animated)
{
    ViewController::viewDidDisappear(animated);
    LMScreenRecorder::sharedRecorder()->setWindowRotationLocked(false);
}

void LMPreviewViewController::videoEditor_didFinishWithActivityTypes(
    const platform::ObjectRef& /*editor*/, const std::vector<std::string>& activityTypes)
{
    if (const auto self = sharedFrom(this)) {
        tellDelegateOfFinish([self] { return self->previewControllerDelegate_.lock(); }, activityTypes);
    }
}

void LMPreviewViewController::extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes)
{
    Log::ordinary("LMPreviewViewController:extensionDidFinish");
    LMScreenRecorder::sharedRecorder()->restoreAudioSession();
    if (const auto self = sharedFrom(this)) {
        tellDelegateOfFinish([self] { return self->previewControllerDelegate(); }, activityTypes);
    }
}

void LMPreviewViewController::tellDelegateOfFinish(
    const std::function<std::shared_ptr<LMPreviewViewControllerDelegate>()>& readDelegate,
    const std::vector<std::string>& activityTypes)
{
    using ActivityTypes = LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes;
    using DidFinish = LMPreviewViewControllerDelegate::PreviewControllerDidFinish;
    // Each job keeps the preview alive (through `readDelegate`) until it has run.
    const auto self = sharedFrom(this);
    if (platform::answering<ActivityTypes>(readDelegate())) {
        platform::DispatchQueue::main().async([self, readDelegate, activityTypes] {
            if (const auto delegate = platform::answering<ActivityTypes>(readDelegate())) {
                delegate->previewController_didFinishWithActivityTypes(
                    self, std::set<std::string>(activityTypes.begin(), activityTypes.end()));
            }
        });
    }
    if (platform::answering<DidFinish>(readDelegate())) {
        platform::DispatchQueue::main().async([self, readDelegate] {
            if (const auto delegate = platform::answering<DidFinish>(readDelegate())) {
                delegate->previewControllerDidFinish(self);
            }
        });
    }
}

} // namespace lumora
