#pragma once

#include "platform/extensions/Extension.h"
#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/RemoteViewController.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/host/services/ExtensionViewProcess.h"
#include "platform/system/Bundle.h"
#include "platform/ui/ViewController.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// What an extension's own code is given when a host starts a request that
/// shows its view controller.
struct ExtensionRequestSide {
    std::string requestIdentifier;
    /// The extension's context of the request: the host's input items, the
    /// way to end the request, and the auxiliary connection to the host-side
    /// context.
    std::shared_ptr<ExtensionContext> context;
    /// The connection to the remote view controller that shows the
    /// extension's view controller in the host.
    std::shared_ptr<ExtensionConnection> hostViewConnection;
};

/// The application extensions installed on the simulated device, and the
/// requests that hosts make of them.
///
/// An extension runs in the same process here, but only meets its host
/// through what crosses processes on a device: the input items, and messages
/// over the two connections of a request. A request lasts until its remote
/// view controller is released, the extension ends it through its context,
/// or `endRequest` ends it as the extension's process exiting would.
///
/// Initially: nothing installed, lookups and instantiations work.
class SimulatedExtensions {
public:
    /// The extension's code: given its side of a new request (on a platform
    /// thread), it returns the view controller it shows, or null when it
    /// cannot start. That view controller is also the object the extension
    /// exports over both connections of the request.
    using ViewControllerFactory = std::function<std::shared_ptr<ViewController>(const ExtensionRequestSide& request)>;

    /// One request going on now.
    struct Request {
        std::string identifier;
        std::string extensionIdentifier;
        /// The items the host sent, as it sent them.
        ExtensionItems inputItems;
        std::shared_ptr<ExtensionContext> hostContext;
        std::weak_ptr<RemoteViewController> remoteViewController;
        /// The extension's side; null when the extension failed to start.
        std::shared_ptr<ExtensionContext> extensionContext;
        std::shared_ptr<ViewController> extensionViewController;
        std::shared_ptr<ExtensionConnection> hostViewConnection;
        /// The extension's process, when it runs in one of its own
        /// (`runOutOfProcess`); its view controller is then not here.
        std::shared_ptr<ExtensionViewProcess> process;
    };

    void reset();

    // ---- Installed extensions ------------------------------------------------------------
    /// Installs the extension `identifier` (replacing one of the same
    /// identifier) with the attributes its bundle declares and its code.
    void installExtension(std::string identifier, DictionaryRef attributes, ViewControllerFactory factory);
    void uninstallExtension(const std::string& identifier);
    [[nodiscard]] std::vector<std::string> installedExtensionIdentifiers() const;
    /// Makes every lookup, by identifier or by attributes, fail with `error`
    /// (null: lookups work).
    void setLookupError(ErrorRef error);
    /// Makes the extension `identifier` fail to start, with `error`, after the
    /// platform has made the host's side of a request (null: it starts).
    void setInstantiationError(const std::string& identifier, ErrorRef error);
    /// Gives the installed extension `identifier` a bundle of its own (the
    /// bundle directory at `hostPath`, installed on the device): its code then
    /// runs in a process of its own whose main bundle that is (see
    /// `SimulatedProcess`). Without one it runs as part of the application.
    /// Returns the bundle, or null when the extension is not installed or the
    /// bundle has no identifier.
    std::shared_ptr<Bundle> setExtensionBundle(const std::string& identifier, const std::string& hostPath);
    /// Runs the installed extension `identifier` in processes of its own: each
    /// request starts the extension host program with the bundle at
    /// `settings.bundlePath` (its code a shared library that
    /// `lumora_add_extension` built, defining
    /// `LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY`), under the settings' memory
    /// ceiling and start deadline. The code installed with it is then not
    /// used. A request whose process ends, or sends something malformed,
    /// fails: it ends with `Extension::RequestFailedErrorCode` as its outcome.
    /// False when the extension is not installed.
    bool runOutOfProcess(const std::string& identifier, ExtensionViewProcess::Settings settings);

    // ---- Requests -------------------------------------------------------------------------
    /// The requests going on now, in the order they were made.
    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::optional<Request> requestWithIdentifier(const std::string& requestIdentifier) const;
    /// Ends a request as the extension's process exiting would: both of its
    /// connections become invalid and the extension's side is released.
    void endRequest(const std::string& requestIdentifier);
    /// How the extension ended the request `requestIdentifier` (the items it
    /// returned, or its cancelling error), kept after the request is gone
    /// until the next reset; nullopt while it has not ended it.
    [[nodiscard]] std::optional<ExtensionContext::Outcome> outcomeOfRequest(const std::string& requestIdentifier) const;
    /// Calls `observer` once, on a platform thread, when the extension ends
    /// the request `requestIdentifier` (at once when it already has).
    void observeOutcomeOfRequest(
        const std::string& requestIdentifier, std::function<void(const ExtensionContext::Outcome&)> observer);

    /// The latest picture (PNG) of what the extension of the request
    /// `requestIdentifier` drew in its own process, which the request's remote
    /// view controller shows; nullopt before one arrived.
    [[nodiscard]] std::optional<Data> pictureOfRequest(const std::string& requestIdentifier) const;

    // ---- For the platform's implementation ---------------------------------------------
    std::shared_ptr<Extension> lookUpExtension(const std::string& identifier, ErrorRef* error) const;
    void findExtensions(const DictionaryRef& attributes, Extension::MatchingHandler handler) const;
    void instantiateViewController(const std::string& identifier, const DictionaryRef& attributes,
        ExtensionItems inputItems, Extension::ViewControllerHandler handler);
    [[nodiscard]] std::shared_ptr<ExtensionContext> hostContext(
        const std::string& extensionIdentifier, const std::string& requestIdentifier) const;

private:
    struct Installed {
        DictionaryRef attributes;
        ViewControllerFactory factory;
        ErrorRef instantiationError;
        std::shared_ptr<Bundle> bundle;
        std::optional<ExtensionViewProcess::Settings> outOfProcess;
    };

    void startRequest(const std::string& identifier, const DictionaryRef& attributes, ExtensionItems inputItems,
        const Extension::ViewControllerHandler& handler);
    /// Starts the extension's side of `request` in a process of its own.
    void startOutOfProcess(const Installed& installed, const Request& request, ExtensionItems inputItems,
        const DictionaryRef& attributes, const std::shared_ptr<ExtensionConnection>& extensionAuxiliary,
        const std::shared_ptr<ExtensionConnection>& extensionView,
        const std::function<void(const ErrorRef& error)>& answer);
    /// Notes how the extension ended a request and tells its observers.
    void recordOutcome(const std::string& requestIdentifier, const ExtensionContext::Outcome& outcome);
    /// Keeps a picture of what the extension drew and shows it in `controller`.
    void showPicture(const std::string& requestIdentifier, const std::weak_ptr<RemoteViewController>& controller,
        const Data& picture);
    std::string makeRequestIdentifier();

    mutable std::mutex mutex_;
    std::map<std::string, Installed> installed_;
    ErrorRef lookupError_;
    std::vector<Request> requests_;
    std::map<std::string, ExtensionContext::Outcome> outcomes_;
    std::map<std::string, Data> pictures_;
    std::multimap<std::string, std::function<void(const ExtensionContext::Outcome&)>> outcomeObservers_;
    std::mt19937_64 random_ { std::random_device {}() };
};

} // namespace lumora::platform::host
