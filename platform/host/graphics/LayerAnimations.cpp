#include "platform/host/graphics/LayerAnimations.h"

#include "platform/foundation/Clock.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/graphics/Layer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumora::platform::host {

namespace {

// A spring is reckoned at rest once its swing has shrunk to a thousandth.
const double SettledLogRatio = std::log(1000.0);
// Damping at or below zero would never settle; it is taken as this.
constexpr double MinimumDampingRatio = 0.02;

struct CubicCurve {
    double x1;
    double y1;
    double x2;
    double y2;

    [[nodiscard]] static double at(double s, double p1, double p2)
    {
        const double inverse = 1 - s;
        return 3 * inverse * inverse * s * p1 + 3 * inverse * s * s * p2 + s * s * s;
    }

    // y at the curve parameter whose x is `x`; x grows with the parameter,
    // so halving the interval finds it.
    [[nodiscard]] double valueAt(double x) const
    {
        double low = 0;
        double high = 1;
        for (int step = 0; step < 40; ++step) {
            const double middle = (low + high) / 2;
            (at(middle, x1, x2) < x ? low : high) = middle;
        }
        return at((low + high) / 2, y1, y2);
    }
};

double springProgress(double elapsed, double duration, double dampingRatio, double velocity)
{
    const double zeta = std::max(dampingRatio, MinimumDampingRatio);
    // The slowest decay rate, per unit of natural frequency, sets the
    // frequency that brings the spring to rest at the end of the duration.
    const double decayPerOmega = zeta < 1 ? zeta : zeta - std::sqrt(zeta * zeta - 1);
    const double omega = SettledLogRatio / (decayPerOmega * duration);
    const double t = elapsed;
    // The displacement from the end value starts at -1 with speed `velocity`.
    double displacement = 0;
    if (std::abs(zeta - 1) < 1e-6) {
        displacement = std::exp(-omega * t) * (-1 + (velocity - omega) * t);
    } else if (zeta < 1) {
        const double damped = omega * std::sqrt(1 - zeta * zeta);
        const double sine = (velocity - zeta * omega) / damped;
        displacement = std::exp(-zeta * omega * t) * (-std::cos(damped * t) + sine * std::sin(damped * t));
    } else {
        const double root = std::sqrt(zeta * zeta - 1);
        const double fast = -omega * (zeta + root);
        const double slow = -omega * (zeta - root);
        const double slowPart = (velocity + fast) / (slow - fast);
        const double fastPart = -1 - slowPart;
        displacement = slowPart * std::exp(slow * t) + fastPart * std::exp(fast * t);
    }
    return 1 + displacement;
}

} // namespace

AnimationTiming AnimationTiming::fromOptions(View::AnimationOptions options)
{
    switch ((options >> 16U) & 3U) {
    case 1:
        return { Kind::EaseIn };
    case 2:
        return { Kind::EaseOut };
    case 3:
        return { Kind::Linear };
    default:
        return { Kind::EaseInOut };
    }
}

AnimationTiming AnimationTiming::spring(double dampingRatio, double initialVelocity)
{
    return { Kind::Spring, std::isfinite(dampingRatio) ? dampingRatio : 1,
        std::isfinite(initialVelocity) ? initialVelocity : 0 };
}

double AnimationTiming::progress(double elapsed, double duration) const
{
    if (elapsed <= 0) {
        return 0;
    }
    if (elapsed >= duration) {
        return 1;
    }
    const double fraction = elapsed / duration;
    switch (kind) {
    case Kind::Linear:
        return fraction;
    case Kind::EaseIn:
        return CubicCurve { 0.42, 0, 1, 1 }.valueAt(fraction);
    case Kind::EaseOut:
        return CubicCurve { 0, 0, 0.58, 1 }.valueAt(fraction);
    case Kind::EaseInOut:
        return CubicCurve { 0.42, 0, 0.58, 1 }.valueAt(fraction);
    case Kind::Spring:
        return springProgress(elapsed, duration, dampingRatio, initialVelocity);
    }
    return fraction;
}

struct LayerAnimations::Block {
    double duration = 0;
    double delay = 0;
    AnimationTiming timing;
    std::function<void(bool)> completion;
    bool animated = true;
    bool open = true;
    bool done = false;
    bool finished = true;
    int live = 0;
    std::shared_ptr<void> timer;
};

LayerAnimations& LayerAnimations::shared()
{
    // Never destroyed, like the device whose display it animates.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* animations = new LayerAnimations();
    return *animations;
}

void LayerAnimations::beginBlock(
    double duration, double delay, AnimationTiming timing, std::function<void(bool)> completion)
{
    auto block = std::make_shared<Block>();
    block->duration = std::isfinite(duration) ? duration : 0;
    block->delay = std::isfinite(delay) ? std::max(delay, 0.0) : 0;
    block->timing = timing;
    block->completion = std::move(completion);
    block->animated = block->duration > 0;
    openBlocks_.push_back(std::move(block));
}

void LayerAnimations::beginNonAnimatedBlock()
{
    auto block = std::make_shared<Block>();
    block->animated = false;
    openBlocks_.push_back(std::move(block));
}

void LayerAnimations::endNonAnimatedBlock()
{
    if (!openBlocks_.empty()) {
        openBlocks_.pop_back();
    }
}

void LayerAnimations::endBlock()
{
    if (openBlocks_.empty()) {
        return;
    }
    const auto block = openBlocks_.back();
    openBlocks_.pop_back();
    block->open = false;
    if (block->live == 0) {
        block->done = true;
        if (block->completion) {
            DispatchQueue::main().async(
                [completion = block->completion, finished = block->finished] { completion(finished); });
        }
        return;
    }
    const std::weak_ptr<Block> weak = block;
    block->timer = Clock::scheduleAfter(block->delay + block->duration, [weak] {
        if (const auto strong = weak.lock()) {
            LayerAnimations::shared().finishBlock(strong);
        }
    });
    scheduledBlocks_.push_back(block);
}

bool LayerAnimations::isAnimating() const
{
    return !openBlocks_.empty() && openBlocks_.back()->animated;
}

void LayerAnimations::animate(
    const Layer& layer, const std::string& key, std::vector<double> from, std::vector<double> to)
{
    if (!isAnimating()) {
        return;
    }
    const auto owner = layer.weak_from_this();
    if (owner.expired()) {
        return; // a layer no one owns is never drawn
    }
    purge();
    const auto& block = openBlocks_.back();
    auto& entry = entries_[&layer];
    entry.layer = owner;
    const auto now = Clock::uptime();
    Animation animation { key, std::move(from), std::move(to), now + block->delay, block->duration, block->timing,
        block };
    const auto running = std::find_if(entry.animations.begin(), entry.animations.end(),
        [&key](const Animation& candidate) { return candidate.key == key; });
    if (running == entry.animations.end()) {
        entry.animations.push_back(std::move(animation));
        ++block->live;
        return;
    }
    const auto previous = running->block;
    *running = std::move(animation);
    if (previous == block) {
        return; // changed twice in one block: the later change wins
    }
    ++block->live;
    loseAnimation(previous);
}

const LayerAnimations::Entry* LayerAnimations::entryOf(const Layer& layer) const
{
    if (entries_.empty()) {
        return nullptr;
    }
    const auto found = entries_.find(&layer);
    if (found == entries_.end() || found->second.layer.lock().get() != &layer) {
        return nullptr;
    }
    return &found->second;
}

const LayerAnimations::Animation* LayerAnimations::animationOf(const Layer& layer, const std::string& key) const
{
    const auto* entry = entryOf(layer);
    if (entry == nullptr) {
        return nullptr;
    }
    for (const auto& animation : entry->animations) {
        if (animation.key == key) {
            return &animation;
        }
    }
    return nullptr;
}

std::vector<double> LayerAnimations::valueOf(const Animation& animation, double now) const
{
    const double progress = animation.timing.progress(now - animation.begin, animation.duration);
    std::vector<double> value(animation.to.size());
    for (std::size_t index = 0; index < value.size(); ++index) {
        value[index] = animation.from[index] + (animation.to[index] - animation.from[index]) * progress;
    }
    return value;
}

bool LayerAnimations::hasAnimations(const Layer& layer) const
{
    return entryOf(layer) != nullptr;
}

Rect LayerAnimations::presentedFrame(const Layer& layer) const
{
    auto frame = layer.frame();
    if (const auto* animation = animationOf(layer, "position")) {
        const auto centre = valueOf(*animation, Clock::uptime());
        frame.origin = { centre[0] - frame.size.width / 2, centre[1] - frame.size.height / 2 };
    }
    return frame;
}

double LayerAnimations::presentedOpacity(const Layer& layer) const
{
    if (const auto* animation = animationOf(layer, "opacity")) {
        return valueOf(*animation, Clock::uptime())[0];
    }
    return layer.opacity();
}

std::vector<std::string> LayerAnimations::keys(const Layer& layer) const
{
    std::vector<std::string> keys;
    if (const auto* entry = entryOf(layer)) {
        for (const auto& animation : entry->animations) {
            keys.push_back(animation.key);
        }
    }
    return keys;
}

void LayerAnimations::removeAll(const Layer& layer, Rect* shownFrame, double* shownOpacity)
{
    *shownFrame = presentedFrame(layer);
    *shownOpacity = presentedOpacity(layer);
    const auto found = entries_.find(&layer);
    if (found == entries_.end()) {
        return;
    }
    const bool same = found->second.layer.lock().get() == &layer;
    auto animations = std::move(found->second.animations);
    entries_.erase(found);
    if (!same) {
        return;
    }
    for (const auto& animation : animations) {
        loseAnimation(animation.block);
    }
}

void LayerAnimations::loseAnimation(const std::shared_ptr<Block>& block)
{
    --block->live;
    block->finished = false;
    if (block->live > 0 || block->open || block->done) {
        return;
    }
    block->done = true;
    std::erase(scheduledBlocks_, block);
    block->timer.reset();
    if (block->completion) {
        DispatchQueue::main().async([completion = block->completion] { completion(false); });
    }
}

void LayerAnimations::finishBlock(const std::shared_ptr<Block>& block)
{
    if (block->done) {
        return;
    }
    block->done = true;
    for (auto it = entries_.begin(); it != entries_.end();) {
        std::erase_if(it->second.animations, [&block](const Animation& animation) { return animation.block == block; });
        it = it->second.animations.empty() ? entries_.erase(it) : std::next(it);
    }
    std::erase(scheduledBlocks_, block);
    // Called from the block's own timer: keep its completion alive while it runs.
    const auto completion = std::move(block->completion);
    block->timer.reset();
    if (completion) {
        completion(block->finished);
    }
}

void LayerAnimations::purge()
{
    std::erase_if(entries_, [](const auto& item) { return item.second.layer.lock().get() != item.first; });
}

void LayerAnimations::reset()
{
    entries_.clear();
    openBlocks_.clear();
    scheduledBlocks_.clear();
}

} // namespace lumora::platform::host
