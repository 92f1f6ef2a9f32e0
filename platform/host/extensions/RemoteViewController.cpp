#include "platform/extensions/RemoteViewController.h"

namespace lumora::platform {

const RemoteViewController::Class& RemoteViewController::defaultClass()
{
    static const Class plain;
    return plain;
}

void RemoteViewController::connectToService(
    std::string requestIdentifier, std::shared_ptr<ExtensionConnection> connection, std::shared_ptr<void> session)
{
    requestIdentifier_ = std::move(requestIdentifier);
    connection_ = std::move(connection);
    session_ = std::move(session);
}

} // namespace lumora::platform
