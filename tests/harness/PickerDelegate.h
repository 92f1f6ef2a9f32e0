#pragma once

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastActivityViewControllerDelegate.h"
#include "broadcast/LMBroadcastController.h"
#include "tests/harness/Harness.h"

#include <memory>

namespace lumora::test {

/// The picker's delegate in tests: records each finish (the controller and the error).
class PickerDelegate final : public LMBroadcastActivityViewControllerDelegate::
                                 BroadcastActivityViewController_didFinishWithBroadcastController_error {
public:
    void broadcastActivityViewController_didFinishWithBroadcastController_error(
        const std::shared_ptr<LMBroadcastActivityViewController>& /*picker*/,
        const std::shared_ptr<LMBroadcastController>& controller, const platform::ErrorRef& error) override
    {
        recorder.callback()(controller, error);
    }
    CallbackRecorder<std::shared_ptr<LMBroadcastController>, platform::ErrorRef> recorder;
};

} // namespace lumora::test
