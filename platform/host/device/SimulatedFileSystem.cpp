#include "platform/host/device/SimulatedFileSystem.h"

namespace lumora::platform::host {

void SimulatedFileSystem::reset()
{
    setFreeSize(std::nullopt);
}

void SimulatedFileSystem::setFreeSize(std::optional<std::uint64_t> bytes)
{
    std::lock_guard lock(mutex_);
    freeSize_ = bytes;
}

std::optional<std::uint64_t> SimulatedFileSystem::freeSize() const
{
    std::lock_guard lock(mutex_);
    return freeSize_;
}

} // namespace lumora::platform::host
