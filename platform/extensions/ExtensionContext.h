#pragma once

#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"

#include <functional>
#include <memory>

namespace lumora::platform {

class ExtensionConnection;
class Interface;

/// The context of one extension request: the items the request brought and
/// the way to end it, by completing with returned items or by cancelling with
/// an error. Host-side contexts of a request (the host's end of the same
/// request) derive from it too.
class ExtensionContext : public Object {
public:
    /// How a request ended, as the other side of the request learns it:
    /// returned items and no error, or no items and the cancelling error.
    struct Outcome {
        /// The items the request returned; empty when it was cancelled.
        ExtensionItems returnedItems;
        /// The error the request was cancelled with; null when it completed.
        ErrorRef error;
    };
    /// Told how a request ended.
    using OutcomeHandler = std::function<void(const Outcome&)>;

    /// The class object of a context class: the protocols the two sides of a
    /// request speak over the request's auxiliary connection. The platform
    /// asks the class of every host-side context it makes, so a subclass
    /// declares its protocols by supplying a class object of its own (and
    /// returning it from `classObject()`). Each call builds a new description.
    class Class : private platform::Noncopyable {
    public:
        virtual ~Class() = default;

        /// What the extension vends: the messages the host may send it. Null: none.
        [[nodiscard]] virtual std::shared_ptr<Interface> vendedInterface() const { return nullptr; }
        /// What the host side exports: the messages the extension may send it. Null: none.
        [[nodiscard]] virtual std::shared_ptr<Interface> exportedInterface() const { return nullptr; }
    };

    /// The class object of the plain context class.
    static const Class& defaultClass();
    /// The class object of this context's own class.
    [[nodiscard]] virtual const Class& classObject() const { return defaultClass(); }

    ExtensionContext() = default;
    /// A context for a request that brings `inputItems`; `onEnd` is told how
    /// the request ended (the platform gives it to the requesting process).
    ExtensionContext(ExtensionItems inputItems, OutcomeHandler onEnd);

    /// The items the request brought.
    [[nodiscard]] const ExtensionItems& inputItems() const { return inputItems_; }

    /// Ends the request successfully with `items`. `completion`, when given,
    /// is called on a platform thread once the items have been handed over.
    void completeRequestReturningItems_completionHandler(
        ExtensionItems items, const std::function<void(bool expired)>& completion);
    /// Ends the request with `error`.
    void cancelRequestWithError(const ErrorRef& error);

    /// The request's connection to the other side (the extension, for a
    /// host-side context); null until the platform connects the context.
    [[nodiscard]] const std::shared_ptr<ExtensionConnection>& auxiliaryConnection() const
    {
        return auxiliaryConnection_;
    }
    /// Called by the platform when it connects the context, before the
    /// context is handed to anyone.
    void setAuxiliaryConnection(std::shared_ptr<ExtensionConnection> connection);

    [[nodiscard]] std::string className() const override { return "ExtensionContext"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "ExtensionContext" || Object::isKindOfClassNamed(name);
    }

private:
    ExtensionItems inputItems_;
    OutcomeHandler onEnd_;
    std::shared_ptr<ExtensionConnection> auxiliaryConnection_;
};

} // namespace lumora::platform
