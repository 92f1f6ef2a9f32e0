#pragma once

#include "platform/foundation/Interface.h"
#include "platform/foundation/Noncopyable.h"

#include <memory>

namespace lumora {

/// What the video editor extension vends to the host. The host obtains a
/// proxy to it but sends nothing through it, so it has no operations.
class LMVideoEditorExtensionProtocol : private platform::Noncopyable {
public:
    virtual ~LMVideoEditorExtensionProtocol() = default;

    /// A new description of the protocol for a connection.
    static std::shared_ptr<platform::Interface> makeInterface();
};

} // namespace lumora
