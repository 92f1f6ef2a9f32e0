#pragma once

#include "platform/ui/RootWindow.h"

namespace lumora::platform::host {

/// The system shell's own root window. Framework code never names this
/// class: it finds it at run time by `RootWindow::ShellRootWindowClassName`.
class ShellRootWindow final : public RootWindow {
public:
    explicit ShellRootWindow(Rect frame) : RootWindow(frame) { }

    [[nodiscard]] std::string className() const override { return std::string(ShellRootWindowClassName); }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == ShellRootWindowClassName || RootWindow::isKindOfClassNamed(name);
    }
};

} // namespace lumora::platform::host
