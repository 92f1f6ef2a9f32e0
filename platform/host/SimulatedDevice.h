#pragma once

#include "platform/Bundle.h"
#include "platform/Date.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

class SimulatedApplication;
class SimulatedDisplay;
class SimulatedExtensions;
class SimulatedHardware;
class SimulatedPhotoLibrary;
class SimulatedMedia;
class SimulatedRecordingService;
class SimulatedRestrictions;
class SimulatedScreens;
class SimulatedTouchScreen;

/// The development host's device: one coherent, scriptable, in-memory state
/// behind every platform role. Tests and the sample app steer it (install
/// bundles, change the user's languages, hold and advance the clock, ...);
/// the framework only ever sees it through the platform roles.
///
/// It is one per process. Its state may be read from any thread.
class SimulatedDevice {
public:
    static SimulatedDevice& shared();

    /// Puts the device back in its initial state: nothing installed or
    /// mounted, English as the only language, the clock running in real time.
    void reset();

    // ---- File system -----------------------------------------------------------
    /// Makes the device path `devicePath` (and everything below it) name the
    /// host directory `hostPath`, as if it were there on the device.
    void mountDirectory(const std::string& devicePath, const std::string& hostPath);
    /// The host path that a device path stands for (unchanged when no mount covers it).
    [[nodiscard]] std::string resolvePath(const std::string& devicePath) const;

    // ---- Bundles ---------------------------------------------------------------
    /// Installs the bundle directory at `hostPath`, so that it can be found by
    /// its identifier. Returns the bundle, or null when it has no identifier.
    std::shared_ptr<Bundle> installBundle(const std::string& hostPath);
    void uninstallBundle(const std::string& identifier);
    [[nodiscard]] std::shared_ptr<Bundle> installedBundle(const std::string& identifier) const;
    /// Makes the bundle at `hostPath` the running process's main bundle (and installs it).
    void setMainBundle(const std::string& hostPath);
    [[nodiscard]] std::shared_ptr<Bundle> mainBundle() const;

    // ---- Languages -------------------------------------------------------------
    void setPreferredLanguages(std::vector<std::string> languages);
    [[nodiscard]] std::vector<std::string> preferredLanguages() const;
    void setLocaleIdentifier(std::string identifier);
    [[nodiscard]] std::string localeIdentifier() const;

    // ---- Clock -----------------------------------------------------------------
    /// Holds the clock still at `date`; from now on it moves only by `advanceClock`.
    void freezeClock(Date date);
    /// Lets the clock run in real time again.
    void releaseClock();
    /// Moves a held clock forward by `seconds` and fires the timers that fall
    /// due, in the order of their deadlines, queuing each on the MainQueue.
    void advanceClock(double seconds);
    [[nodiscard]] bool isClockFrozen() const;

    // ---- Roles that keep state of their own (each in its own file) --------------
    /// The running application: windows, delegate, activity, status bar.
    SimulatedApplication& application();
    /// The built-in screen, the external display, render contexts.
    SimulatedScreens& screens();
    /// Orientation, kind of device, graphics quality.
    SimulatedHardware& hardware();
    /// Installed application extensions and the requests made of them.
    SimulatedExtensions& extensions();
    /// The photo library's saved movies.
    SimulatedPhotoLibrary& photoLibrary();
    /// Managed settings (screen recording allowed or not).
    SimulatedRestrictions& restrictions();
    /// The audio session and the capture hardware.
    SimulatedMedia& media();
    /// The recording service behind the local proxy: requests seen, start answers.
    SimulatedRecordingService& recordingService();
    /// What the screen shows: snapshots, running view animations.
    SimulatedDisplay& display();
    /// Fingers on the screen.
    SimulatedTouchScreen& touchScreen();
    // ---- Sandbox ---------------------------------------------------------------
    /// Grants the process the access a sandbox token carries (here it only
    /// records the token; nullopt: the process was given no token). Returns
    /// the grant's handle, or -1 when no token was given.
    std::int64_t consumeSandboxToken(std::optional<std::string> token);
    /// The tokens consumed since the last reset, in order.
    [[nodiscard]] std::vector<std::optional<std::string>> consumedSandboxTokens() const;

private:
    SimulatedDevice();

    mutable std::mutex mutex_;
    std::map<std::string, std::string, std::greater<>> mounts_;
    std::map<std::string, std::shared_ptr<Bundle>> bundles_;
    std::shared_ptr<Bundle> mainBundle_;
    std::vector<std::string> languages_;
    std::string localeIdentifier_;
    std::vector<std::optional<std::string>> sandboxTokens_;
};

} // namespace lumora::platform::host
