#pragma once

#include "platform/ui/Window.h"

#include <string_view>

namespace lumora::platform {

/// The platform's root-window class: a window of the system's own interface
/// layer, above application windows, from which system interface elements
/// derive.
///
/// The system shell defines its own subclass of it, present only where the
/// shell's code is loaded; it is found at run time under
/// `ShellRootWindowClassName` (see `Runtime`).
class RootWindow : public Window {
public:
    /// The run-time name of the system shell's root-window subclass.
    static constexpr std::string_view ShellRootWindowClassName = "ShellRootWindow";

    /// A root window covering `frame` in screen coordinates.
    explicit RootWindow(Rect frame) : Window(frame) { }

    [[nodiscard]] std::string className() const override { return "RootWindow"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "RootWindow" || Window::isKindOfClassNamed(name);
    }
};

} // namespace lumora::platform
