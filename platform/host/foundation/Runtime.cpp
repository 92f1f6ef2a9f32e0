#include "platform/foundation/Runtime.h"

#include <map>
#include <mutex>

namespace lumora::platform {

namespace {
struct Registry {
    std::mutex mutex;
    std::map<std::string, std::shared_ptr<const RuntimeClass>, std::less<>> classes;
};

Registry& registry()
{
    // Never destroyed: extension requests on other threads may still look up
    // classes while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* shared = new Registry();
    return *shared;
}
} // namespace

std::shared_ptr<const RuntimeClass> Runtime::classNamed(std::string_view name)
{
    std::lock_guard lock(registry().mutex);
    const auto found = registry().classes.find(name);
    return found == registry().classes.end() ? nullptr : found->second;
}

void Runtime::registerClass(std::shared_ptr<const RuntimeClass> runtimeClass)
{
    if (!runtimeClass) {
        return;
    }
    std::lock_guard lock(registry().mutex);
    auto name = runtimeClass->name();
    registry().classes[std::move(name)] = std::move(runtimeClass);
}

void Runtime::unregisterClass(std::string_view name)
{
    std::lock_guard lock(registry().mutex);
    const auto found = registry().classes.find(name);
    if (found != registry().classes.end()) {
        registry().classes.erase(found);
    }
}

} // namespace lumora::platform
