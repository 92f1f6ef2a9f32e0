#pragma once

#include "platform/foundation/Data.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace lumora::platform::host {

/// A block of shared memory (a sealable memory file) that carries the bytes of
/// one extension request's payloads from a host to its extension's process:
/// the host writes a request's large data values into it and sends their
/// places, the extension's side reads them from there. Requests go one at a
/// time, so each starts writing at the beginning again.
///
/// The writer maps it read-write; the reader maps it read-only and checks
/// every place it is given against the block's size.
class SharedPayloadRegion {
public:
    /// Data values shorter than this travel in the message itself.
    static constexpr std::size_t MinimumSharedLength = 256;

    /// A new block of `size` bytes to write into; null when the system refuses one.
    static std::unique_ptr<SharedPayloadRegion> create(std::size_t size);
    /// Maps the block behind `descriptor` (not taken over) to read; null when
    /// it is not a memory file or cannot be mapped.
    static std::unique_ptr<SharedPayloadRegion> map(int descriptor);

    SharedPayloadRegion(const SharedPayloadRegion&) = delete;
    SharedPayloadRegion& operator=(const SharedPayloadRegion&) = delete;
    SharedPayloadRegion(SharedPayloadRegion&&) = delete;
    SharedPayloadRegion& operator=(SharedPayloadRegion&&) = delete;
    ~SharedPayloadRegion();

    /// The block's descriptor (the writer's own), or -1 for a mapped reader.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] std::size_t size() const { return size_; }

    /// Starts a new request: writing begins at the start of the block.
    void rewind() { used_ = 0; }
    /// Copies `data` in after what the request wrote before; its offset, or
    /// nullopt when it does not fit.
    std::optional<std::uint64_t> append(const Data& data);
    /// Room for `length` bytes after what the request wrote before, for the
    /// caller to fill; empty (and `offset` untouched) when it does not fit.
    std::span<std::uint8_t> allocate(std::size_t length, std::uint64_t& offset);
    /// The `length` bytes at `offset`, or nullopt when they lie outside the block.
    [[nodiscard]] std::optional<Data> read(std::uint64_t offset, std::uint64_t length) const;
    /// The `length` bytes at `offset` where they lie, without a copy; nullopt
    /// when they lie outside the block. The writer may change them for the
    /// next request: whatever is kept is copied out.
    [[nodiscard]] std::optional<std::span<const std::uint8_t>> view(std::uint64_t offset, std::uint64_t length) const;

private:
    SharedPayloadRegion(int descriptor, std::uint8_t* base, std::size_t size)
        : descriptor_(descriptor), base_(base), size_(size)
    { }

    int descriptor_;
    std::uint8_t* base_;
    std::size_t size_;
    std::size_t used_ = 0;
};

} // namespace lumora::platform::host
