#include "platform/foundation/Data.h"

#include <algorithm>

namespace lumora::platform {

Data::Data(std::vector<std::uint8_t> bytes)
    : bytes_(std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes)))
{ }

Data::Data(const void* bytes, std::size_t length)
{
    const auto* begin = static_cast<const std::uint8_t*>(bytes);
    bytes_ = std::make_shared<const std::vector<std::uint8_t>>(begin, begin + length);
}

bool operator==(const Data& lhs, const Data& rhs)
{
    return std::ranges::equal(lhs.span(), rhs.span());
}

} // namespace lumora::platform
