#pragma once

#include "platform/Geometry.h"
#include "platform/Noncopyable.h"

#include <functional>

namespace lumora::platform {

/// What a transition's animation and completion blocks are told about it.
struct TransitionCoordinatorContext {
    bool animated = true;
    bool cancelled = false;
    double transitionDuration = 0;
    Size targetSize;
};

/// Coordinates work with an interface transition (for instance a size change
/// when the device rotates). View controllers receive one with
/// `viewWillTransitionToSize_withTransitionCoordinator`.
class TransitionCoordinator : private platform::Noncopyable {
public:
    using Block = std::function<void(const TransitionCoordinatorContext&)>;

    virtual ~TransitionCoordinator() = default;

    /// Runs `animation` alongside the transition's animation and `completion`
    /// once the transition has finished; either may be empty. Returns false
    /// (and runs neither) when the transition has already begun animating.
    virtual bool animateAlongsideTransition_completion(Block animation, Block completion) = 0;
    [[nodiscard]] virtual double transitionDuration() const = 0;
    [[nodiscard]] virtual bool isAnimated() const = 0;
};

} // namespace lumora::platform
