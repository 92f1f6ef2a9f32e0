#pragma once

#include <functional>
#include <memory>

namespace lumora::platform {

/// A target and one of its operations, taking `Args`. The target is held
/// weakly; the action is a real member of the target's class, so a target can
/// only ever be sent an operation it has. Once the target has gone, sending
/// does nothing.
template <class... Args> class TargetAction {
public:
    TargetAction() = default;

    /// Holds `target` weakly with its member operation `action`.
    template <class Target>
    TargetAction(const std::shared_ptr<Target>& target, void (Target::*action)(Args...))
        : target_(target), send_([weak = std::weak_ptr<Target>(target), action](Args... args) {
              if (auto strong = weak.lock()) {
                  ((*strong).*action)(std::forward<Args>(args)...);
                  return true;
              }
              return false;
          })
    { }

    /// Calls the action on the target; false when there is no target (any more).
    bool send(Args... args) const { return send_ && send_(std::forward<Args>(args)...); }

    /// Whether the target is still alive.
    [[nodiscard]] bool hasTarget() const { return !target_.expired(); }
    /// The target, or null once it has gone (or for an empty target-action).
    [[nodiscard]] std::shared_ptr<void> target() const { return target_.lock(); }

private:
    std::weak_ptr<void> target_;
    std::function<bool(Args...)> send_;
};

} // namespace lumora::platform
