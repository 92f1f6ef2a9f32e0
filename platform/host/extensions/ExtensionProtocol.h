#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

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
/// Items travel as an array of {"label", "value"} dictionaries. A data value
/// of `SharedPayloadRegion::MinimumSharedLength` bytes or more that fits in
/// the shared block travels as {"$shared": [offset, length]}, its bytes in the
/// block. Whatever the other side sent is checked before it is trusted:
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
    /// Items in one request or reply, files in one request, and the nesting of a value.
    static constexpr std::size_t MaxItems = 64;
    static constexpr std::size_t MaxFiles = 8;
    static constexpr std::size_t MaxDepth = 32;

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
};

} // namespace lumora::platform::host
