#pragma once

#include "broadcast/LMBroadcastController.h"
#include "platform/foundation/URL.h"

#include <memory>
#include <optional>
#include <string>

namespace lumora::sample {

/// The application's side of a broadcast: it makes a controller from what the
/// broadcast service's setup returned and drives it, printing each step.
/// Service information arrives on the service connection's thread and is
/// printed there.
class BroadcastControllerApp final : public LMBroadcastControllerDelegate::BroadcastController_didUpdateServiceInfo,
                                     public std::enable_shared_from_this<BroadcastControllerApp> {
public:
    /// Makes the controller of the broadcast the service set up.
    void makeController(const std::optional<std::string>& extensionBundleID, const std::optional<platform::URL>& url);
    /// Drives a controller that came from elsewhere (the broadcast service picker).
    void adoptController(std::shared_ptr<LMBroadcastController> controller);
    /// Each step waits for its answer (by running the MainQueue) before it returns.
    void start();
    void pause();
    void resume();
    void finish();
    /// What the controller reports now.
    void printState() const;

    void broadcastController_didUpdateServiceInfo(const std::shared_ptr<LMBroadcastController>& broadcastController,
        const platform::DictionaryRef& serviceInfo) override;

    [[nodiscard]] const std::shared_ptr<LMBroadcastController>& controller() const { return controller_; }

private:
    std::shared_ptr<LMBroadcastController> controller_;
};

} // namespace lumora::sample
