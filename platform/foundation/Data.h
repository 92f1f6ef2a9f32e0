#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace lumora::platform {

/// An immutable byte string. Copies share one buffer, so passing data through
/// dictionaries and queues never copies the bytes.
class Data {
public:
    Data() = default;
    /// Data holding `bytes`.
    explicit Data(std::vector<std::uint8_t> bytes);
    /// Data holding a copy of `length` bytes at `bytes`.
    Data(const void* bytes, std::size_t length);

    /// The number of bytes.
    [[nodiscard]] std::size_t length() const { return bytes_ ? bytes_->size() : 0; }
    /// Whether there are no bytes.
    [[nodiscard]] bool empty() const { return length() == 0; }
    /// The bytes (may be null when the data is empty); valid as long as any
    /// copy of the data lives.
    [[nodiscard]] const std::uint8_t* bytes() const { return bytes_ ? bytes_->data() : nullptr; }
    /// The bytes as a span.
    [[nodiscard]] std::span<const std::uint8_t> span() const { return { bytes(), length() }; }

    /// Whether both hold the same bytes.
    friend bool operator==(const Data& lhs, const Data& rhs);

private:
    std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

} // namespace lumora::platform
