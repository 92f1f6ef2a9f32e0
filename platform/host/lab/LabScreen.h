#pragma once

#include "platform/host/lab/LabOptions.h"
#include "platform/host/lab/MovieFrames.h"
#include "platform/ui/View.h"

#include <memory>
#include <vector>

namespace lumora::platform::host {

/// What the application shows on the screen during a run of the lab, as a
/// function of device time: a moving test picture (a sweeping bar and a
/// square crossing a background whose colour turns), a few animated views,
/// or the pictures of a movie file. Used on the MainQueue.
class LabScreen {
public:
    /// Fills `container` with the chosen picture; `movie` for `Screen::Movie`.
    LabScreen(LabOptions::Screen screen, std::shared_ptr<View> container, std::unique_ptr<MovieFrames> movie);

    /// Shows the picture of `seconds` of device time.
    void show(double seconds);

private:
    LabOptions::Screen screen_;
    std::shared_ptr<View> container_;
    std::unique_ptr<MovieFrames> movie_;
    std::shared_ptr<View> picture_;
    std::vector<std::shared_ptr<View>> parts_;
};

} // namespace lumora::platform::host
