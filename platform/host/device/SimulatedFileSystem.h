#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

namespace lumora::platform::host {

/// The device's file system beyond its mounts (which `SimulatedDevice` keeps):
/// files live on the host's real file system, so only what a test cannot
/// arrange there is simulated. Initially the free size is the host's own.
class SimulatedFileSystem {
public:
    void reset();

    /// Makes every file system report `bytes` as its free size (nullopt: the
    /// host's real free space). The path asked about must still exist.
    void setFreeSize(std::optional<std::uint64_t> bytes);
    [[nodiscard]] std::optional<std::uint64_t> freeSize() const;

private:
    mutable std::mutex mutex_;
    std::optional<std::uint64_t> freeSize_;
};

} // namespace lumora::platform::host
