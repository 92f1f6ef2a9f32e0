#include "platform/host/ui/SimulatedTransitionCoordinator.h"

namespace lumora::platform::host {

SimulatedTransitionCoordinator::SimulatedTransitionCoordinator(Size targetSize, double duration)
{
    context_.targetSize = targetSize;
    context_.transitionDuration = duration;
    context_.animated = duration > 0;
}

bool SimulatedTransitionCoordinator::animateAlongsideTransition_completion(Block animation, Block completion)
{
    if (began_) {
        return false;
    }
    if (animation) {
        animations_.push_back(std::move(animation));
    }
    if (completion) {
        completions_.push_back(std::move(completion));
    }
    return true;
}

void SimulatedTransitionCoordinator::runAnimations()
{
    began_ = true;
    // Blocks may not register further blocks once the animation runs, so the
    // list cannot change under the loop.
    for (const auto& animation : animations_) {
        animation(context_);
    }
    animations_.clear();
}

void SimulatedTransitionCoordinator::complete()
{
    const auto completions = std::move(completions_);
    completions_.clear();
    for (const auto& completion : completions) {
        completion(context_);
    }
}

} // namespace lumora::platform::host
