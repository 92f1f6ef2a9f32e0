#pragma once

#include "platform/ui/RootWindow.h"

namespace lumora {

/// The window that would mark a system recording on screen. Touches on its
/// own empty area fall through to whatever lies below, while its subviews
/// stay touchable. The recorder declares one but this build never creates it.
class LMSystemRecordingIndicatorWindow : public platform::RootWindow {
public:
    /// A window covering `frame`.
    explicit LMSystemRecordingIndicatorWindow(platform::Rect frame) : platform::RootWindow(frame) { }

    /// The base class's hit, except that the window itself is never hit.
    [[nodiscard]] std::shared_ptr<platform::View> hitTest_withEvent(
        platform::Point point, const std::shared_ptr<platform::Event>& event) override;

    [[nodiscard]] std::string className() const override { return "LMSystemRecordingIndicatorWindow"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMSystemRecordingIndicatorWindow" || platform::RootWindow::isKindOfClassNamed(name);
    }
};

} // namespace lumora
