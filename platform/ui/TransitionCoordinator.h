#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/graphics/Geometry.h"

#include <functional>

namespace lumora::platform {

/// What a transition's animation and completion blocks are told about it.
struct TransitionCoordinatorContext {
    /// Whether the transition is animated (it has a duration).
    bool animated = true;
    /// Whether the transition was cancelled rather than completed.
    bool cancelled = false;
    /// How long the transition's animation lasts, in seconds.
    double transitionDuration = 0;
    /// The size the view's container is taking, in points.
    Size targetSize;
};

/// Coordinates work with an interface transition (for instance a size change
/// when the device rotates). View controllers receive one with
/// `viewWillTransitionToSize_withTransitionCoordinator`.
class TransitionCoordinator : private platform::Noncopyable {
public:
    /// A block told about the transition; called on the MainQueue.
    using Block = std::function<void(const TransitionCoordinatorContext&)>;

    virtual ~TransitionCoordinator() = default;

    /// Runs `animation` alongside the transition's animation and `completion`
    /// once the transition has finished; either may be empty. Returns false
    /// (and runs neither) when the transition has already begun animating.
    virtual bool animateAlongsideTransition_completion(Block animation, Block completion) = 0;
    /// How long the transition's animation lasts, in seconds.
    [[nodiscard]] virtual double transitionDuration() const = 0;
    /// Whether the transition is animated.
    [[nodiscard]] virtual bool isAnimated() const = 0;
};

} // namespace lumora::platform
