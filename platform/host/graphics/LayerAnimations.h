#pragma once

#include "platform/graphics/Geometry.h"
#include "platform/ui/View.h"

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace lumora::platform {
class Layer;
} // namespace lumora::platform

namespace lumora::platform::host {

/// The timing of an animation: one of the four cubic curves, or a damped
/// spring that settles within the animation's duration.
struct AnimationTiming {
    enum class Kind : std::uint8_t { EaseInOut, EaseIn, EaseOut, Linear, Spring };
    Kind kind = Kind::EaseInOut;
    double dampingRatio = 1;
    double initialVelocity = 0;

    static AnimationTiming fromOptions(View::AnimationOptions options);
    static AnimationTiming spring(double dampingRatio, double initialVelocity);

    /// The fraction of the way from the start value to the end value after
    /// `elapsed` of `duration` seconds: 0 at the start, 1 at the end
    /// (a spring may pass 1 on the way).
    [[nodiscard]] double progress(double elapsed, double duration) const;
};

/// The view animations running on the simulated device: per layer, the
/// animated properties ("position", the centre of the frame, and
/// "opacity") with their start and end values, start time and timing.
/// Animations are absolute: the shown value runs from the start value to the
/// end value whatever the layer's own value does meanwhile; at the end the
/// layer shows its own value again.
///
/// Used on the MainQueue.
class LayerAnimations {
public:
    static LayerAnimations& shared();

    /// Opens an animation block (blocks nest; the innermost one counts).
    /// Changes made while it is open are animated with these parameters.
    void beginBlock(double duration, double delay, AnimationTiming timing, std::function<void(bool)> completion);
    /// Closes the innermost block: schedules its end on the device clock, or
    /// queues its completion at once when it animated nothing.
    void endBlock();
    /// Opens a block in which nothing is animated.
    void beginNonAnimatedBlock();
    void endNonAnimatedBlock();

    /// Whether a change made now would be animated.
    [[nodiscard]] bool isAnimating() const;
    /// Animates `key` of `layer` from `from` to `to` in the open block,
    /// replacing a running animation of that key.
    void animate(const Layer& layer, const std::string& key, std::vector<double> from, std::vector<double> to);

    [[nodiscard]] bool hasAnimations(const Layer& layer) const;
    /// The frame shown now: `layer`'s frame with its centre where the
    /// running position animation (if any) shows it.
    [[nodiscard]] Rect presentedFrame(const Layer& layer) const;
    [[nodiscard]] double presentedOpacity(const Layer& layer) const;
    /// Cheap check for the drawing code: true when no layer animates at all.
    [[nodiscard]] bool isIdle() const { return entries_.empty(); }

    [[nodiscard]] std::vector<std::string> keys(const Layer& layer) const;
    /// Removes the layer's animations (their blocks lose them: not finished).
    /// Returns the frame and opacity shown just before.
    void removeAll(const Layer& layer, Rect* shownFrame, double* shownOpacity);

    /// Drops every animation and block without running completions.
    void reset();

private:
    struct Block;
    struct Animation {
        std::string key;
        std::vector<double> from;
        std::vector<double> to;
        double begin = 0;
        double duration = 0;
        AnimationTiming timing;
        std::shared_ptr<Block> block;
    };
    struct Entry {
        std::weak_ptr<const Object> layer;
        std::vector<Animation> animations;
    };

    [[nodiscard]] const Entry* entryOf(const Layer& layer) const;
    [[nodiscard]] const Animation* animationOf(const Layer& layer, const std::string& key) const;
    [[nodiscard]] std::vector<double> valueOf(const Animation& animation, double now) const;
    void loseAnimation(const std::shared_ptr<Block>& block);
    void finishBlock(const std::shared_ptr<Block>& block);
    /// Forgets entries whose layer has gone (or whose address was reused).
    void purge();

    std::unordered_map<const Layer*, Entry> entries_;
    std::vector<std::shared_ptr<Block>> openBlocks_;
    std::vector<std::shared_ptr<Block>> scheduledBlocks_;
};

} // namespace lumora::platform::host
