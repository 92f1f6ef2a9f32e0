#pragma once

#include "platform/CaptureDeviceInput.h"
#include "platform/Object.h"

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
    static constexpr std::string_view PresetMedium = "CaptureSessionPresetMedium";
    static constexpr std::string_view PresetLow = "CaptureSessionPresetLow";
    static constexpr std::string_view PresetPhoto = "CaptureSessionPresetPhoto";

    CaptureSession();
    ~CaptureSession() override;
    CaptureSession(const CaptureSession&) = delete;
    CaptureSession& operator=(const CaptureSession&) = delete;
    CaptureSession(CaptureSession&&) = delete;
    CaptureSession& operator=(CaptureSession&&) = delete;

    [[nodiscard]] const std::string& sessionPreset() const { return preset_; }
    void setSessionPreset(std::string_view preset) { preset_ = std::string(preset); }

    /// Whether the session would take `input`: not null, not already added,
    /// and the device lets the session use it.
    [[nodiscard]] bool canAddInput(const std::shared_ptr<CaptureDeviceInput>& input) const;
    /// Adds an input that `canAddInput` accepts; does nothing otherwise.
    void addInput(const std::shared_ptr<CaptureDeviceInput>& input);
    [[nodiscard]] const std::vector<std::shared_ptr<CaptureDeviceInput>>& inputs() const { return inputs_; }

    void startRunning();
    void stopRunning();
    [[nodiscard]] bool isRunning() const { return running_; }

    [[nodiscard]] std::string className() const override { return "CaptureSession"; }

private:
    std::string preset_ = std::string(PresetHigh);
    std::vector<std::shared_ptr<CaptureDeviceInput>> inputs_;
    bool running_ = false;
};

} // namespace lumora::platform
