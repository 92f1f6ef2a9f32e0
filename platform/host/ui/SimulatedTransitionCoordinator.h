#pragma once

#include "platform/ui/TransitionCoordinator.h"

#include <vector>

namespace lumora::platform::host {

/// The simulated device's transition: it collects the blocks view
/// controllers hand it, then runs the animation blocks and, later, the
/// completion blocks when the device says so.
class SimulatedTransitionCoordinator final : public TransitionCoordinator {
public:
    SimulatedTransitionCoordinator(Size targetSize, double duration);

    bool animateAlongsideTransition_completion(Block animation, Block completion) override;
    [[nodiscard]] double transitionDuration() const override { return context_.transitionDuration; }
    [[nodiscard]] bool isAnimated() const override { return context_.animated; }

    /// Runs the collected animation blocks, in the order they were given.
    void runAnimations();
    /// Runs the collected completion blocks, in the order they were given.
    void complete();

private:
    TransitionCoordinatorContext context_;
    std::vector<Block> animations_;
    std::vector<Block> completions_;
    bool began_ = false;
};

} // namespace lumora::platform::host
