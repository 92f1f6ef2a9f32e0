#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lumora::platform::host {

/// A ring of frame slots in shared memory (a sealed memory file) through
/// which pictures go from the process that takes them to the process that
/// encodes them, without crossing a socket: the producer writes a picture
/// into a free slot and sends the slot's number; the consumer reads it there
/// and gives the slot back.
///
/// Each slot holds one picture of `width` × `height` 32-bit pixels, row after
/// row with no padding (`bytesPerRow` is `width * 4`). The producer maps the
/// block read-write and keeps track of the slots in use; the consumer maps it
/// read-only after checking that its size and seals fit what it was told.
/// `acquire` and `release` may be called from any thread.
class FrameRing {
public:
    /// Slots a ring has unless it is made with another count.
    static constexpr int DefaultSlots = 2;
    /// The largest picture a ring takes, in pixels on either side.
    static constexpr int MaxSide = 8192;
    static constexpr int MaxSlots = 16;

    /// A new ring to write into; null (and a log line) when the system refuses one.
    static std::unique_ptr<FrameRing> create(int width, int height, int slots);
    /// Maps the ring behind `descriptor` (not taken over) to read; null (and
    /// a log line) when it is no sealed memory file of exactly that layout.
    static std::unique_ptr<FrameRing> map(int descriptor, int width, int height, int slots);

    FrameRing(const FrameRing&) = delete;
    FrameRing& operator=(const FrameRing&) = delete;
    FrameRing(FrameRing&&) = delete;
    FrameRing& operator=(FrameRing&&) = delete;
    ~FrameRing();

    /// The producer's descriptor of the block; -1 for a consumer.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }
    [[nodiscard]] int bytesPerRow() const { return width_ * 4; }
    [[nodiscard]] int slots() const { return slots_; }
    [[nodiscard]] std::size_t slotSize() const;

    /// Producer: takes a free slot, or nullopt when every slot is in use.
    std::optional<int> acquire();
    /// Producer: the consumer gave `slot` back. False when it was not in use.
    bool release(int slot);
    /// Slots taken and not yet given back.
    [[nodiscard]] int slotsInUse() const;

    /// The pixels of `slot` (a number below `slots()`): writable for the producer only.
    [[nodiscard]] std::uint8_t* pixels(int slot);
    [[nodiscard]] const std::uint8_t* pixels(int slot) const;

private:
    FrameRing(int descriptor, std::uint8_t* base, int width, int height, int slots);

    int descriptor_;
    std::uint8_t* base_;
    int width_;
    int height_;
    int slots_;
    mutable std::mutex mutex_;
    std::vector<bool> inUse_;
};

} // namespace lumora::platform::host
