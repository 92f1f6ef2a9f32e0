#pragma once

#include "platform/TargetAction.h"
#include "platform/View.h"

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
    static constexpr Events EventTouchDown = 1U << 0U;
    static constexpr Events EventTouchDownRepeat = 1U << 1U;
    static constexpr Events EventTouchDragInside = 1U << 2U;
    static constexpr Events EventTouchDragOutside = 1U << 3U;
    static constexpr Events EventTouchDragEnter = 1U << 4U;
    static constexpr Events EventTouchDragExit = 1U << 5U;
    static constexpr Events EventTouchUpInside = 1U << 6U;
    static constexpr Events EventTouchUpOutside = 1U << 7U;
    static constexpr Events EventTouchCancel = 1U << 8U;
    static constexpr Events EventValueChanged = 1U << 12U;
    static constexpr Events EventPrimaryActionTriggered = 1U << 13U;
    static constexpr Events EventAllTouchEvents = 0x0FFFU;

    /// Control states (the platform's bits); Normal is no bit.
    using State = std::uint64_t;
    static constexpr State StateNormal = 0;
    static constexpr State StateHighlighted = 1U << 0U;
    static constexpr State StateDisabled = 1U << 1U;
    static constexpr State StateSelected = 1U << 2U;

    /// An action takes the sender: the control.
    using Action = TargetAction<const std::shared_ptr<Object>&>;

    Control() = default;
    explicit Control(Rect frame) : View(frame) { }

    /// Sends `action` for every event among `events`, in the order the pairs
    /// were added. The target is held weakly; once it has gone the pair
    /// stays and sends nothing.
    void addTarget_action_forControlEvents(Action action, Events events);
    /// Sends the actions registered for any of `events` now.
    void sendActionsForControlEvents(Events events);
    /// The events some pair was added for.
    [[nodiscard]] Events allControlEvents() const;

    [[nodiscard]] bool isHighlighted() const { return highlighted_; }
    virtual void setHighlighted(bool highlighted);
    [[nodiscard]] bool isEnabled() const { return enabled_; }
    virtual void setEnabled(bool enabled);
    [[nodiscard]] bool isSelected() const { return selected_; }
    virtual void setSelected(bool selected);
    [[nodiscard]] State state() const;
    [[nodiscard]] bool isTracking() const { return tracking_ != nullptr; }
    /// Whether the tracked finger is inside the bounds.
    [[nodiscard]] bool isTouchInside() const { return touchInside_; }

    /// A disabled control takes no touches.
    [[nodiscard]] std::shared_ptr<View> hitTest_withEvent(Point point, const std::shared_ptr<Event>& event) override;
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
