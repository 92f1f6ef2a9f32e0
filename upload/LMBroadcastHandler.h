#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/ExtensionRequestHandling.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Synchronized.h"
#include "platform/foundation/Value.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace lumora {

/// The common base of the handlers a broadcast upload extension subclasses
/// (LMBroadcastSampleHandler, LMBroadcastMP4ClipHandler). It keeps the
/// request's context and the service info the extension publishes, and it
/// alone completes the request, returning the service info once.
///
/// One handler serves one request. Handlers live in a `std::shared_ptr`, as
/// every platform object does; work they queue keeps them alive.
class LMBroadcastHandler : public platform::Object, public platform::ExtensionRequestHandling {
public:
    LMBroadcastHandler() = default;

    /// The base does nothing: each handler kind overrides it. A direct
    /// subclass of the base that does not override it never completes its request.
    void beginRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context) override;

    /// Publishes service information for the host, replacing what was there
    /// (no merge); null clears it. It reaches the host when the request completes.
    void updateServiceInfo(platform::DictionaryRef serviceInfo);

    /// The service information published so far (null when none); safe from any thread.
    [[nodiscard]] platform::DictionaryRef serviceInfo() const { return serviceInfo_.load(); }
    /// Replaces the service information; safe from any thread.
    void setServiceInfo(platform::DictionaryRef serviceInfo) { serviceInfo_.store(std::move(serviceInfo)); }
    /// The context of the request this handler serves, set when the request begins.
    [[nodiscard]] const std::shared_ptr<platform::ExtensionContext>& extensionContext() const
    {
        return extensionContext_;
    }
    /// Sets the context of the request this handler serves.
    void setExtensionContext(std::shared_ptr<platform::ExtensionContext> context)
    {
        extensionContext_ = std::move(context);
    }

    [[nodiscard]] std::string className() const override { return "LMBroadcastHandler"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastHandler" || Object::isKindOfClassNamed(name);
    }

    /// The single completion path of the handler kinds: completes the request
    /// with `items`, followed by one service-info item when service info is
    /// set (which is then cleared, so it is returned once only).
    void _completeRequestWithReturnItems(platform::ExtensionItems items);

protected:
    /// Told of one item's load, on the platform thread of its load callback:
    /// the item's index among the input items, the item, and the loaded value
    /// or the error. Answers whether the load counts toward completion.
    using ItemLoadHandler = std::function<bool(std::size_t index, const platform::ExtensionItemRef& item,
        const platform::Value& value, const platform::ErrorRef& error)>;

    /// The request loop both handler kinds share: accepts `context` (see
    /// `_acceptRequestWithExtensionContext`), asks every input item whose first
    /// attachment holds data to load it, tells `itemLoaded` of each load as it
    /// arrives, and calls `allCounted` on the thread of the load that makes the
    /// count reach the number of input items. Items that are skipped, and loads
    /// that `itemLoaded` does not count, keep the count below that number, so
    /// such a request never reaches `allCounted`. Both functions are held until
    /// the last load callback has run. False when the request was not accepted.
    bool _loadInputItemsWithExtensionContext_itemLoaded_allCounted(
        const std::shared_ptr<platform::ExtensionContext>& context, ItemLoadHandler itemLoaded,
        std::function<void()> allCounted);

    /// Stores `context` as the request being served. The load callbacks of
    /// the handler kinds keep the handler alive, so a handler that no
    /// `shared_ptr` owns (or a request without a context) cannot be served:
    /// that is logged and false is returned.
    bool _acceptRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context);

    /// The first attachment of `item` when it holds a value of the generic
    /// data type; null otherwise. An item without attachments breaks the
    /// platform's promise and is logged.
    static std::shared_ptr<platform::ItemProvider> _dataAttachmentOfItem(const platform::ExtensionItemRef& item);

    /// An item titled `label` with one attachment holding `value` under the
    /// generic data type identifier.
    static platform::ExtensionItemRef _itemWithTitle_value(std::string_view label, platform::Value value);
    /// The title text of `item`, or empty when it has none.
    static std::string_view _titleOfItem(const platform::ExtensionItem& item);

private:
    // The extension may publish service info from any thread while a load
    // callback completes the request; the synchronized reference keeps the
    // hand-over (and "returned once") free of data races.
    platform::Synchronized<platform::DictionaryRef> serviceInfo_;
    std::shared_ptr<platform::ExtensionContext> extensionContext_;
};

} // namespace lumora
