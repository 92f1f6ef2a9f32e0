#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <optional>

namespace lumora {

/// The calls the recording service makes into the application.
class LMClientProtocol : private platform::Noncopyable {
public:
    virtual ~LMClientProtocol() = default;

    /// The service stopped the recording on its own.
    virtual void stopRecordingWithError_movieURL(
        const platform::ErrorRef& error, const std::optional<platform::URL>& movieURL)
        = 0;
    /// The broadcast service reported new information about the broadcast.
    virtual void updateBroadcastServiceInfo(const platform::DictionaryRef& serviceInfo) = 0;
};

} // namespace lumora
