#pragma once

#include "platform/extensions/ExtensionRequestHandling.h"

#include <functional>
#include <memory>

namespace lumora::platform::host {

/// An extension's code: a new principal object for each request.
using ExtensionPrincipalFactory = std::function<std::shared_ptr<ExtensionRequestHandling>()>;

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
