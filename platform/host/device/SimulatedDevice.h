#pragma once

#include "platform/foundation/Date.h"
#include "platform/system/Bundle.h"

#include <chrono>
#include <cstddef>
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
class SimulatedBroadcastPicker;
class SimulatedDisplay;
class SimulatedExtensions;
class SimulatedFileSystem;
class SimulatedHardware;
class SimulatedPhotoLibrary;
class SimulatedMedia;
class SimulatedRecordingService;
class SimulatedRestrictions;
class SimulatedScreens;
class SimulatedStoreCatalogue;
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
    /// mounted, English as the only language, the clock running in real time
    /// with no timer pending.
    void reset();

    /// Awaits everything the device has set in motion that must land before
    /// a program reads its results or returns from main: the recording
    /// service's upload requests and the replies it passes on, messages on
    /// the connections (the service's calls into the application), the
    /// platform's threads and queues, and the MainQueue deliveries they make,
    /// which it runs. It returns once one round finds nothing left, or false
    /// when work is still going after `timeout`.
    ///
    /// Call it on the thread that drains the MainQueue (the main thread). It
    /// neither moves a held clock nor waits for timers: what a timer starts
    /// after the call is not awaited. Without it, a service's last messages
    /// (its final service information, for one) may still be on their way
    /// when the program looks or exits, and never arrive.
    bool drain(std::chrono::milliseconds timeout = std::chrono::seconds(10));

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
    /// The device's current time zone, by its database name ("Europe/Paris"; initially "UTC").
    void setTimeZoneName(std::string name);
    [[nodiscard]] std::string timeZoneName() const;

    // ---- Clock -----------------------------------------------------------------
    /// Holds the clock still at `date`; from now on it moves only by `advanceClock`.
    void freezeClock(Date date);
    /// Lets the clock run again from where it stood (uptime never goes back),
    /// firing every timer that came due while it was held.
    void releaseClock();
    /// Moves a held clock forward by `seconds` and fires the timers that fall
    /// due, in the order of their deadlines, queuing each on the MainQueue.
    void advanceClock(double seconds);
    /// Advances a held clock to each pending timer's deadline in turn and runs
    /// the MainQueue, until no timer is pending or `limit` MainQueue tasks
    /// have run (timers that keep setting new ones). Returns the tasks run.
    std::size_t runPendingTimers(std::size_t limit = 10000);
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
    /// The file system's free size (files themselves live on the host's file system).
    SimulatedFileSystem& fileSystem();
    /// The application store's catalogue that store lookups query.
    SimulatedStoreCatalogue& storeCatalogue();
    /// The system's broadcast picker extension and the service chosen in it.
    SimulatedBroadcastPicker& broadcastPicker();
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
    std::string timeZoneName_;
    std::vector<std::optional<std::string>> sandboxTokens_;
};

} // namespace lumora::platform::host
