#pragma once

#include "platform/extensions/ItemProvider.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <vector>

namespace lumora::platform {

/// One item of an extension request: an attributed title, a list of
/// attachments (item providers) and a user-info dictionary.
class ExtensionItem final : public Object {
public:
    ExtensionItem() = default;

    /// The item's title; null when it has none.
    [[nodiscard]] const std::shared_ptr<const AttributedString>& attributedTitle() const { return title_; }
    /// Sets the title.
    void setAttributedTitle(std::shared_ptr<const AttributedString> title) { title_ = std::move(title); }

    /// The item's attachments, in order; empty when none.
    [[nodiscard]] const std::vector<std::shared_ptr<ItemProvider>>& attachments() const { return attachments_; }
    /// Sets the attachments.
    void setAttachments(std::vector<std::shared_ptr<ItemProvider>> attachments)
    {
        attachments_ = std::move(attachments);
    }

    /// Extra keyed values carried with the item; null when none.
    [[nodiscard]] const DictionaryRef& userInfo() const { return userInfo_; }
    /// Sets the user info.
    void setUserInfo(DictionaryRef userInfo) { userInfo_ = std::move(userInfo); }

    [[nodiscard]] std::string className() const override { return "ExtensionItem"; }
    [[nodiscard]] std::string description() const override;

private:
    std::shared_ptr<const AttributedString> title_;
    std::vector<std::shared_ptr<ItemProvider>> attachments_;
    DictionaryRef userInfo_;
};

using ExtensionItemRef = std::shared_ptr<ExtensionItem>;
using ExtensionItems = std::vector<ExtensionItemRef>;

} // namespace lumora::platform
