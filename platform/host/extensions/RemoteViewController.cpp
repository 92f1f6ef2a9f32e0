#include "platform/extensions/RemoteViewController.h"

namespace lumora::platform {

const RemoteViewController::Class& RemoteViewController::defaultClass()
{
    // Never destroyed: requests on platform threads may still ask it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const plain = new const Class();
    return *plain;
}

void RemoteViewController::connectToService(
    std::string requestIdentifier, std::shared_ptr<ExtensionConnection> connection, std::shared_ptr<void> session)
{
    requestIdentifier_ = std::move(requestIdentifier);
    connection_ = std::move(connection);
    session_ = std::move(session);
}

} // namespace lumora::platform
