#pragma once

#include "platform/system/Bundle.h"

#include <functional>
#include <memory>

namespace lumora::platform::host {

/// Which process the code running on a thread belongs to. Extensions run in
/// the same host process here, but on a device each has a process of its own
/// whose main bundle is the extension's: while an extension's code runs (its
/// code started by the device, and platform deliveries it asked for), the
/// main bundle is the extension's. Everywhere else it is the application's.
class SimulatedProcess {
public:
    /// The main bundle of the process whose code runs on this thread; null
    /// for the application's own process.
    [[nodiscard]] static std::shared_ptr<Bundle> currentMainBundle();

    /// Runs the code of its scope in the process whose main bundle is `mainBundle`.
    class Scope {
    public:
        explicit Scope(std::shared_ptr<Bundle> mainBundle);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
        Scope(Scope&&) = delete;
        Scope& operator=(Scope&&) = delete;

    private:
        std::shared_ptr<Bundle> previous_;
    };

    /// `task` made to run in the process of the code calling this.
    [[nodiscard]] static std::function<void()> bindToCurrentProcess(std::function<void()> task);
};

} // namespace lumora::platform::host
