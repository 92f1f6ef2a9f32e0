#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <optional>

namespace lumora {

class LMBroadcastConfiguration;

/// What the framework adds to a broadcast setup extension's context: learning
/// which application is about to broadcast, and ending the setup request with
/// the broadcast's URL, configuration and the service's setup information.
/// Both run in the setup extension's process and change no thread.
class LMBroadcastExtension {
public:
    /// Called once with three values; only their order is published (see
    /// `loadBroadcastingApplicationInfoWithCompletion`).
    using ApplicationInfoCompletion = std::function<void(
        const platform::Value& first, const platform::Value& second, const platform::Value& third)>;

    /// Ends the setup request with four labelled items, in this order: the
    /// setup information, the bundle identifier of the process completing the
    /// request (the setup extension's own), the keyed archive of the
    /// configuration, the broadcast URL. No argument is checked: an absent
    /// one travels as an absent value.
    static void completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(
        const std::shared_ptr<platform::ExtensionContext>& context, const std::optional<platform::URL>& broadcastURL,
        const std::shared_ptr<LMBroadcastConfiguration>& broadcastConfiguration,
        const platform::DictionaryRef& setupInfo);

    /// Loads every value the context's first input item carries and calls
    /// `completion` once all of them have arrived, on the thread that
    /// delivered the last one. Values are placed by order of arrival, not by
    /// position: with arrivals first, second, third the completion hears
    /// (second, third, first); later arrivals are counted and dropped. So the
    /// host's information item (one attachment) arrives as (absent, absent,
    /// dictionary). With no input item, no attachment, or an attachment
    /// carrying no data, the completion is never called.
    static void loadBroadcastingApplicationInfoWithCompletion(
        const std::shared_ptr<platform::ExtensionContext>& context, ApplicationInfoCompletion completion);
};

} // namespace lumora
