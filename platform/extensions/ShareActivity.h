#pragma once

#include "platform/extensions/Extension.h"
#include "platform/foundation/Object.h"

#include <memory>
#include <string>

namespace lumora::platform {

/// A share activity, as the platform's share sheet lists it. This one stands
/// for one installed share extension: performing it runs that extension.
class ShareActivity final : public Object {
public:
    /// An activity for `extension`.
    static std::shared_ptr<ShareActivity> initWithApplicationExtension(std::shared_ptr<Extension> extension)
    {
        return std::make_shared<ShareActivity>(std::move(extension));
    }

    /// An activity for `extension`.
    explicit ShareActivity(std::shared_ptr<Extension> extension) : extension_(std::move(extension)) { }

    /// The share extension the activity runs.
    [[nodiscard]] const std::shared_ptr<Extension>& applicationExtension() const { return extension_; }
    /// The activity's type: its extension's identifier.
    [[nodiscard]] std::string activityType() const { return extension_ ? extension_->identifier() : std::string(); }

    [[nodiscard]] std::string className() const override { return "ShareActivity"; }

private:
    std::shared_ptr<Extension> extension_;
};

} // namespace lumora::platform
