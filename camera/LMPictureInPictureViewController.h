#pragma once

#include "platform/ui/PanGestureRecognizer.h"
#include "platform/ui/ViewController.h"

#include <cstdint>
#include <memory>

namespace lumora {

/// The corner the picture-in-picture content view rests at. Values outside
/// the four named ones place it like the bottom-right corner.
enum class PipAlignment : std::int64_t {
    TopLeft = 0,
    TopRight = 1,
    BottomLeft = 2,
    BottomRight = 3,
};

/// Lets the user drag the floating content view and springs it into the
/// corner of the quarter of the screen in which its centre was let go, 25
/// points in from both edges. It keeps its corner across rotations.
class LMPictureInPictureViewController : public platform::ViewController {
public:
    /// How far in from both edges the content view rests.
    static constexpr double CornerMargin = 25;

    LMPictureInPictureViewController() = default;

    /// Puts `contentView` in a new pass-through view that becomes this
    /// controller's view, lets the user drag it, and springs it to the top left.
    void setContentView(const std::shared_ptr<platform::View>& contentView);
    /// The content view; its superview keeps it alive.
    [[nodiscard]] std::shared_ptr<platform::View> contentView() const { return contentView_.lock(); }

    /// Follows the finger, and snaps to a corner when the finger lifts.
    void viewDidPan(const std::shared_ptr<platform::PanGestureRecognizer>& recognizer);
    /// Springs the content view to the corner `alignment` of a view of `size`.
    void updateContentViewWithAlignment_size(PipAlignment alignment, platform::Size size);

    /// The corner the content view rests in, or is springing to; top left at first.
    [[nodiscard]] PipAlignment currentAlignment() const { return currentAlignment_; }
    /// Sets the corner without moving the content view; the next size change
    /// springs it there.
    void setCurrentAlignment(PipAlignment alignment) { currentAlignment_ = alignment; }
    /// A point kept for the application; the controller neither sets nor reads it.
    [[nodiscard]] platform::Point lastTouchPoint() const { return lastTouchPoint_; }
    /// Sets the kept point.
    void setLastTouchPoint(platform::Point point) { lastTouchPoint_ = point; }

    /// The interface orientations the window may take: all four (portrait,
    /// upside down and both landscapes, the platform's mask bits 1 to 4).
    static constexpr std::uint64_t AllInterfaceOrientations = 30;
    /// All four interface orientations.
    [[nodiscard]] std::uint64_t supportedInterfaceOrientations() const { return AllInterfaceOrientations; }
    /// True: the window turns with the device.
    [[nodiscard]] bool shouldAutorotate() const { return true; }
    /// Keeps the content view in its corner of the new size.
    void viewWillTransitionToSize_withTransitionCoordinator(
        platform::Size size, const std::shared_ptr<platform::TransitionCoordinator>& coordinator) override;

    [[nodiscard]] std::string className() const override { return "LMPictureInPictureViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPictureInPictureViewController" || platform::ViewController::isKindOfClassNamed(name);
    }

private:
    std::weak_ptr<platform::View> contentView_;
    PipAlignment currentAlignment_ = PipAlignment::TopLeft;
    platform::Point lastTouchPoint_;
};

} // namespace lumora
