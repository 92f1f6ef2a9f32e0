#include "platform/extensions/Sandbox.h"

#include "platform/host/device/SimulatedDevice.h"

namespace lumora::platform {

std::int64_t Sandbox::consumeExtension(const char* token)
{
    // The development host has no sandbox: the device records the grant so
    // that tests and the sample app can see which token was consumed.
    auto& device = host::SimulatedDevice::shared();
    return device.consumeSandboxToken(token != nullptr ? std::optional<std::string>(token) : std::nullopt);
}

} // namespace lumora::platform
