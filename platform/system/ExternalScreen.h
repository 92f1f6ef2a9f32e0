#pragma once

#include <cstdint>
#include <string_view>

namespace lumora::platform {

/// The kind of display the device's picture is shown on besides the built-in screen.
enum class ExternalScreenType : std::int64_t {
    None = 0,
    WiredTVOut = 1, ///< a cable to a television or monitor
    WirelessMirroring = 2, ///< the screen mirrored to a display over the network
};

/// The audio/video system's view of external displays.
class ExternalScreen {
public:
    /// Posted whenever the current external display changes, on the thread
    /// that noticed the change.
    static constexpr std::string_view CurrentTypeDidChangeNotification = "ExternalScreenTypeDidChangeNotification";

    /// The kind of external display in use now; None when there is none.
    [[nodiscard]] static ExternalScreenType currentExternalScreenType();
};

} // namespace lumora::platform
