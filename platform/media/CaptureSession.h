#pragma once

#include "platform/foundation/Object.h"
#include "platform/media/CaptureDeviceInput.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// Moves media from capture inputs to outputs (such as a camera preview layer).
/// Used on one thread at a time; `startRunning` and `stopRunning` are synchronous.
class CaptureSession final : public Object {
public:
    /// The preset for the highest quality the device offers.
    static constexpr std::string_view PresetHigh = "CaptureSessionPresetHigh";
    /// The preset for medium quality, suited to sharing over a network.
    static constexpr std::string_view PresetMedium = "CaptureSessionPresetMedium";
    /// The preset for low quality, suited to sharing over a slow network.
    static constexpr std::string_view PresetLow = "CaptureSessionPresetLow";
    /// The preset for full-resolution still photos.
    static constexpr std::string_view PresetPhoto = "CaptureSessionPresetPhoto";

    CaptureSession();
    ~CaptureSession() override;
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;
    CaptureSession(CaptureSession&&) = delete;
    CaptureSession& operator=(CaptureSession&&) = delete;

    /// The quality preset of the session's output (one of the Preset names);
    /// PresetHigh unless set.
    [[nodiscard]] const std::string& sessionPreset() const { return preset_; }
    /// Sets the quality preset.
    void setSessionPreset(std::string_view preset) { preset_ = std::string(preset); }

    /// Whether the session would take `input`: not null, not already added,
    /// and the device lets the session use it.
    [[nodiscard]] bool canAddInput(const std::shared_ptr<CaptureDeviceInput>& input) const;
    /// Adds an input that `canAddInput` accepts; does nothing otherwise.
    void addInput(const std::shared_ptr<CaptureDeviceInput>& input);
    /// The inputs added, in the order they were added.
    [[nodiscard]] const std::vector<std::shared_ptr<CaptureDeviceInput>>& inputs() const { return inputs_; }

    /// Starts the flow of media from inputs to outputs; returns once it runs.
    /// Does nothing when already running.
    void startRunning();
    /// Stops the flow of media; returns once it has stopped. Does nothing when not
    /// running.
    void stopRunning();
    /// Whether the session is running.
    [[nodiscard]] bool isRunning() const { return running_; }

    [[nodiscard]] std::string className() const override { return "CaptureSession"; }

private:
    std::string preset_ = std::string(PresetHigh);
    std::vector<std::shared_ptr<CaptureDeviceInput>> inputs_;
    bool running_ = false;
};

} // namespace lumora::platform
