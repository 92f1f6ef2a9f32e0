#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <string>

namespace lumora::platform {

/// One posted notification: its name, the object it is about (may be null) and extra information (may be null).
struct Notification {
    /// The notification's name.
    std::string name;
    /// The object the notification is about; may be null.
    ObjectRef object;
    /// Extra information; may be null.
    DictionaryRef userInfo;
};

/// Named notifications, delivered synchronously on the thread that posts them.
///
/// Observers are held weakly: an observer that goes away is never called again
/// and its registrations are dropped. An observer may add or remove
/// registrations, and post, from inside a delivery.
class NotificationCenter {
public:
    /// Receives a notification, on the posting thread.
    using Handler = std::function<void(const Notification&)>;

    /// The process's one notification centre.
    static NotificationCenter& defaultCenter();

    /// Registers `handler` for notifications named `name`, for as long as
    /// `observer` lives or until it is removed.
    void addObserver(const std::shared_ptr<Object>& observer, std::string name, Handler handler);
    /// Drops every registration of `observer`.
    void removeObserver(const Object* observer);
    /// Delivers a notification named `name` to every live registration for that name,
    /// on the calling thread, before returning.
    void postNotificationName(const std::string& name, ObjectRef object = nullptr, DictionaryRef userInfo = nullptr);

    /// How many live registrations there are for `name`.
    [[nodiscard]] std::size_t observerCount(const std::string& name);

    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;
    NotificationCenter(NotificationCenter&&) = delete;
    NotificationCenter& operator=(NotificationCenter&&) = delete;

private:
    NotificationCenter();
    ~NotificationCenter();

    // The registrations belong to the platform's implementation.
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace lumora::platform
