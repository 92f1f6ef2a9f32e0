#pragma once

#include "platform/foundation/Interface.h"
#include "platform/foundation/Noncopyable.h"

#include <memory>
#include <string>
#include <vector>

namespace lumora {

/// What the host exports to the video editor extension: the one message the
/// editor sends, that its user has finished.
class LMVideoEditorExtensionHostProtocol : private platform::Noncopyable {
public:
    virtual ~LMVideoEditorExtensionHostProtocol() = default;

    /// The user has finished in the editor, having completed the share
    /// activities named in `activityTypes` (possibly none). One-way.
    virtual void extensionDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) = 0;

    /// A new description of the protocol for a connection. A message whose
    /// activity types are not an array of strings is refused.
    static std::shared_ptr<platform::Interface> makeInterface();
};

} // namespace lumora
