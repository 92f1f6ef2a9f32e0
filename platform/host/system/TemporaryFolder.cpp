#include "platform/host/system/TemporaryFolder.h"

#include <filesystem>
#include <fmt/format.h>
#include <map>
#include <mutex>
#include <system_error>
#include <unistd.h>

namespace lumora::platform::host {

namespace {

struct Folders {
    std::mutex mutex;
    std::map<std::string, std::string, std::less<>> paths;
};

Folders& folders()
{
    // Never destroyed: the paths outlive every thread that may use them.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* made = new Folders();
    return *made;
}

// Removes the folders when the process exits; the paths stay.
class RemovalAtExit {
public:
    RemovalAtExit() = default;
    RemovalAtExit(const RemovalAtExit&) = delete;
    RemovalAtExit& operator=(const RemovalAtExit&) = delete;
    RemovalAtExit(RemovalAtExit&&) = delete;
    RemovalAtExit& operator=(RemovalAtExit&&) = delete;
    ~RemovalAtExit()
    {
        auto& all = folders();
        const std::lock_guard lock(all.mutex);
        for (const auto& [name, path] : all.paths) {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    }
};

} // namespace

const std::string& TemporaryFolder::named(std::string_view name)
{
    static const RemovalAtExit removal;
    auto& all = folders();
    const std::lock_guard lock(all.mutex);
    auto found = all.paths.find(name);
    if (found == all.paths.end()) {
        auto path = (std::filesystem::temp_directory_path() / fmt::format("{}-{}", name, ::getpid())).string();
        found = all.paths.emplace(std::string(name), std::move(path)).first;
    }
    std::error_code ignored;
    std::filesystem::create_directories(found->second, ignored);
    return found->second;
}

} // namespace lumora::platform::host
