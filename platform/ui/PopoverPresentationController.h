#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <memory>

namespace lumora::platform {

class View;
class ViewController;

/// How a view controller presented as a popover is anchored: the view and
/// the rectangle (in that view's coordinates) the popover points at, and the
/// directions its arrow may take.
class PopoverPresentationController final : public Object {
public:
    /// Arrow directions, a bit set. Up: the arrow points up, at a source
    /// above the popover.
    static constexpr std::uint64_t ArrowDirectionUp = 1U << 0U;
    /// The arrow points down, at a source below the popover.
    static constexpr std::uint64_t ArrowDirectionDown = 1U << 1U;
    /// The arrow points left, at a source left of the popover.
    static constexpr std::uint64_t ArrowDirectionLeft = 1U << 2U;
    /// The arrow points right, at a source right of the popover.
    static constexpr std::uint64_t ArrowDirectionRight = 1U << 3U;
    /// Every direction.
    static constexpr std::uint64_t ArrowDirectionAny = 0xF;
    /// No direction yet: the popover has not been shown.
    static constexpr std::uint64_t ArrowDirectionUnknown = UINT64_MAX;

    /// Anchoring for `presented` shown by `presenting`; both are held weakly.
    PopoverPresentationController(
        const std::shared_ptr<ViewController>& presented, const std::shared_ptr<ViewController>& presenting)
        : presented_(presented), presenting_(presenting)
    { }

    /// The controller shown in the popover, or null once it has gone.
    [[nodiscard]] std::shared_ptr<ViewController> presentedViewController() const { return presented_.lock(); }
    /// The controller that presents the popover, or null once it has gone.
    [[nodiscard]] std::shared_ptr<ViewController> presentingViewController() const { return presenting_.lock(); }

    /// The view the popover points at (held weakly), or null.
    [[nodiscard]] std::shared_ptr<View> sourceView() const { return sourceView_.lock(); }
    /// Sets the view the popover points at.
    void setSourceView(const std::shared_ptr<View>& view) { sourceView_ = view; }
    /// The rectangle the popover points at, in `sourceView`'s coordinates.
    [[nodiscard]] Rect sourceRect() const { return sourceRect_; }
    /// Sets the rectangle the popover points at.
    void setSourceRect(Rect rect) { sourceRect_ = rect; }
    /// The directions the application permits (any, until it says otherwise).
    [[nodiscard]] std::uint64_t permittedArrowDirections() const { return permittedArrowDirections_; }
    /// Sets the directions the arrow may take.
    void setPermittedArrowDirections(std::uint64_t directions) { permittedArrowDirections_ = directions; }
    /// The direction the popover's arrow takes: unknown until the popover is
    /// shown; then the first permitted direction, up first.
    [[nodiscard]] std::uint64_t arrowDirection() const { return arrowDirection_; }
    /// Called when the popover is laid out.
    void setArrowDirection(std::uint64_t direction) { arrowDirection_ = direction; }

    [[nodiscard]] std::string className() const override { return "PopoverPresentationController"; }

private:
    std::weak_ptr<ViewController> presented_;
    std::weak_ptr<ViewController> presenting_;
    std::weak_ptr<View> sourceView_;
    Rect sourceRect_ {};
    std::uint64_t permittedArrowDirections_ = ArrowDirectionAny;
    std::uint64_t arrowDirection_ = ArrowDirectionUnknown;
};

} // namespace lumora::platform
