#pragma once

#include "platform/foundation/Object.h"

#include <cstdint>
#include <memory>
#include <string_view>

namespace lumora::platform {

/// How the device is held (the platform's numbering).
enum class DeviceOrientation : std::int64_t {
    Unknown = 0,
    Portrait = 1, ///< upright, home button at the bottom
    PortraitUpsideDown = 2, ///< home button at the top
    LandscapeLeft = 3, ///< turned left: home button on the right
    LandscapeRight = 4, ///< turned right: home button on the left
    FaceUp = 5,
    FaceDown = 6,
};

/// The kind of device the interface is laid out for.
enum class UserInterfaceIdiom : std::int64_t { Unspecified = -1, Phone = 0, Tablet = 1 };

/// The device itself: how it is held, what kind of device it is, and how
/// much graphics work it can afford.
class Device final : public Object {
public:
    /// Posted on the MainQueue's thread whenever the orientation changes.
    static constexpr std::string_view OrientationDidChangeNotification = "DeviceOrientationDidChangeNotification";
    /// The graphics-quality code of devices that should avoid live blur and
    /// similar costly effects.
    static constexpr std::int64_t ReducedGraphicsQuality = 10;
    /// The graphics-quality code of devices that can afford every effect.
    static constexpr std::int64_t FullGraphicsQuality = 100;

    /// The device the process runs on; the same object on every call.
    static std::shared_ptr<Device> currentDevice();

    Device() = default;

    /// How the device is held now.
    [[nodiscard]] DeviceOrientation orientation() const;
    /// The kind of device: phone or tablet.
    [[nodiscard]] UserInterfaceIdiom userInterfaceIdiom() const;
    /// How much graphics work the device can afford (ReducedGraphicsQuality or
    /// FullGraphicsQuality).
    [[nodiscard]] std::int64_t graphicsQuality() const;

    [[nodiscard]] std::string className() const override { return "Device"; }
};

} // namespace lumora::platform
