#include "platform/host/extensions/ExtensionRequest.h"

#include "platform/extensions/Extension.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/host/extensions/ExtensionBoundary.h"
#include "platform/host/foundation/PlatformThreads.h"

#include <string>
#include <thread>

namespace lumora::platform::host {

ExtensionRequest::ExtensionRequest(ExtensionItems inputItems)
    : context_(std::make_shared<ExtensionContext>(std::move(inputItems), [state = state_](const Outcome& outcome) {
          {
              std::lock_guard lock(state->mutex);
              state->endings.push_back(outcome);
              if (state->endings.size() > 1) {
                  ExtensionBoundary::logRequestEndedAgain();
              }
          }
          state->hasEnded.store(true, std::memory_order_release);
          state->ended.notify_all();
      }))
{ }

void ExtensionRequest::beginWithHandler(const std::shared_ptr<ExtensionRequestHandling>& handler) const
{
    postToPlatformThread([handler, context = context_] {
        if (ExtensionBoundary::run(
                "beginning a request", [&handler, &context] { handler->beginRequestWithExtensionContext(context); })) {
            context->cancelRequestWithError(
                Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::RequestFailedErrorCode));
        }
    });
}

bool ExtensionRequest::hasEnded() const
{
    std::lock_guard lock(state_->mutex);
    return !state_->endings.empty();
}

std::optional<ExtensionRequest::Outcome> ExtensionRequest::outcome() const
{
    std::lock_guard lock(state_->mutex);
    return state_->endings.empty() ? std::nullopt : std::optional(state_->endings.front());
}

std::size_t ExtensionRequest::endCount() const
{
    std::lock_guard lock(state_->mutex);
    return state_->endings.size();
}

std::vector<ExtensionRequest::Outcome> ExtensionRequest::endings() const
{
    std::lock_guard lock(state_->mutex);
    return state_->endings;
}

std::optional<ExtensionRequest::Outcome> ExtensionRequest::waitForOutcome(std::chrono::milliseconds timeout) const
{
    // A request usually ends within microseconds: looking a few times first
    // spares the extension's thread from waking this one.
    constexpr auto kLookFor = std::chrono::microseconds(50);
    const auto lookUntil = std::chrono::steady_clock::now() + kLookFor;
    while (!state_->hasEnded.load(std::memory_order_acquire) && std::chrono::steady_clock::now() < lookUntil) {
        std::this_thread::yield();
    }
    std::unique_lock lock(state_->mutex);
    state_->ended.wait_for(lock, timeout, [this] { return !state_->endings.empty(); });
    return state_->endings.empty() ? std::nullopt : std::optional(state_->endings.front());
}

ExtensionItemRef ExtensionRequest::labelledItem(std::string_view label, Value value)
{
    auto item = std::make_shared<ExtensionItem>();
    item->setAttributedTitle(std::make_shared<AttributedString>(std::string(label)));
    item->setAttachments({ std::make_shared<ItemProvider>(std::move(value), std::string(TypeIdentifier::Data)) });
    return item;
}

ExtensionItemRef ExtensionRequest::labelledItemWithLoader(std::string_view label, ItemProvider::Loader loader)
{
    auto item = std::make_shared<ExtensionItem>();
    item->setAttributedTitle(std::make_shared<AttributedString>(std::string(label)));
    item->setAttachments({ std::make_shared<ItemProvider>(std::string(TypeIdentifier::Data), std::move(loader)) });
    return item;
}

std::optional<Value> ExtensionRequest::loadValueOfItem(
    const ExtensionItems& items, std::string_view label, std::chrono::milliseconds timeout)
{
    for (const auto& item : items) {
        if (!item || !item->attributedTitle() || item->attributedTitle()->string() != label
            || item->attachments().empty()) {
            continue;
        }
        struct Load {
            std::mutex mutex;
            std::condition_variable done;
            std::optional<Value> value;
            bool finished = false;
        };
        auto load = std::make_shared<Load>();
        item->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
            std::string(TypeIdentifier::Data), nullptr, [load](const Value& value, const ErrorRef& error) {
                {
                    std::lock_guard lock(load->mutex);
                    if (!error) {
                        load->value = value;
                    }
                    load->finished = true;
                }
                load->done.notify_all();
            });
        std::unique_lock lock(load->mutex);
        load->done.wait_for(lock, timeout, [&load] { return load->finished; });
        return load->value;
    }
    return std::nullopt;
}

} // namespace lumora::platform::host
