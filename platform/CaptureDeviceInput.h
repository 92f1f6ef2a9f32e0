#pragma once

#include "platform/CaptureDevice.h"
#include "platform/Error.h"
#include "platform/Object.h"

#include <memory>
#include <string_view>

namespace lumora::platform {

/// A capture session's input that feeds it from one capture device.
class CaptureDeviceInput final : public Object {
public:
    static constexpr std::string_view ErrorDomain = "CaptureErrorDomain";
    static constexpr std::int64_t ErrorCodeDeviceNotConnected = -11814;
    static constexpr std::int64_t ErrorCodeApplicationIsNotAuthorized = -11852;

    /// An input for `device`, or null with `*error` set (when `error` is not
    /// null): when there is no device, when it is no longer attached, or when
    /// the user has not allowed the application to use it.
    static std::shared_ptr<CaptureDeviceInput> deviceInputWithDevice_error(
        const std::shared_ptr<CaptureDevice>& device, ErrorRef* error);

    explicit CaptureDeviceInput(std::shared_ptr<CaptureDevice> device) : device_(std::move(device)) { }

    [[nodiscard]] const std::shared_ptr<CaptureDevice>& device() const { return device_; }

    [[nodiscard]] std::string className() const override { return "CaptureDeviceInput"; }

private:
    std::shared_ptr<CaptureDevice> device_;
};

} // namespace lumora::platform
