#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/RemoteViewController.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"
#include "platform/host/services/SimulatedExtensions.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// The system's broadcast picker extension, which the device ships under the
/// identifier the framework's picker looks up. Shown in an application, it
/// lists the installed broadcast services (their setup extensions), lets a
/// test or the sample choose one or cancel, runs the chosen service's setup
/// extension with the application's host-information item, and ends by
/// telling the host which broadcast was set up. It remembers the chosen
/// service and how its setup ended, for the device's recording service.
///
/// Initially (and after every reset): installed, nothing chosen.
class SimulatedBroadcastPicker {
public:
    /// The extension point of broadcast setup extensions.
    static constexpr std::string_view SetupExtensionPoint = "com.lumora.broadcast-services-setup";
    /// Attribute of a setup extension: the identifier of its service's upload extension.
    static constexpr std::string_view UploadExtensionAttribute = "BroadcastUploadExtensionIdentifier";

    /// How the chosen service's setup ended.
    struct Setup {
        std::string setupExtensionIdentifier;
        /// The items the setup extension returned, in its order (empty when cancelled).
        ExtensionItems returnedItems;
        /// The setup extension's cancelling error, or null.
        ErrorRef error;
        /// Read from the returned items.
        std::optional<URL> broadcastURL;
        DictionaryRef setupInfo;
        std::optional<Data> configurationArchive;
    };

    /// Forgets the choice and installs the picker into `extensions`.
    void reset(SimulatedExtensions& extensions);

    /// The setup extensions of the installed broadcast services.
    [[nodiscard]] std::vector<std::string> availableServices() const;
    /// Whether the picker is shown in a host now (a request is going on).
    [[nodiscard]] bool isShown() const;
    /// The user chooses a service: its setup extension runs with the host's
    /// items. When it ends, the picker tells the host (cancelled when the
    /// setup was cancelled). False when the picker is not shown or the service
    /// is not installed.
    bool chooseService(const std::string& setupExtensionIdentifier);
    /// The user cancels the picker, optionally asking to open `launchURL`.
    bool cancel(const std::optional<URL>& launchURL);
    /// The setup extension's request while it runs, for a test to drive it.
    [[nodiscard]] std::optional<SimulatedExtensions::Request> setupRequest() const;
    /// The chosen service's setup, once it has ended.
    [[nodiscard]] std::optional<Setup> chosenSetup() const;

private:
    void install(SimulatedExtensions& extensions);
    void finish(const Setup& setup);
    void sendFinish(const std::optional<URL>& launchURL, const std::optional<URL>& broadcastURL,
        const std::optional<std::string>& bundleID, bool cancelled);

    mutable std::mutex mutex_;
    std::optional<ExtensionRequestSide> pickerRequest_;
    std::shared_ptr<RemoteViewController> setupViewController_;
    std::string setupRequestIdentifier_;
    std::optional<Setup> chosen_;
};

} // namespace lumora::platform::host
