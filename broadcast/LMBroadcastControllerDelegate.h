#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Value.h"

#include <memory>

namespace lumora {

class LMBroadcastController;

/// What a broadcast controller tells its delegate. The one operation is
/// optional: the sender asks before each call whether the delegate answers it.
class LMBroadcastControllerDelegate : private platform::Noncopyable {
public:
    virtual ~LMBroadcastControllerDelegate() = default;

    /// Optional: the broadcast service reported new information.
    class BroadcastController_didUpdateServiceInfo;
};

/// The optional service information operation; a delegate answers it by
/// deriving from this class.
class LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo
    : public virtual LMBroadcastControllerDelegate {
public:
    /// Runs on the thread the service connection delivers the report on, not
    /// on the MainQueue.
    virtual void broadcastController_didUpdateServiceInfo(
        const std::shared_ptr<LMBroadcastController>& broadcastController, const platform::DictionaryRef& serviceInfo)
        = 0;
};

} // namespace lumora
