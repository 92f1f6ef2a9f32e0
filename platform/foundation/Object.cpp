#include "platform/foundation/Object.h"

#include <fmt/format.h>

namespace lumora::platform {

std::string Object::description() const
{
    return fmt::format("<{}: {}>", className(), static_cast<const void*>(this));
}

} // namespace lumora::platform
