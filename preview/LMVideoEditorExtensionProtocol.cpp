#include "preview/LMVideoEditorExtensionProtocol.h"

namespace lumora {

std::shared_ptr<platform::Interface> LMVideoEditorExtensionProtocol::makeInterface()
{
    return platform::Interface::interfaceWithProtocolName("LMVideoEditorExtensionProtocol");
}

} // namespace lumora
