#pragma once

#include "platform/ui/GestureRecognizer.h"
#include "platform/ui/TargetAction.h"

#include <memory>
#include <vector>

namespace lumora::platform {

/// Recognizes a finger dragged across its view: it begins once the finger has
/// moved `Hysteresis` points from where it came down, reports a change for
/// every later move, and ends when the finger lifts (or is cancelled with
/// it). The translation counts from where the finger came down, or from
/// where `setTranslation_inView` last put it.
class PanGestureRecognizer : public GestureRecognizer {
public:
    /// An action takes the recognizer.
    using Action = TargetAction<const std::shared_ptr<PanGestureRecognizer>&>;

    /// How far, in points, a finger moves before the pan begins.
    static constexpr double Hysteresis = 10;

    /// A recognizer with no target.
    PanGestureRecognizer() = default;
    /// A recognizer with one target; the target is held weakly.
    explicit PanGestureRecognizer(Action action) { addTarget_action(std::move(action)); }

    /// Adds a target-action pair, sent on every state change that the targets
    /// hear, in the order the pairs were added. The target is held weakly.
    void addTarget_action(Action action) { actions_.push_back(std::move(action)); }

    /// How far the finger has moved, in `view`'s coordinate space (the
    /// window's when null).
    [[nodiscard]] Point translationInView(const View* view) const;
    /// Makes the translation read `translation` (in `view`'s coordinate
    /// space) at the finger's current position.
    void setTranslation_inView(Point translation, const View* view);
    /// Points per second in `view`'s coordinate space, over the last move.
    [[nodiscard]] Point velocityInView(const View* view) const;

    /// The first touch to come down is the finger the pan follows.
    void touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    /// Begins the pan once the finger has moved `Hysteresis` points, then reports
    /// a change for every move.
    void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    /// Ends the pan when the last touch lifts, or fails when it had not begun.
    void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    /// Cancels a pan under way as soon as one of its touches is cancelled; a
    /// pan that had not begun fails.
    void touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    /// Back to possible, forgetting the finger and the translation.
    void reset() override;

    [[nodiscard]] std::string className() const override { return "PanGestureRecognizer"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "PanGestureRecognizer" || GestureRecognizer::isKindOfClassNamed(name);
    }

protected:
    void sendActions() override;

private:
    std::vector<Action> actions_;
    // In window coordinates: where the translation counts from, and the last
    // two finger positions with their times.
    Point origin_;
    Point last_;
    Point previous_;
    double lastTime_ = 0;
    double previousTime_ = 0;
};

} // namespace lumora::platform
