#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"

#include <memory>

namespace lumora {

class LMBroadcastActivityViewController;
class LMBroadcastController;

/// What the application hears from a broadcast service picker when its user
/// has left it. The one operation is optional (see `platform::answering`).
class LMBroadcastActivityViewControllerDelegate : private platform::Noncopyable {
public:
    virtual ~LMBroadcastActivityViewControllerDelegate() = default;

    /// Optional: the user cancelled (no controller, an error) or set up a
    /// broadcast (its controller, no error). Called on the thread the picker
    /// extension's message arrives on, not on the MainQueue.
    class BroadcastActivityViewController_didFinishWithBroadcastController_error;
};

/// The optional finish operation; a delegate answers it by deriving from this
/// class.
class LMBroadcastActivityViewControllerDelegate::BroadcastActivityViewController_didFinishWithBroadcastController_error
    : public virtual LMBroadcastActivityViewControllerDelegate {
public:
    /// The user left `broadcastActivityViewController`: with a new
    /// `broadcastController` and no error when a broadcast was set up, with no
    /// controller and an error when the user cancelled. Called on the thread the
    /// picker extension's message arrives on, not on the MainQueue.
    virtual void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& broadcastActivityViewController,
        const std::shared_ptr<LMBroadcastController>& broadcastController, const platform::ErrorRef& error)
        = 0;
};

} // namespace lumora
