#pragma once

#include "platform/media/CaptureDevice.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The simulated device's audio and capture hardware.
///
/// Initially: the audio session in the solo-ambient category with no
/// options; a back camera, a front camera and a microphone, listed in that
/// order; camera use allowed; capture sessions accept inputs; no session running.
class SimulatedMedia {
public:
    void reset();

    // ---- Audio session -------------------------------------------------------------
    [[nodiscard]] std::string audioCategory() const;
    [[nodiscard]] std::uint64_t audioCategoryOptions() const;
    void setAudioCategory(std::string category, std::uint64_t options);
    /// How many times the application has set the category (successfully).
    [[nodiscard]] int audioCategoryChangeCount() const;

    // ---- Capture devices -------------------------------------------------------------
    /// Attaches or detaches the front (or back) camera. A detached camera's
    /// object stays valid but reports that it is no longer connected, and new
    /// inputs cannot be made from it.
    void setFrontCameraPresent(bool present);
    void setBackCameraPresent(bool present);
    [[nodiscard]] std::vector<std::shared_ptr<CaptureDevice>> devicesWithMediaType(std::string_view mediaType) const;
    [[nodiscard]] bool isConnected(const CaptureDevice* device) const;
    /// Whether the user allows the application to use the cameras.
    void setCameraAuthorized(bool authorized);
    [[nodiscard]] bool isCameraAuthorized() const;
    /// Whether capture sessions accept inputs (a device busy elsewhere makes
    /// every session refuse).
    void setSessionsAcceptInputs(bool accept);
    [[nodiscard]] bool sessionsAcceptInputs() const;

    // ---- Running sessions ----------------------------------------------------------------
    void sessionDidStartRunning();
    void sessionDidStopRunning();
    /// How many capture sessions are running now.
    [[nodiscard]] int runningSessionCount() const;

private:
    mutable std::mutex mutex_;
    std::string audioCategory_;
    std::uint64_t audioOptions_ = 0;
    int audioChanges_ = 0;
    std::shared_ptr<CaptureDevice> backCamera_;
    std::shared_ptr<CaptureDevice> frontCamera_;
    std::shared_ptr<CaptureDevice> microphone_;
    bool backPresent_ = true;
    bool frontPresent_ = true;
    bool cameraAuthorized_ = true;
    bool acceptInputs_ = true;
    int runningSessions_ = 0;
};

} // namespace lumora::platform::host
