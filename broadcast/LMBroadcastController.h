#pragma once

#include "broadcast/LMBroadcastControllerDelegate.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Synchronized.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lumora {

/// A handle on one broadcast: which service's extension runs it and the
/// broadcast's URL. It keeps no media state of its own; every operation drives
/// the shared screen recorder, which records with streaming on and knows the
/// controller of the running broadcast as its `activeBroadcastController`
/// (holding it strongly, so a running broadcast keeps its controller alive).
///
/// The controller enforces no order: every operation may be called in any
/// state and simply performs its steps. Operations are meant for the MainQueue;
/// handlers run where the recorder calls its completions. Service information
/// arrives on the service connection's thread, so `serviceInfo` and the
/// delegate are safe to read and replace from both.
class LMBroadcastController : public platform::Object {
public:
    /// Hears the outcome of a start or finish: null on success, else the error.
    using ErrorHandler = std::function<void(const platform::ErrorRef& error)>;

    /// A controller with no extension bundle identifier and no URL.
    LMBroadcastController() = default;
    /// Keeps both values as given (either may be absent).
    LMBroadcastController(std::optional<std::string> extensionBundleID, std::optional<platform::URL> broadcastURL);
    /// Releasing a controller asks the recorder to stop the broadcast, with no
    /// handler, whatever state the controller was in.
    ~LMBroadcastController() override;
    LMBroadcastController(const LMBroadcastController&) = delete;
    LMBroadcastController& operator=(const LMBroadcastController&) = delete;
    LMBroadcastController(LMBroadcastController&&) = delete;
    LMBroadcastController& operator=(LMBroadcastController&&) = delete;

    /// `init`: a new controller with both values absent.
    static std::shared_ptr<LMBroadcastController> init();
    /// How the picker makes the controller of the broadcast the user set up.
    static std::shared_ptr<LMBroadcastController> initWithExtensionBundleID_broadcastURL(
        std::optional<std::string> extensionBundleID, std::optional<platform::URL> broadcastURL);

    /// Makes this the recorder's active controller and starts a recording with
    /// streaming on. The handler (required) hears the recorder's result
    /// unchanged; the controller stays active after a failed start.
    void startBroadcastWithHandler(ErrorHandler handler);
    /// Clears the recorder's active controller and pauses the recording. With
    /// no active controller, the recorder resumes the recording by itself when
    /// the application becomes active again; that is intended.
    void pauseBroadcast();
    /// Makes this the recorder's active controller again and resumes.
    void resumeBroadcast();
    /// Stops the recording (the movie is dropped). When the recorder answers,
    /// the active controller is cleared, `serviceInfo` becomes what the
    /// recorder reported (also when absent) and the handler (required) hears
    /// the error. The controller stays alive until then.
    void finishBroadcastWithHandler(ErrorHandler handler);

    /// Whether the shared recorder records, for any reason.
    [[nodiscard]] bool isBroadcasting() const;
    /// Whether the shared recorder is paused.
    [[nodiscard]] bool isPaused() const;

    /// The latest information the broadcast service reported; absent until then.
    [[nodiscard]] platform::DictionaryRef serviceInfo() const { return serviceInfo_.load(); }
    /// Keeps the given dictionary itself.
    void setServiceInfo(platform::DictionaryRef serviceInfo) { serviceInfo_.store(std::move(serviceInfo)); }
    /// The URL where viewers watch the broadcast, as the broadcast service gave
    /// it; absent when it gave none.
    [[nodiscard]] const std::optional<platform::URL>& broadcastURL() const { return broadcastURL_; }
    /// The bundle identifier of the broadcast service's upload extension, as
    /// the picker reported it; absent when it gave none.
    [[nodiscard]] const std::optional<std::string>& broadcastExtensionBundleID() const
    {
        return broadcastExtensionBundleID_;
    }
    /// The delegate told of service information (held weakly), or null. May be
    /// read and set on any thread.
    [[nodiscard]] std::shared_ptr<LMBroadcastControllerDelegate> delegate() const { return delegate_.load().lock(); }
    /// Held weakly.
    void setDelegate(const std::shared_ptr<LMBroadcastControllerDelegate>& delegate) { delegate_.store(delegate); }

    [[nodiscard]] std::string className() const override { return "LMBroadcastController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastController" || Object::isKindOfClassNamed(name);
    }

private:
    const std::optional<std::string> broadcastExtensionBundleID_;
    const std::optional<platform::URL> broadcastURL_;
    // Replaced by service reports on the connection's thread while the
    // application reads them on the MainQueue.
    platform::Synchronized<platform::DictionaryRef> serviceInfo_;
    platform::Synchronized<std::weak_ptr<LMBroadcastControllerDelegate>> delegate_;
};

} // namespace lumora
