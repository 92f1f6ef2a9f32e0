#pragma once

#include "broadcast/LMBroadcastConfiguration.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"
#include "upload/LMBroadcastHandler.h"

#include <memory>
#include <optional>
#include <string>

namespace lumora {

/// The handler an upload extension subclasses to receive the broadcast as a
/// series of finished movie clips, one request per clip.
///
/// A request's items carry the clip's URL, the setup information, whether
/// the clip is the last one, and a sandbox token for the clip file. Once all
/// of them have loaded, the handler consumes the token and hands the clip to
/// `processMP4ClipWithURL_setupInfo_finished` on the thread of the last load.
/// A failed load is logged and not counted, so that request never reaches
/// the subclass. A value of the wrong type is logged and not kept, and its
/// item still counts; an item without attachments is logged and skipped and
/// never counts.
class LMBroadcastMP4ClipHandler : public LMBroadcastHandler {
public:
    LMBroadcastMP4ClipHandler() = default;

    /// Loads the clip's items and hands the clip to the subclass once all have loaded
    /// (see the class comment).
    void beginRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context) override;

    /// Hook for the subclass (the handler's own version does nothing): upload
    /// the clip, then call `finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error`
    /// exactly once. `mp4ClipURL` is nullopt when no URL arrived or it does not parse.
    virtual void processMP4ClipWithURL_setupInfo_finished(
        const std::optional<platform::URL>& mp4ClipURL, const platform::DictionaryRef& setupInfo, bool finished);

    /// Ends the clip's request, from any thread: cancelled with `error` when
    /// one is given (the configuration is then ignored and no service info is
    /// returned); otherwise completed with the archived `configuration` (when
    /// given) followed by the service info.
    void finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(
        const std::shared_ptr<LMBroadcastConfiguration>& configuration, const platform::ErrorRef& error);

    [[nodiscard]] std::string className() const override { return "LMBroadcastMP4ClipHandler"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastMP4ClipHandler" || LMBroadcastHandler::isKindOfClassNamed(name);
    }
};

} // namespace lumora
