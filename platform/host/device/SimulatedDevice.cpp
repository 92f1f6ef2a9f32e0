#include "platform/host/device/SimulatedDevice.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/device/SimulatedFileSystem.h"
#include "platform/host/device/SimulatedHardware.h"
#include "platform/host/device/SimulatedRestrictions.h"
#include "platform/host/device/SimulatedScreens.h"
#include "platform/host/device/SimulatedTouchScreen.h"
#include "platform/host/foundation/HostClock.h"
#include "platform/host/foundation/PlatformThreads.h"
#include "platform/host/services/SimulatedBroadcastPicker.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedMedia.h"
#include "platform/host/services/SimulatedPhotoLibrary.h"
#include "platform/host/services/SimulatedRecordingService.h"
#include "platform/host/services/SimulatedStoreCatalogue.h"

namespace lumora::platform::host {

// The device and its roles are never destroyed: platform threads may still
// deliver into them while the process exits. (The photo library's folder and
// the recording service's movies folder are removed at exit by small objects
// of their own, which no other thread touches.)
SimulatedDevice& SimulatedDevice::shared()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* device = new SimulatedDevice;
    return *device;
}

SimulatedDevice::SimulatedDevice()
{
    reset();
}

void SimulatedDevice::reset()
{
    {
        std::lock_guard lock(mutex_);
        mounts_.clear();
        bundles_.clear();
        mainBundle_.reset();
        languages_ = { "en" };
        localeIdentifier_ = "en_US";
        timeZoneName_ = "UTC";
        sandboxTokens_.clear();
    }
    HostClock::reset();
    application().reset();
    screens().reset();
    hardware().reset();
    extensions().reset();
    photoLibrary().reset();
    restrictions().reset();
    media().reset();
    recordingService().reset();
    fileSystem().reset();
    storeCatalogue().reset();
    broadcastPicker().reset(extensions());
    display().reset();
    touchScreen().reset();
}

bool SimulatedDevice::drain(std::chrono::milliseconds timeout)
{
    // Every queue of the platform (the service's upload queue, connection
    // queues, encoding, extension deliveries) counts its tasks as platform
    // work until they have run. A task may wait for the MainQueue, and a
    // MainQueue task may queue more work, so the two are drained in turn
    // until a round finds both idle.
    using std::chrono::steady_clock;
    const auto deadline = steady_clock::now() + timeout;
    const auto idle = [] { return waitForPlatformThreadsIdle(std::chrono::milliseconds(0)); };
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
        if (left.count() < 0 || !MainQueue::runUntil(idle, left)) {
            return false;
        }
        if (MainQueue::drain() == 0 && idle()) {
            return true;
        }
    }
}

SimulatedBroadcastPicker& SimulatedDevice::broadcastPicker()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* picker = new SimulatedBroadcastPicker;
    return *picker;
}

SimulatedApplication& SimulatedDevice::application()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* application = new SimulatedApplication;
    return *application;
}

SimulatedScreens& SimulatedDevice::screens()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* screens = new SimulatedScreens;
    return *screens;
}

SimulatedHardware& SimulatedDevice::hardware()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* hardware = new SimulatedHardware;
    return *hardware;
}

SimulatedExtensions& SimulatedDevice::extensions()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* extensions = new SimulatedExtensions;
    return *extensions;
}

SimulatedPhotoLibrary& SimulatedDevice::photoLibrary()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* library = new SimulatedPhotoLibrary;
    return *library;
}

SimulatedRestrictions& SimulatedDevice::restrictions()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* restrictions = new SimulatedRestrictions;
    return *restrictions;
}

SimulatedMedia& SimulatedDevice::media()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* media = new SimulatedMedia;
    return *media;
}

SimulatedRecordingService& SimulatedDevice::recordingService()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* service = new SimulatedRecordingService;
    return *service;
}

SimulatedFileSystem& SimulatedDevice::fileSystem()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* fileSystem = new SimulatedFileSystem;
    return *fileSystem;
}

SimulatedStoreCatalogue& SimulatedDevice::storeCatalogue()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* catalogue = new SimulatedStoreCatalogue;
    return *catalogue;
}

SimulatedDisplay& SimulatedDevice::display()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* display = new SimulatedDisplay;
    return *display;
}

SimulatedTouchScreen& SimulatedDevice::touchScreen()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* touchScreen = new SimulatedTouchScreen;
    return *touchScreen;
}

void SimulatedDevice::mountDirectory(const std::string& devicePath, const std::string& hostPath)
{
    std::string key = devicePath;
    while (key.size() > 1 && key.back() == '/') {
        key.pop_back();
    }
    std::lock_guard lock(mutex_);
    mounts_[key] = hostPath;
}

std::string SimulatedDevice::resolvePath(const std::string& devicePath) const
{
    std::lock_guard lock(mutex_);
    // Mounts are ordered so that a longer (more specific) device path comes first.
    for (const auto& [mountPoint, hostPath] : mounts_) {
        if (devicePath == mountPoint) {
            return hostPath;
        }
        if (devicePath.size() > mountPoint.size() && devicePath.starts_with(mountPoint)
            && devicePath[mountPoint.size()] == '/') {
            return hostPath + devicePath.substr(mountPoint.size());
        }
    }
    return devicePath;
}

std::shared_ptr<Bundle> SimulatedDevice::installBundle(const std::string& hostPath)
{
    auto bundle = std::make_shared<Bundle>(hostPath);
    const auto identifier = bundle->bundleIdentifier();
    if (!identifier) {
        return nullptr;
    }
    std::lock_guard lock(mutex_);
    bundles_[*identifier] = bundle;
    return bundle;
}

void SimulatedDevice::uninstallBundle(const std::string& identifier)
{
    std::lock_guard lock(mutex_);
    bundles_.erase(identifier);
}

std::shared_ptr<Bundle> SimulatedDevice::installedBundle(const std::string& identifier) const
{
    std::lock_guard lock(mutex_);
    const auto found = bundles_.find(identifier);
    return found == bundles_.end() ? nullptr : found->second;
}

void SimulatedDevice::setMainBundle(const std::string& hostPath)
{
    auto bundle = installBundle(hostPath);
    if (!bundle) {
        bundle = std::make_shared<Bundle>(hostPath);
    }
    std::lock_guard lock(mutex_);
    mainBundle_ = std::move(bundle);
}

std::shared_ptr<Bundle> SimulatedDevice::mainBundle() const
{
    std::lock_guard lock(mutex_);
    return mainBundle_;
}

void SimulatedDevice::setPreferredLanguages(std::vector<std::string> languages)
{
    std::lock_guard lock(mutex_);
    languages_ = std::move(languages);
}

std::vector<std::string> SimulatedDevice::preferredLanguages() const
{
    std::lock_guard lock(mutex_);
    return languages_;
}

void SimulatedDevice::setLocaleIdentifier(std::string identifier)
{
    std::lock_guard lock(mutex_);
    localeIdentifier_ = std::move(identifier);
}

std::string SimulatedDevice::localeIdentifier() const
{
    std::lock_guard lock(mutex_);
    return localeIdentifier_;
}

void SimulatedDevice::setTimeZoneName(std::string name)
{
    std::lock_guard lock(mutex_);
    timeZoneName_ = std::move(name);
}

std::string SimulatedDevice::timeZoneName() const
{
    std::lock_guard lock(mutex_);
    return timeZoneName_;
}

void SimulatedDevice::freezeClock(Date date)
{
    HostClock::freeze(date);
}

void SimulatedDevice::releaseClock()
{
    HostClock::release();
}

void SimulatedDevice::advanceClock(double seconds)
{
    HostClock::advance(seconds);
}

std::size_t SimulatedDevice::runPendingTimers(std::size_t limit)
{
    return HostClock::advanceThroughTimers(limit);
}

bool SimulatedDevice::isClockFrozen() const
{
    return HostClock::isFrozen();
}

std::int64_t SimulatedDevice::consumeSandboxToken(std::optional<std::string> token)
{
    std::lock_guard lock(mutex_);
    const bool given = token.has_value();
    sandboxTokens_.push_back(std::move(token));
    return given ? static_cast<std::int64_t>(sandboxTokens_.size()) : -1;
}

std::vector<std::optional<std::string>> SimulatedDevice::consumedSandboxTokens() const
{
    std::lock_guard lock(mutex_);
    return sandboxTokens_;
}

} // namespace lumora::platform::host
