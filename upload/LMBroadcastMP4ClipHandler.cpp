#include "upload/LMBroadcastMP4ClipHandler.h"

#include "platform/extensions/Sandbox.h"
#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/Log.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <atomic>
#include <cstdint>
#include <vector>

namespace lumora {

namespace {

using platform::Log;
using platform::Value;

enum class ClipValue : std::uint8_t { None, URL, UserInfo, RequestedFinish, SandboxToken };

// The values of one request, shared by its load callbacks until the last one
// has run. Each callback fills the slot of its own item, and the callback that
// counts last reads them all: the request's atomic counter orders the writes
// before the read, and two items with the same title cannot write the same memory.
struct ClipRequest {
    explicit ClipRequest(std::size_t itemCount) : slots(itemCount) { }

    struct Slot {
        ClipValue kind = ClipValue::None;
        Value value;
    };
    std::vector<Slot> slots;
};

// Which value an item carries, by its title, logging what was received. A
// value of the wrong type is not kept.
ClipValue recognise(std::string_view title, const Value& value)
{
    if (title == LMBroadcastExtensionKeyMovieClipURL) {
        Log::ordinary("received movie clip URL");
        if (value.isString()) {
            return ClipValue::URL;
        }
        Log::error("Ignoring movie clip URL that is not a string");
    } else if (title == LMBroadcastExtensionKeyExtensionUserInfo) {
        Log::ordinary("received user info");
        if (value.isNull() || value.isDictionary()) {
            return ClipValue::UserInfo;
        }
        Log::error("Ignoring user info that is not a dictionary");
    } else if (title == LMBroadcastExtensionKeyRequestedFinish) {
        Log::ordinary("received request finished");
        if (value.isNumber()) {
            return ClipValue::RequestedFinish;
        }
        Log::error("Ignoring request finished that is not a boolean");
    } else if (title == LMBroadcastExtensionKeyExtensionSandboxToken) {
        Log::ordinary("received sandbox token");
        if (value.isString()) {
            return ClipValue::SandboxToken;
        }
        Log::error("Ignoring sandbox token that is not a string");
    }
    return ClipValue::None;
}

} // namespace

void LMBroadcastMP4ClipHandler::beginRequestWithExtensionContext(
    const std::shared_ptr<platform::ExtensionContext>& context)
{
    Log::ordinary("beginRequestWithExtensionContext");
    auto self = sharedFrom(this);
    auto request = std::make_shared<ClipRequest>(context ? context->inputItems().size() : 0);
    _loadInputItemsWithExtensionContext_itemLoaded_allCounted(
        context,
        [request](std::size_t index, const platform::ExtensionItemRef& item, const Value& value,
            const platform::ErrorRef& error) {
            if (error) {
                // Deliberately not counted: a request with a failed load never
                // reaches the subclass and never completes.
                Log::error("Error loading input item for type");
                return false;
            }
            auto& slot = request->slots[index];
            slot.kind = recognise(_titleOfItem(*item), value);
            if (slot.kind != ClipValue::None) {
                slot.value = value;
            }
            return true;
        },
        [self, request] {
            const std::string* clipURLText = nullptr;
            platform::DictionaryRef setupInfo;
            bool requestedFinish = false;
            const std::string* sandboxToken = nullptr;
            for (const auto& received : request->slots) {
                switch (received.kind) {
                case ClipValue::URL:
                    clipURLText = received.value.string();
                    break;
                case ClipValue::UserInfo:
                    setupInfo = received.value.dictionary();
                    break;
                case ClipValue::RequestedFinish:
                    requestedFinish = received.value.boolValue();
                    break;
                case ClipValue::SandboxToken:
                    sandboxToken = received.value.string();
                    break;
                case ClipValue::None:
                    break;
                }
            }

            Log::ordinary("received all data, consuming sandbox token");
            // The result is not looked at: without the grant the
            // subclass simply cannot read the clip.
            platform::Sandbox::consumeExtension(sandboxToken != nullptr ? sandboxToken->c_str() : nullptr);
            Log::ordinary("calling subclass method");
            const auto clipURL = clipURLText != nullptr ? platform::URL::URLWithString(*clipURLText) : std::nullopt;
            self->processMP4ClipWithURL_setupInfo_finished(clipURL, setupInfo, requestedFinish);
        });
}

void LMBroadcastMP4ClipHandler::processMP4ClipWithURL_setupInfo_finished(
    const std::optional<platform::URL>& /*mp4ClipURL*/, const platform::DictionaryRef& /*setupInfo*/, bool /*finished*/)
{ }

void LMBroadcastMP4ClipHandler::finishedProcessingMP4ClipWithUpdatedBroadcastConfiguration_error(
    const std::shared_ptr<LMBroadcastConfiguration>& configuration, const platform::ErrorRef& error)
{
    // The published text: the configuration is not handed to the logger, so
    // the placeholder stays as it is.
    Log::ordinary("broadcast configuration = %@");
    if (error) {
        if (extensionContext()) {
            extensionContext()->cancelRequestWithError(error);
        }
        return;
    }
    platform::ExtensionItems items;
    if (configuration) {
        platform::ErrorRef archiveError;
        const auto archive = platform::KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
            Value(configuration), true, &archiveError);
        if (archive) {
            items.push_back(_itemWithTitle_value(LMBroadcastExtensionKeyBroadcastConfiguration, Value(*archive)));
        } else {
            Log::error("Error archiving broadcast configuration: %@", archiveError);
        }
    }
    _completeRequestWithReturnItems(std::move(items));
}

} // namespace lumora
