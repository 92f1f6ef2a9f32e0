#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::platform::host {

/// Where the device calls an extension's code. On a device an extension runs
/// in a process of its own, so whatever its code does (throw, say) ends that
/// process and fails the request it was handling, never the host. Here the
/// extension shares the application's process, so every call into its code
/// goes through `run`, which stops an exception at the boundary and logs it;
/// the caller then ends the request as a failed request ends.
class ExtensionBoundary {
public:
    ExtensionBoundary() = delete;

    /// Runs `code`; nullopt when it returned, otherwise what it threw (the
    /// exception's text), after a log line naming `where`.
    static std::optional<std::string> run(std::string_view where, const std::function<void()>& code);
    /// Logs that an extension ended a request a second time (a bug of the
    /// extension's; the first ending stands).
    static void logRequestEndedAgain();
};

} // namespace lumora::platform::host
