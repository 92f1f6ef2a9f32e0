#include "platform/host/extensions/SharedPayloadRegion.h"

#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

// Payloads start on cache-line boundaries.
constexpr std::size_t kAlignment = 64;

} // namespace

std::unique_ptr<SharedPayloadRegion> SharedPayloadRegion::create(std::size_t size)
{
    const int descriptor = ::memfd_create("lumora-extension-payloads", MFD_CLOEXEC | MFD_ALLOW_SEALING);
    if (descriptor < 0) {
        return nullptr;
    }
    // Fixed in size from here on, so that the reader's mapping stays valid.
    if (::ftruncate(descriptor, static_cast<off_t>(size)) != 0
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): fcntl is variadic.
        || ::fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0) {
        ::close(descriptor);
        return nullptr;
    }
    void* base = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (base == MAP_FAILED) {
        ::close(descriptor);
        return nullptr;
    }
    return std::unique_ptr<SharedPayloadRegion>(
        new SharedPayloadRegion(descriptor, static_cast<std::uint8_t*>(base), size));
}

std::unique_ptr<SharedPayloadRegion> SharedPayloadRegion::map(int descriptor)
{
    struct stat status { };
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size <= 0) {
        return nullptr;
    }
    // A block that may shrink under the reader would fault it: only a sealed one is taken.
    const int seals = ::fcntl(descriptor, F_GET_SEALS); // NOLINT(cppcoreguidelines-pro-type-vararg)
    if (seals < 0 || (seals & F_SEAL_SHRINK) == 0) {
        return nullptr;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    void* base = ::mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
    if (base == MAP_FAILED) {
        return nullptr;
    }
    return std::unique_ptr<SharedPayloadRegion>(new SharedPayloadRegion(-1, static_cast<std::uint8_t*>(base), size));
}

SharedPayloadRegion::~SharedPayloadRegion()
{
    ::munmap(base_, size_);
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::optional<std::uint64_t> SharedPayloadRegion::append(const Data& data)
{
    std::uint64_t offset = 0;
    const auto room = allocate(data.length(), offset);
    if (room.data() == nullptr) {
        return std::nullopt;
    }
    if (data.length() > 0) {
        std::memcpy(room.data(), data.bytes(), data.length());
    }
    return offset;
}

std::span<std::uint8_t> SharedPayloadRegion::allocate(std::size_t length, std::uint64_t& offset)
{
    const auto start = (used_ + kAlignment - 1) / kAlignment * kAlignment;
    if (start > size_ || length > size_ - start) {
        return {};
    }
    used_ = start + length;
    offset = start;
    return { base_ + start, length }; // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
}

std::optional<std::span<const std::uint8_t>> SharedPayloadRegion::view(std::uint64_t offset, std::uint64_t length) const
{
    if (offset > size_ || length > size_ - offset) {
        return std::nullopt;
    }
    return std::span<const std::uint8_t>(
        base_ + offset, static_cast<std::size_t>(length)); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
}

std::optional<Data> SharedPayloadRegion::read(std::uint64_t offset, std::uint64_t length) const
{
    if (offset > size_ || length > size_ - offset) {
        return std::nullopt;
    }
    return Data(
        base_ + offset, static_cast<std::size_t>(length)); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
}

} // namespace lumora::platform::host
