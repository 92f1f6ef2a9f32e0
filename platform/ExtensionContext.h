#pragma once

#include "platform/Error.h"
#include "platform/ExtensionItem.h"
#include "platform/Object.h"

#include <functional>
#include <memory>

namespace lumora::platform {

/// The context of one extension request: the items the request brought and
/// the way to end it, by completing with returned items or by cancelling with
/// an error. Host-side contexts of a request (the host's end of the same
/// request) derive from it too.
class ExtensionContext : public Object {
public:
    /// How a request ended, as the other side of the request learns it:
    /// returned items and no error, or no items and the cancelling error.
    struct Outcome {
        ExtensionItems returnedItems;
        ErrorRef error;
    };
    using OutcomeHandler = std::function<void(const Outcome&)>;

    ExtensionContext() = default;
    /// A context for a request that brings `inputItems`; `onEnd` is told how
    /// the request ended (the platform gives it to the requesting process).
    ExtensionContext(ExtensionItems inputItems, OutcomeHandler onEnd);

    [[nodiscard]] const ExtensionItems& inputItems() const { return inputItems_; }

    /// Ends the request successfully with `items`. `completion`, when given,
    /// is called on a platform thread once the items have been handed over.
    void completeRequestReturningItems_completionHandler(
        ExtensionItems items, const std::function<void(bool expired)>& completion);
    /// Ends the request with `error`.
    void cancelRequestWithError(const ErrorRef& error);

    [[nodiscard]] std::string className() const override { return "ExtensionContext"; }

private:
    ExtensionItems inputItems_;
    OutcomeHandler onEnd_;
};

} // namespace lumora::platform
