#pragma once

#include "platform/extensions/ExtensionConnection.h"
#include "platform/extensions/ExtensionItem.h"
#include "platform/foundation/Value.h"
#include "platform/host/services/SimulatedExtensions.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace lumora::test {

/// Installs a stand-in for the system's video editor extension under its
/// identifier, naming the framework's host-side classes as the real editor
/// does. Its view controller does nothing by itself: a test plays the editor
/// through the request (`latestEditorRequest`, `sendAsEditor`).
void installVideoEditorExtension();

/// The latest editing request still going on, or nullopt.
std::optional<platform::host::SimulatedExtensions::Request> latestEditorRequest();

/// How the editor reaches its host.
enum class EditorRoute : std::uint8_t {
    Context, ///< over the request's auxiliary connection, to the host's context
    ViewController, ///< over the remote view's connection, to the host view controller
};

/// Sends a message as the editor of `request`; `errorHandler` hears when the
/// host cannot take it.
void sendAsEditor(const platform::host::SimulatedExtensions::Request& request, EditorRoute route, std::string selector,
    std::vector<platform::Value> arguments, platform::ExtensionConnection::ErrorHandler errorHandler = {});

/// An array value of strings, as the editor sends activity types.
platform::Value stringArray(const std::vector<std::string>& strings);

/// The title of every item, in order.
std::vector<std::string> itemTitles(const platform::ExtensionItems& items);

/// The value of the item's first attachment under the generic data type,
/// waited for (without running the MainQueue); nullopt when it cannot be loaded.
std::optional<platform::Value> loadItemValue(
    const platform::ExtensionItemRef& item, std::chrono::milliseconds timeout = std::chrono::seconds(5));

} // namespace lumora::test
