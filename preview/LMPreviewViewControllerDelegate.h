#pragma once

#include "platform/Noncopyable.h"
#include <memory>
#include <set>
#include <string>

namespace lumora {

class LMPreviewViewController;

/// What the application hears from a preview when its user has finished. Both
/// operations are optional (see `platform::answering`); the preview sends them
/// on the MainQueue, the activity types first.
class LMPreviewViewControllerDelegate : private platform::Noncopyable {
public:
    virtual ~LMPreviewViewControllerDelegate() = default;

    /// Optional: the user has finished with the preview.
    class PreviewControllerDidFinish;
    /// Optional: the share activities the user completed.
    class PreviewController_didFinishWithActivityTypes;
};

class LMPreviewViewControllerDelegate::PreviewControllerDidFinish : public virtual LMPreviewViewControllerDelegate {
public:
    virtual void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& previewController) = 0;
};

class LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes
    : public virtual LMPreviewViewControllerDelegate {
public:
    virtual void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& previewController, const std::set<std::string>& activityTypes)
        = 0;
};

} // namespace lumora
