#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Value.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lumora::platform::host {

class SharedPayloadRegion;

/// The extension request protocol between a host and an extension running in
/// a process of its own (`lumora-extension-host`), carried as messages over a
/// socket connection:
///
/// - `loadBundle:filesFolder:` (call, host to extension): the extension's
///   bundle folder, for a program started without one (a spare started
///   ahead of need), and the folder it may place handed-over files in; the
///   program loads it before it serves anything else;
/// - `ready` (call, extension to host): a program started without a bundle
///   is up and waits for one;
/// - `useSharedMemory:` (call, host to extension): the block of shared memory
///   that payload bytes arrive in from then on (`SharedPayloadRegion`);
/// - `beginRequestWithItems:files:` (request, host to extension): one request
///   with its input items and the files it hands over, each a device path and
///   the open file's descriptor; the reply carries the returned items (an
///   array) when the extension completed the request, or the error it
///   cancelled it with;
/// - `serviceInfo` (request): the extension's bundle identifier and principal class.
///
/// An extension that shows a view controller (a broadcast setup extension,
/// the video editor) runs one request per process, for as long as the request
/// lasts:
///
/// - `beginViewRequest:items:files:interfaces:` (request, host to extension):
///   the request's identifier, input items and files, and what the host's
///   side offers ({"hostContextClass": name, "auxiliary": [selectors],
///   "view": [selectors]}); the reply carries what the extension's side
///   offers in the same form (without the class), or the error it failed to
///   start with;
/// - `relayMessage:connection:selector:arguments:` (call, either way): a
///   message sent over one of the request's two connections ("auxiliary" or
///   "view"); an argument {"$reply": number} stands for a completion the
///   receiver may call once;
/// - `relayReply:number:values:` (call, either way): the values a receiver
///   called such a completion with;
/// - `requestDidEnd:outcome:` (call, extension to host): the extension
///   completed or cancelled the request (the outcome as `beginRequest`'s reply);
/// - `viewDidDraw:picture:` (call, extension to host): a PNG picture of what
///   the extension's view controller drew, which the host's remote view shows.
///
/// Items travel as an array of {"label", "value"} dictionaries. A data value
/// of `SharedPayloadRegion::MinimumSharedLength` bytes or more that fits in
/// the shared block travels as {"$shared": [offset, length]}, its bytes in the
/// block. Items whose values are all payloads (a dictionary, or a list of
/// dictionaries, of numbers, booleans and data under printable ASCII keys)
/// travel instead as one packed record in the shared block, the message
/// holding only {"$packed": [offset, length]}: no value tree is built or
/// encoded for them on either side. Whatever the other side sent is checked before it is trusted:
/// bounded counts and nesting, places inside the block, and a refusal with a
/// reason for anything else.
class ExtensionProtocol {
public:
    ExtensionProtocol() = delete;

    static constexpr std::string_view LoadBundleSelector = "loadBundle:filesFolder:";
    static constexpr std::string_view ReadySelector = "ready";
    static constexpr std::string_view UseSharedMemorySelector = "useSharedMemory:";
    static constexpr std::string_view BeginRequestSelector = "beginRequestWithItems:files:";
    static constexpr std::string_view ServiceInfoSelector = "serviceInfo";
    static constexpr std::string_view BeginViewRequestSelector = "beginViewRequest:items:files:interfaces:";
    static constexpr std::string_view RelayMessageSelector = "relayMessage:connection:selector:arguments:";
    static constexpr std::string_view RelayReplySelector = "relayReply:number:values:";
    static constexpr std::string_view RequestDidEndSelector = "requestDidEnd:outcome:";
    static constexpr std::string_view ViewDidDrawSelector = "viewDidDraw:picture:";
    /// Bytes of one picture.
    static constexpr std::size_t MaxPictureBytes = std::size_t { 512 } << 10U;
    /// The names of a request's two connections on the wire.
    static constexpr std::string_view AuxiliaryConnectionName = "auxiliary";
    static constexpr std::string_view ViewConnectionName = "view";
    /// Arguments of one relayed message, selectors one side offers, and a selector's length.
    static constexpr std::size_t MaxArguments = 16;
    static constexpr std::size_t MaxSelectors = 64;
    static constexpr std::size_t MaxSelectorLength = 256;
    /// Items in one request or reply, files in one request, and the nesting of a value.
    static constexpr std::size_t MaxItems = 64;
    static constexpr std::size_t MaxFiles = 8;
    static constexpr std::size_t MaxDepth = 32;
    /// Dictionaries and their entries in one packed record: what one request
    /// may make the extension's process build.
    static constexpr std::size_t MaxPackedValues = 16384;

    /// The wire form of `items`, each item's value loaded from its first
    /// attachment; large data values go into `region` when one is given.
    static Value encodeItems(const ExtensionItems& items, SharedPayloadRegion* region);
    /// The items of a wire form, as labelled items; nullopt (and `refusal`
    /// says why) when it is malformed. Shared places are read from `region`;
    /// without one they are refused.
    static std::optional<ExtensionItems> decodeItems(
        const Value& wire, const SharedPayloadRegion* region, std::string* refusal);

    /// The reply of a request that ended with `outcome`.
    static Value encodeOutcome(const ExtensionContext::Outcome& outcome);
    /// The outcome a reply carries; nullopt (and `refusal`) when malformed.
    static std::optional<ExtensionContext::Outcome> decodeOutcome(const Value& wire, std::string* refusal);

    /// What one side of a view request offers over the request's two connections.
    struct Offer {
        /// The class of the host's context of the request (host to extension only; may be empty).
        std::string hostContextClass;
        std::vector<std::string> auxiliary;
        std::vector<std::string> view;
    };
    static Value encodeOffer(const Offer& offer);
    static std::optional<Offer> decodeOffer(const Value& wire, std::string* refusal);

    /// A message relayed over one of a request's connections. Its arguments
    /// are values; a completion stays {"$reply": number} (`replyNumber`).
    struct RelayedMessage {
        std::string requestIdentifier;
        std::string connection;
        std::string selector;
        std::vector<Value> arguments;
    };
    /// A message's arguments with every object other than an error made null
    /// (what cannot cross), and `replyNumbers` (in order) standing for its
    /// completions; empty when `arguments` hold more than `MaxArguments`.
    static std::vector<Value> encodeArguments(const std::vector<Value>& arguments,
        const std::function<std::optional<std::uint64_t>(const ObjectRef& completion)>& replyNumber);
    static std::optional<RelayedMessage> decodeRelayedMessage(
        const std::vector<Value>& arguments, std::string* refusal);
    /// The number a relayed argument stands for when it is a completion.
    static std::optional<std::uint64_t> replyNumber(const Value& argument);

    struct RelayedReply {
        std::string requestIdentifier;
        std::uint64_t number = 0;
        std::vector<Value> values;
    };
    static std::optional<RelayedReply> decodeRelayedReply(const std::vector<Value>& arguments, std::string* refusal);
    /// The request identifier and outcome of `requestDidEnd:outcome:`.
    static std::optional<std::pair<std::string, ExtensionContext::Outcome>> decodeRequestDidEnd(
        const std::vector<Value>& arguments, std::string* refusal);
    /// The request identifier and PNG bytes of `viewDidDraw:picture:`.
    static std::optional<std::pair<std::string, Data>> decodePicture(
        const std::vector<Value>& arguments, std::string* refusal);
};

} // namespace lumora::platform::host
