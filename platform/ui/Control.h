#pragma once

#include "platform/ui/TargetAction.h"
#include "platform/ui/View.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace lumora::platform {

/// A view that tracks a finger and reports what it does as control events to
/// target-action pairs.
///
/// While tracking, a finger coming down sends touch down and highlights the
/// control; leaving the bounds sends drag exit and clears the highlight,
/// coming back sends drag enter and highlights again; every move sends drag
/// inside or drag outside. Lifting inside sends touch up inside, outside
/// touch up outside; a cancelled touch sends cancel. The highlight is cleared
/// before the lifting events are sent.
class Control : public View {
public:
    /// Control events (the platform's bits).
    using Events = std::uint64_t;
    /// A finger came down on the control.
    static constexpr Events EventTouchDown = 1U << 0U;
    /// A finger came down again in quick succession (not sent by the base class).
    static constexpr Events EventTouchDownRepeat = 1U << 1U;
    /// The tracked finger moved inside the bounds.
    static constexpr Events EventTouchDragInside = 1U << 2U;
    /// The tracked finger moved outside the bounds.
    static constexpr Events EventTouchDragOutside = 1U << 3U;
    /// The tracked finger came back into the bounds.
    static constexpr Events EventTouchDragEnter = 1U << 4U;
    /// The tracked finger left the bounds.
    static constexpr Events EventTouchDragExit = 1U << 5U;
    /// The tracked finger lifted inside the bounds: a tap.
    static constexpr Events EventTouchUpInside = 1U << 6U;
    /// The tracked finger lifted outside the bounds.
    static constexpr Events EventTouchUpOutside = 1U << 7U;
    /// The tracked touch was cancelled.
    static constexpr Events EventTouchCancel = 1U << 8U;
    /// The control's value changed (sent by subclasses that have one).
    static constexpr Events EventValueChanged = 1U << 12U;
    /// The control's main action happened (sent by subclasses).
    static constexpr Events EventPrimaryActionTriggered = 1U << 13U;
    /// Every touch event.
    static constexpr Events EventAllTouchEvents = 0x0FFFU;

    /// Control states (the platform's bits); Normal is no bit.
    using State = std::uint64_t;
    /// Enabled, not highlighted, not selected.
    static constexpr State StateNormal = 0;
    /// A finger is down on the control.
    static constexpr State StateHighlighted = 1U << 0U;
    /// The control takes no touches.
    static constexpr State StateDisabled = 1U << 1U;
    /// The control is selected.
    static constexpr State StateSelected = 1U << 2U;

    /// An action takes the sender: the control.
    using Action = TargetAction<const std::shared_ptr<Object>&>;

    /// An enabled control with a zero frame and no target-action pairs.
    Control() = default;
    /// An enabled control with the given frame and no target-action pairs.
    explicit Control(Rect frame) : View(frame) { }

    /// Sends `action` for every event among `events`, in the order the pairs
    /// were added. The target is held weakly; once it has gone the pair
    /// stays and sends nothing.
    void addTarget_action_forControlEvents(Action action, Events events);
    /// Sends the actions registered for any of `events` now.
    void sendActionsForControlEvents(Events events);
    /// The events some pair was added for.
    [[nodiscard]] Events allControlEvents() const;

    /// Whether the control is highlighted: a finger is down on it and inside.
    [[nodiscard]] bool isHighlighted() const { return highlighted_; }
    /// Sets the highlight; a change calls `stateDidChange`.
    virtual void setHighlighted(bool highlighted);
    /// Whether the control takes touches (true by default).
    [[nodiscard]] bool isEnabled() const { return enabled_; }
    /// Enables or disables the control; a change calls `stateDidChange`.
    virtual void setEnabled(bool enabled);
    /// Whether the control is selected (false by default); the platform never
    /// changes it by itself.
    [[nodiscard]] bool isSelected() const { return selected_; }
    /// Selects or deselects the control; a change calls `stateDidChange`.
    virtual void setSelected(bool selected);
    /// The control's state bits, made from the highlight, enabled and selected
    /// flags.
    [[nodiscard]] State state() const;
    /// Whether the control is tracking a finger (from touch down until it lifts
    /// or is cancelled).
    [[nodiscard]] bool isTracking() const { return tracking_ != nullptr; }
    /// Whether the tracked finger is inside the bounds.
    [[nodiscard]] bool isTouchInside() const { return touchInside_; }

    /// A disabled control takes no touches.
    [[nodiscard]] std::shared_ptr<View> hitTest_withEvent(Point point, const std::shared_ptr<Event>& event) override;
    /// Starts tracking the first touch when the control is enabled and tracks
    /// none. A control keeps its touches: they are not passed to the superview.
    void touchesBegan_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    void touchesMoved_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    void touchesEnded_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;
    void touchesCancelled_withEvent(const TouchList& touches, const std::shared_ptr<Event>& event) override;

    [[nodiscard]] std::string className() const override { return "Control"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Control" || View::isKindOfClassNamed(name);
    }

protected:
    /// The control's look follows its state; called after every state change.
    virtual void stateDidChange() { }

private:
    struct Registration {
        Action action;
        Events events;
    };

    std::vector<Registration> registrations_;
    std::shared_ptr<Touch> tracking_;
    bool highlighted_ = false;
    bool enabled_ = true;
    bool selected_ = false;
    bool touchInside_ = false;
};

} // namespace lumora::platform
