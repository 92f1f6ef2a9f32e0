#pragma once

#include "platform/ItemProvider.h"
#include "platform/Object.h"
#include "platform/Value.h"

#include <memory>
#include <vector>

namespace lumora::platform {

/// One item of an extension request: an attributed title, a list of
/// attachments (item providers) and a user-info dictionary.
class ExtensionItem final : public Object {
public:
    ExtensionItem() = default;

    [[nodiscard]] const std::shared_ptr<const AttributedString>& attributedTitle() const { return title_; }
    void setAttributedTitle(std::shared_ptr<const AttributedString> title) { title_ = std::move(title); }

    [[nodiscard]] const std::vector<std::shared_ptr<ItemProvider>>& attachments() const { return attachments_; }
    void setAttachments(std::vector<std::shared_ptr<ItemProvider>> attachments)
    {
        attachments_ = std::move(attachments);
    }

    [[nodiscard]] const DictionaryRef& userInfo() const { return userInfo_; }
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
