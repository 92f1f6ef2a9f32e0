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
    explicit Data(std::vector<std::uint8_t> bytes);
    Data(const void* bytes, std::size_t length);

    [[nodiscard]] std::size_t length() const { return bytes_ ? bytes_->size() : 0; }
    [[nodiscard]] bool empty() const { return length() == 0; }
    [[nodiscard]] const std::uint8_t* bytes() const { return bytes_ ? bytes_->data() : nullptr; }
    [[nodiscard]] std::span<const std::uint8_t> span() const { return { bytes(), length() }; }

    friend bool operator==(const Data& lhs, const Data& rhs);

private:
    std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

} // namespace lumora::platform
