#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/extensions/ExtensionRequestHandling.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/foundation/Value.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace lumora::platform::host {

/// The requesting side of one extension request as the simulated device plays
/// it: whoever stands for the host process (a recording service, a test, the
/// sample app) makes a request with input items, hands its context to the
/// extension, and learns how the extension ended it.
///
/// The request may be ended from any thread. The first ending is the outcome;
/// later endings (an extension bug) are counted but change nothing.
class ExtensionRequest {
public:
    using Outcome = ExtensionContext::Outcome;

    explicit ExtensionRequest(ExtensionItems inputItems);

    /// The context the extension receives.
    [[nodiscard]] const std::shared_ptr<ExtensionContext>& context() const { return context_; }

    /// Hands the request to `handler` on a platform thread, as the platform does.
    void beginWithHandler(const std::shared_ptr<ExtensionRequestHandling>& handler) const;

    [[nodiscard]] bool hasEnded() const;
    /// How the request ended, or nullopt while it has not.
    [[nodiscard]] std::optional<Outcome> outcome() const;
    /// How many times the extension ended the request.
    [[nodiscard]] std::size_t endCount() const;
    /// Every ending, the outcome first.
    [[nodiscard]] std::vector<Outcome> endings() const;
    /// Waits for the request to end, for at most `timeout`, and returns the
    /// outcome (nullopt on timeout). It does not run the MainQueue. It looks
    /// for the end for a few tens of microseconds, yielding, before it sleeps.
    [[nodiscard]] std::optional<Outcome> waitForOutcome(
        std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;

    /// A labelled item: titled `label`, with one attachment holding `value`
    /// under the generic data type identifier.
    static ExtensionItemRef labelledItem(std::string_view label, Value value);
    /// A labelled item whose value comes from `loader` (a failing or slow load).
    static ExtensionItemRef labelledItemWithLoader(std::string_view label, ItemProvider::Loader loader);
    /// The value of the first item of `items` titled `label`, loaded under the
    /// generic data type identifier and waited for (at most `timeout`).
    /// nullopt when there is no such item or the load fails or times out.
    static std::optional<Value> loadValueOfItem(const ExtensionItems& items, std::string_view label,
        std::chrono::milliseconds timeout = std::chrono::seconds(5));

private:
    struct State {
        mutable std::mutex mutex;
        std::condition_variable ended;
        std::vector<Outcome> endings;
        /// Set once the first ending is in, for a waiter that looks before it sleeps.
        std::atomic<bool> hasEnded { false };
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::shared_ptr<ExtensionContext> context_;
};

} // namespace lumora::platform::host
