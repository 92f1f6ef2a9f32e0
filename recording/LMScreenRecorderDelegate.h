#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"

#include <memory>

namespace lumora {

class LMScreenRecorder;
class LMPreviewViewController;

/// What the screen recorder tells its delegate. Both operations are
/// optional: the recorder asks before each call whether the delegate answers it.
class LMScreenRecorderDelegate : private platform::Noncopyable {
public:
    virtual ~LMScreenRecorderDelegate() = default;

    /// Optional: the recorder's availability was computed again (it may be unchanged).
    class ScreenRecorderDidChangeAvailability;
    /// Optional: a recording failed to start, or stopped without being asked to.
    class ScreenRecorder_didStopRecordingWithError_previewViewController;
};

/// Answered by a delegate that wants to hear of availability changes.
class LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability : public virtual LMScreenRecorderDelegate {
public:
    /// Read `screenRecorder->isAvailable()` for the new availability.
    virtual void screenRecorderDidChangeAvailability(const std::shared_ptr<LMScreenRecorder>& screenRecorder) = 0;
};

/// Answered by a delegate that wants to hear of recordings that ended without being asked to.
class LMScreenRecorderDelegate::ScreenRecorder_didStopRecordingWithError_previewViewController
    : public virtual LMScreenRecorderDelegate {
public:
    /// `error` and `previewViewController` may each be absent.
    virtual void screenRecorder_didStopRecordingWithError_previewViewController(
        const std::shared_ptr<LMScreenRecorder>& screenRecorder, const platform::ErrorRef& error,
        const std::shared_ptr<LMPreviewViewController>& previewViewController)
        = 0;
};

} // namespace lumora
