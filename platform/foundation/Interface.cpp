#include "platform/foundation/Interface.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lumora::platform {

std::shared_ptr<Interface> Interface::interfaceWithProtocolName(std::string protocolName)
{
    return std::make_shared<Interface>(std::move(protocolName));
}

void Interface::addOperation(std::string selector, Performer performer)
{
    operations_[std::move(selector)] = std::move(performer);
}

bool Interface::hasOperation(std::string_view selector) const
{
    return operations_.find(selector) != operations_.end();
}

std::vector<std::string> Interface::selectors() const
{
    std::vector<std::string> result;
    result.reserve(operations_.size());
    for (const auto& [selector, performer] : operations_) {
        result.push_back(selector);
    }
    return result;
}

bool Interface::perform(std::string_view selector, const ObjectRef& target, const std::vector<Value>& arguments) const
{
    const auto found = operations_.find(selector);
    if (found == operations_.end() || !found->second || !target) {
        return false;
    }
    return found->second(target, arguments);
}

std::string Interface::description() const
{
    return fmt::format("<Interface {}: {}>", protocolName_, fmt::join(selectors(), ", "));
}

} // namespace lumora::platform
