#pragma once

#include "platform/foundation/Noncopyable.h"
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

/// Answered by a delegate that wants to hear when the user has finished.
class LMPreviewViewControllerDelegate::PreviewControllerDidFinish : public virtual LMPreviewViewControllerDelegate {
public:
    /// The user has finished with `previewController`; dismissing it is the application's business.
    virtual void previewControllerDidFinish(const std::shared_ptr<LMPreviewViewController>& previewController) = 0;
};

/// Answered by a delegate that wants to hear which share activities the user completed.
class LMPreviewViewControllerDelegate::PreviewController_didFinishWithActivityTypes
    : public virtual LMPreviewViewControllerDelegate {
public:
    /// The share activities the user completed (each once), heard before `previewControllerDidFinish`.
    virtual void previewController_didFinishWithActivityTypes(
        const std::shared_ptr<LMPreviewViewController>& previewController, const std::set<std::string>& activityTypes)
        = 0;
};

} // namespace lumora
