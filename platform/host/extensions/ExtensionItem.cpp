#include "platform/extensions/ExtensionItem.h"

#include <fmt/format.h>

namespace lumora::platform {

std::string ExtensionItem::description() const
{
    return fmt::format(
        "<ExtensionItem: title = {}, attachments = {}>", title_ ? title_->string() : "(null)", attachments_.size());
}

} // namespace lumora::platform
