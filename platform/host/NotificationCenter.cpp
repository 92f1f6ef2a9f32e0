#include "platform/NotificationCenter.h"

#include <algorithm>

namespace lumora::platform {

NotificationCenter& NotificationCenter::defaultCenter()
{
    static NotificationCenter center;
    return center;
}

void NotificationCenter::addObserver(const std::shared_ptr<Object>& observer, std::string name, Handler handler)
{
    std::lock_guard lock(mutex_);
    auto delivery = std::make_shared<Delivery>();
    delivery->handler = std::move(handler);
    registrations_.push_back(Registration { observer, observer.get(), std::move(name), std::move(delivery) });
}

void NotificationCenter::removeObserver(const Object* observer)
{
    std::lock_guard lock(mutex_);
    std::erase_if(registrations_, [observer](const Registration& registration) {
        if (registration.identity != observer) {
            return false;
        }
        // A delivery already under way skips a registration removed meanwhile.
        registration.delivery->active = false;
        return true;
    });
}

void NotificationCenter::postNotificationName(const std::string& name, ObjectRef object, DictionaryRef userInfo)
{
    const Notification notification { name, std::move(object), std::move(userInfo) };
    // Deliver to a snapshot, so handlers may change registrations while running.
    std::vector<std::pair<std::shared_ptr<Object>, std::shared_ptr<Delivery>>> targets;
    {
        std::lock_guard lock(mutex_);
        std::erase_if(registrations_, [](const Registration& registration) { return registration.observer.expired(); });
        for (const auto& registration : registrations_) {
            if (registration.name == name) {
                targets.emplace_back(registration.observer.lock(), registration.delivery);
            }
        }
    }
    for (const auto& [observer, delivery] : targets) {
        if (observer && delivery->active) {
            delivery->handler(notification);
        }
    }
}

std::size_t NotificationCenter::observerCount(const std::string& name)
{
    std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(registrations_.begin(), registrations_.end(),
        [&](const Registration& r) { return r.name == name && !r.observer.expired(); }));
}

} // namespace lumora::platform
