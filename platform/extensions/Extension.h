#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/RemoteViewController.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// An application extension installed on the device, as a host application
/// sees it: its identifier, the attributes its bundle declares, and the
/// requests the host makes of it.
///
/// The attributes name, among other things, the host-side classes of a
/// request (looked up by name in the run time, see `Runtime`): the remote view
/// controller class that shows the extension's view controller, and the
/// class of the host-side context. The framework provides those classes; it
/// never names them to the platform itself.
class Extension final : public Object {
public:
    /// The answer to an instantiation: the request's identifier, the remote
    /// view controller, and an error (null on success). On failure the
    /// identifier and the controller may still be given, when the platform had
    /// made the host's side of the request before the extension failed.
    using ViewControllerHandler = std::function<void(const std::string& requestIdentifier,
        const std::shared_ptr<RemoteViewController>& remoteViewController, const ErrorRef& error)>;

    /// The error domain of lookups and instantiations, and its codes.
    static constexpr std::string_view ErrorDomain = "lumora.platform.Extension";
    /// No extension with that identifier is installed.
    static constexpr std::int64_t NotFoundErrorCode = 2;
    /// A host-side class the extension names is not loaded into the host.
    static constexpr std::int64_t ClassNotLoadedErrorCode = 3;
    /// The extension could not start its side of the request.
    static constexpr std::int64_t LaunchFailedErrorCode = 4;
    /// The extension's code failed while it handled the request (on a device
    /// its process ended), so the request ended without its answer.
    static constexpr std::int64_t RequestFailedErrorCode = 5;

    /// Attribute keys.
    /// The extension point the extension serves (a string).
    static constexpr std::string_view PointIdentifierAttribute = "ExtensionPointIdentifier";
    /// The run-time name of the remote view controller class (a
    /// `RemoteViewController` subclass); absent: `RemoteViewController`.
    static constexpr std::string_view RemoteViewControllerClassAttribute = "ExtensionRemoteViewControllerClass";
    /// The run-time name of the host-side context class (an
    /// `ExtensionContext` subclass); absent: `ExtensionContext`.
    static constexpr std::string_view HostContextClassAttribute = "ExtensionHostContextClass";
    /// When the extension is offered (a dictionary of rules; share extensions).
    static constexpr std::string_view ActivationRuleAttribute = "ExtensionActivationRule";
    /// Rule: the extension takes a live Lumo stream (a Boolean).
    static constexpr std::string_view ActivationSupportsLumoStreamingRule = "ExtensionActivationSupportsLumoStreaming";

    /// The answer to a query by attributes: the matching extensions and an
    /// error (null on success; then the list is empty).
    using MatchingHandler
        = std::function<void(const std::vector<std::shared_ptr<Extension>>& extensions, const ErrorRef& error)>;

    /// The installed extension with `identifier`. When there is none, or the
    /// lookup fails, the result is null and `error` (when given) receives the
    /// reason; on success `error` is left as it is.
    static std::shared_ptr<Extension> extensionWithIdentifier_error(const std::string& identifier, ErrorRef* error);

    /// Finds the installed extensions whose attributes hold every entry of
    /// `attributes` with an equal value, and answers `completion` once, on a
    /// platform thread. None matching is an error.
    static void extensionsWithMatchingAttributes_completion(
        const DictionaryRef& attributes, MatchingHandler completion);

    /// An extension description; the platform makes these, see
    /// `extensionWithIdentifier_error`. Null `attributes` read as empty.
    Extension(std::string identifier, DictionaryRef attributes);

    /// The extension's bundle identifier.
    [[nodiscard]] const std::string& identifier() const { return identifier_; }
    /// Never null.
    [[nodiscard]] const DictionaryRef& attributes() const { return attributes_; }

    /// Starts a request that shows the extension's view controller, with
    /// `inputItems` as the request's items. The platform makes the host's side
    /// (the remote view controller and the host-side context, each of the
    /// class the extension names, connected to the extension's side) and
    /// answers `handler` once, on a platform thread.
    void instantiateViewControllerWithInputItems_connectionHandler(
        ExtensionItems inputItems, ViewControllerHandler handler) const;

    /// The host-side context of this extension's request `requestIdentifier`;
    /// null when there is no such request or it has ended.
    [[nodiscard]] std::shared_ptr<ExtensionContext> hostContextForRequestIdentifier(
        const std::string& requestIdentifier) const;

    [[nodiscard]] std::string className() const override { return "Extension"; }
    [[nodiscard]] std::string description() const override { return "<Extension " + identifier_ + ">"; }

private:
    std::string identifier_;
    DictionaryRef attributes_;
};

} // namespace lumora::platform
