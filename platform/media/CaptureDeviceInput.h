#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/media/CaptureDevice.h"

#include <memory>
#include <string_view>

namespace lumora::platform {

/// A capture session's input that feeds it from one capture device.
class CaptureDeviceInput final : public Object {
public:
    /// The error domain of refused inputs.
    static constexpr std::string_view ErrorDomain = "CaptureErrorDomain";
    /// There is no device, or it is no longer attached.
    static constexpr std::int64_t ErrorCodeDeviceNotConnected = -11814;
    /// The user has not allowed the application to use the device.
    static constexpr std::int64_t ErrorCodeApplicationIsNotAuthorized = -11852;

    /// An input for `device`, or null with `*error` set (when `error` is not
    /// null): when there is no device, when it is no longer attached, or when
    /// the user has not allowed the application to use it.
    static std::shared_ptr<CaptureDeviceInput> deviceInputWithDevice_error(
        const std::shared_ptr<CaptureDevice>& device, ErrorRef* error);

    /// An input for `device`, unchecked; use `deviceInputWithDevice_error` to have
    /// it checked.
    explicit CaptureDeviceInput(std::shared_ptr<CaptureDevice> device) : device_(std::move(device)) { }

    /// The device the input feeds from.
    [[nodiscard]] const std::shared_ptr<CaptureDevice>& device() const { return device_; }

    [[nodiscard]] std::string className() const override { return "CaptureDeviceInput"; }

private:
    std::shared_ptr<CaptureDevice> device_;
};

} // namespace lumora::platform
