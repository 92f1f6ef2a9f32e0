#include "platform/host/media/FrameRing.h"

#include "platform/foundation/Log.h"

#include <algorithm>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

bool usableLayout(int width, int height, int slots)
{
    return width > 0 && height > 0 && width <= FrameRing::MaxSide && height <= FrameRing::MaxSide && slots > 0
        && slots <= FrameRing::MaxSlots;
}

std::size_t bytesOf(int width, int height, int slots)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4 * static_cast<std::size_t>(slots);
}

} // namespace

FrameRing::FrameRing(int descriptor, std::uint8_t* base, int width, int height, int slots)
    : descriptor_(descriptor),
      base_(base),
      width_(width),
      height_(height),
      slots_(slots),
      inUse_(static_cast<std::size_t>(slots), false)
{ }

std::unique_ptr<FrameRing> FrameRing::create(int width, int height, int slots)
{
    if (!usableLayout(width, height, slots)) {
        Log::error("Frame ring: no ring of %i slots of %ix%i pixels", slots, width, height);
        return nullptr;
    }
    const auto size = bytesOf(width, height, slots);
    const int descriptor = ::memfd_create("lumora-frames", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor < 0) {
        Log::error("Frame ring: no shared memory for the frames");
        return nullptr;
    }
    // Fixed in size from here on, so that the consumer's mapping stays valid.
    if (::ftruncate(descriptor, static_cast<off_t>(size)) != 0
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): fcntl is variadic.
        || ::fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        Log::error("Frame ring: the shared memory could not be sized");
        ::close(descriptor);
        return nullptr;
    }
    void* base = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (base == MAP_FAILED) {
        Log::error("Frame ring: the shared memory could not be mapped");
        ::close(descriptor);
        return nullptr;
    }
    return std::unique_ptr<FrameRing>(
        new FrameRing(descriptor, static_cast<std::uint8_t*>(base), width, height, slots));
}

std::unique_ptr<FrameRing> FrameRing::map(int descriptor, int width, int height, int slots)
{
    if (!usableLayout(width, height, slots)) {
        Log::error("Frame ring: refused a ring of %i slots of %ix%i pixels", slots, width, height);
        return nullptr;
    }
    const auto size = bytesOf(width, height, slots);
    struct stat status { };
    // A block that may shrink under the reader would fault it: only a sealed one of the stated size is taken.
    const int seals = ::fcntl(descriptor, F_GET_SEALS); // NOLINT(cppcoreguidelines-pro-type-vararg)
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)
        || static_cast<std::size_t>(status.st_size) != size || seals < 0 || (seals & F_SEAL_SHRINK) == 0) {
        Log::error("Frame ring: refused shared memory that does not fit the ring");
        return nullptr;
    }
    void* base = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (base == MAP_FAILED) {
        Log::error("Frame ring: the shared memory could not be mapped");
        return nullptr;
    }
    return std::unique_ptr<FrameRing>(new FrameRing(-1, static_cast<std::uint8_t*>(base), width, height, slots));
}

FrameRing::~FrameRing()
{
    ::munmap(base_, bytesOf(width_, height_, slots_));
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::size_t FrameRing::slotSize() const
{
    return bytesOf(width_, height_, 1);
}

std::optional<int> FrameRing::acquire()
{
    std::lock_guard lock(mutex_);
    const auto free = std::ranges::find(inUse_, false);
    if (free == inUse_.end()) {
        return std::nullopt;
    }
    *free = true;
    return static_cast<int>(free - inUse_.begin());
}

bool FrameRing::release(int slot)
{
    std::lock_guard lock(mutex_);
    if (slot < 0 || slot >= slots_ || !inUse_[static_cast<std::size_t>(slot)]) {
        return false;
    }
    inUse_[static_cast<std::size_t>(slot)] = false;
    return true;
}

int FrameRing::slotsInUse() const
{
    std::lock_guard lock(mutex_);
    return static_cast<int>(std::ranges::count(inUse_, true));
}

std::uint8_t* FrameRing::pixels(int slot)
{
    return base_
        + (slotSize() * static_cast<std::size_t>(slot)); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
}

const std::uint8_t* FrameRing::pixels(int slot) const
{
    return base_
        + (slotSize() * static_cast<std::size_t>(slot)); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
}

} // namespace lumora::platform::host
