#pragma once

#include "platform/foundation/Interface.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/ReplyBlock.h"
#include "platform/foundation/URL.h"
#include "platform/graphics/Geometry.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumora {

/// What the host exports to the broadcast picker extension: the end of the
/// picker, and the question of how the picker is presented. Both are one-way;
/// the second answers through its completion.
class LMBroadcastActivityCommunicationHostProtocol : private platform::Noncopyable {
public:
    /// (modal presentation style, popover source rectangle in the source
    /// view's window, popover arrow direction as a bit set).
    using PresentationInfoCompletion
        = std::function<void(std::int64_t style, platform::Rect sourceRect, std::uint64_t arrowDirection)>;

    virtual ~LMBroadcastActivityCommunicationHostProtocol() = default;

    /// The user has left the picker: cancelled, or chose and set up the
    /// service whose extension is `extensionBundleID` to broadcast to
    /// `broadcastURL`. `launchURL`, when given, is to be opened.
    virtual void extensionDidFinishWithLaunchURL_broadcastURL_extensionBundleID_cancelled(
        const std::optional<platform::URL>& launchURL, const std::optional<platform::URL>& broadcastURL,
        const std::optional<std::string>& extensionBundleID, bool cancelled)
        = 0;
    /// Asks how the picker is presented.
    virtual void presentationInfoWithCompletion(PresentationInfoCompletion completion) = 0;

    /// A new description of the protocol for a connection. A message whose
    /// arguments are of the wrong kinds is refused; absent URLs and bundle
    /// identifier are taken as absent.
    static std::shared_ptr<platform::Interface> makeInterface();

    /// For the sending side: the reply block to send with
    /// `presentationInfoWithCompletion:`, turning the reply back into typed
    /// values. A malformed reply is dropped.
    static std::shared_ptr<platform::ReplyBlock> makePresentationInfoReplyBlock(PresentationInfoCompletion completion);
};

} // namespace lumora
