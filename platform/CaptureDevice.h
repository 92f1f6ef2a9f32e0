#pragma once

#include "platform/Object.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// Where a capture device sits on the device (the platform's numbering).
enum class CaptureDevicePosition : std::int64_t { Unspecified = 0, Back = 1, Front = 2 };

/// A camera or microphone.
class CaptureDevice final : public Object {
public:
    static constexpr std::string_view MediaTypeVideo = "vide";
    static constexpr std::string_view MediaTypeAudio = "soun";

    /// The devices of a media type that are attached now, in the platform's order.
    static std::vector<std::shared_ptr<CaptureDevice>> devicesWithMediaType(std::string_view mediaType);

    CaptureDevice(
        std::string uniqueID, std::string localizedName, std::string mediaType, CaptureDevicePosition position);

    [[nodiscard]] const std::string& uniqueID() const { return uniqueID_; }
    [[nodiscard]] const std::string& localizedName() const { return localizedName_; }
    [[nodiscard]] bool hasMediaType(std::string_view mediaType) const { return mediaType_ == mediaType; }
    [[nodiscard]] CaptureDevicePosition position() const { return position_; }
    /// Whether the device is still attached.
    [[nodiscard]] bool isConnected() const;

    [[nodiscard]] std::string className() const override { return "CaptureDevice"; }
    [[nodiscard]] std::string description() const override { return "CaptureDevice <" + localizedName_ + ">"; }

private:
    std::string uniqueID_;
    std::string localizedName_;
    std::string mediaType_;
    CaptureDevicePosition position_;
};

} // namespace lumora::platform
