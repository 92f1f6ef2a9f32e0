#pragma once

#include "platform/Object.h"
#include "platform/Value.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumora::platform {

struct Notification {
    std::string name;
    ObjectRef object;
    DictionaryRef userInfo;
};

/// Named notifications, delivered synchronously on the thread that posts them.
///
/// Observers are held weakly: an observer that goes away is never called again
/// and its registrations are dropped. An observer may add or remove
/// registrations, and post, from inside a delivery.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    static NotificationCenter& defaultCenter();

    /// Registers `handler` for notifications named `name`, for as long as
    /// `observer` lives or until it is removed.
    void addObserver(const std::shared_ptr<Object>& observer, std::string name, Handler handler);
    /// Drops every registration of `observer`.
    void removeObserver(const Object* observer);
    void postNotificationName(const std::string& name, ObjectRef object = nullptr, DictionaryRef userInfo = nullptr);

    /// How many live registrations there are for `name`.
    [[nodiscard]] std::size_t observerCount(const std::string& name);

private:
    struct Delivery {
        Handler handler;
        std::atomic<bool> active { true };
    };
    struct Registration {
        std::weak_ptr<Object> observer;
        const Object* identity;
        std::string name;
        std::shared_ptr<Delivery> delivery;
    };
    std::mutex mutex_;
    std::vector<Registration> registrations_;
};

} // namespace lumora::platform
