#pragma once

#include "platform/host/graphics/Bitmap.h"

#include <memory>

namespace lumora::platform {
class View;
} // namespace lumora::platform

namespace lumora::platform::host {

/// What the simulated device's built-in screen shows.
///
/// The screen is drawn on demand: every visible window of the application,
/// ordered by window level and, within a level, by the order the windows
/// joined the application, each with its view tree as it is shown at the
/// current time of the device clock (animations in flight included). The
/// display also keeps the view animations that are running.
///
/// Used on the MainQueue.
class SimulatedDisplay {
public:
    void reset();

    /// The whole screen at the main screen's scale (an empty bitmap without
    /// a main screen). Whatever no window covers is opaque black.
    [[nodiscard]] Bitmap snapshotScreen() const;
    /// Draws the screen into `bitmap`, which must be of the screen's pixel
    /// size (it is made so when it is not); reusing one bitmap frame after
    /// frame draws without allocating.
    void drawScreen(Bitmap& bitmap) const;
    /// One view and its subviews on a transparent background, as large as
    /// its bounds at the main screen's scale, whether or not it is on
    /// screen. The view's own alpha and hidden state count.
    [[nodiscard]] Bitmap snapshotView(const View& view) const;
    /// Stops every running view animation without running its completion.
    void removeAllAnimations();
};

} // namespace lumora::platform::host
