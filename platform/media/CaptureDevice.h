#pragma once

#include "platform/foundation/Object.h"

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
    /// Media types: pictures (cameras).
    static constexpr std::string_view MediaTypeVideo = "vide";
    /// Sound (microphones).
    static constexpr std::string_view MediaTypeAudio = "soun";

    /// The devices of a media type that are attached now, in the platform's order.
    static std::vector<std::shared_ptr<CaptureDevice>> devicesWithMediaType(std::string_view mediaType);

    /// A device description; the platform makes these, see `devicesWithMediaType`.
    CaptureDevice(
        std::string uniqueID, std::string localizedName, std::string mediaType, CaptureDevicePosition position);

    /// An identifier that stays the same for the device across launches.
    [[nodiscard]] const std::string& uniqueID() const { return uniqueID_; }
    /// The device's name for the user.
    [[nodiscard]] const std::string& localizedName() const { return localizedName_; }
    /// Whether the device captures `mediaType`.
    [[nodiscard]] bool hasMediaType(std::string_view mediaType) const { return mediaType_ == mediaType; }
    /// Where the device sits: the front or back face, or unspecified.
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
