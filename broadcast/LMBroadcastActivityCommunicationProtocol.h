#pragma once

#include "platform/foundation/Interface.h"

#include <memory>

namespace lumora {

/// What the broadcast picker extension vends to its host: no operations. The
/// host sends the extension nothing beyond the request's input items.
class LMBroadcastActivityCommunicationProtocol {
public:
    /// A new description of the (empty) protocol for a connection.
    static std::shared_ptr<platform::Interface> makeInterface()
    {
        return platform::Interface::interfaceWithProtocolName("LMBroadcastActivityCommunicationProtocol");
    }
};

} // namespace lumora
