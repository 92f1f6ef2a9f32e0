#pragma once

#include "platform/extensions/ExtensionRequestHandling.h"
#include "platform/host/services/SimulatedExtensions.h"

#include <functional>
#include <memory>

namespace lumora::platform::host {

/// An extension's code: a new principal object for each request.
using ExtensionPrincipalFactory = std::function<std::shared_ptr<ExtensionRequestHandling>()>;
/// The code of an extension that shows a view controller (a broadcast setup
/// extension, a video editor): given its side of a request, the view
/// controller it shows, or null when it cannot start.
using ExtensionViewControllerFactory = SimulatedExtensions::ViewControllerFactory;

} // namespace lumora::platform::host

/// The one symbol an extension's shared library exports (`lumora_add_extension`
/// builds it): the extension's factory of principal objects, which lives as
/// long as the library is loaded.
extern "C" const lumora::platform::host::ExtensionPrincipalFactory* lumora_extension_principal_factory();

/// The symbol's name, for whoever loads the library.
inline constexpr const char* LumoraExtensionEntryPointName = "lumora_extension_principal_factory";

/// Defines the entry point of an extension whose principal class is
/// `PrincipalClass` (default-constructible), in one source file of the extension.
#define LUMORA_EXTENSION_PRINCIPAL_CLASS(PrincipalClass)                                                               \
    extern "C" __attribute__((visibility("default"))) const lumora::platform::host::ExtensionPrincipalFactory*         \
    lumora_extension_principal_factory()                                                                               \
    {                                                                                                                  \
        static const lumora::platform::host::ExtensionPrincipalFactory factory                                         \
            = [] { return std::make_shared<PrincipalClass>(); };                                                       \
        return &factory;                                                                                               \
    }

/// The entry point of an extension that shows a view controller; its library
/// defines this one instead of the principal factory.
extern "C" const lumora::platform::host::ExtensionViewControllerFactory* lumora_extension_view_controller_factory();

inline constexpr const char* LumoraExtensionViewControllerEntryPointName = "lumora_extension_view_controller_factory";

/// Defines the entry point of an extension that shows a view controller, made
/// by `factory` (callable as an `ExtensionViewControllerFactory`), in one
/// source file of the extension.
#define LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY(factory)                                                              \
    extern "C" __attribute__((visibility("default"))) const lumora::platform::host::ExtensionViewControllerFactory*    \
    lumora_extension_view_controller_factory()                                                                         \
    {                                                                                                                  \
        static const lumora::platform::host::ExtensionViewControllerFactory made = factory;                            \
        return &made;                                                                                                  \
    }
