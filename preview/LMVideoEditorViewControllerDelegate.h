#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"

#include <string>
#include <vector>

namespace lumora {

/// What an in-process video editor object tells the controller that shows it.
class LMVideoEditorViewControllerDelegate : private platform::Noncopyable {
public:
    virtual ~LMVideoEditorViewControllerDelegate() = default;

    /// The user has finished in `editor`, having completed the share
    /// activities named in `activityTypes`.
    virtual void videoEditor_didFinishWithActivityTypes(
        const platform::ObjectRef& editor, const std::vector<std::string>& activityTypes)
        = 0;
};

} // namespace lumora
