#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/foundation/Noncopyable.h"

#include <memory>

namespace lumora::platform {

/// The extension request handling protocol: what the platform calls on an
/// extension's principal object when it hands the extension a request.
class ExtensionRequestHandling : private platform::Noncopyable {
public:
    virtual ~ExtensionRequestHandling() = default;

    /// Called once per request, on a platform thread, before any of the
    /// request's items is loaded.
    virtual void beginRequestWithExtensionContext(const std::shared_ptr<ExtensionContext>& context) = 0;
};

} // namespace lumora::platform
