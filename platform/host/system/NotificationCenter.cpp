#include "platform/system/NotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

namespace lumora::platform {

struct NotificationCenter::State {
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

    std::mutex mutex;
    std::vector<Registration> registrations;
};

NotificationCenter::NotificationCenter() : state_(std::make_unique<State>()) { }

NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter()
{
    // Never destroyed: notifications may still be posted from other threads while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* center = new NotificationCenter();
    return *center;
}

void NotificationCenter::addObserver(const std::shared_ptr<Object>& observer, std::string name, Handler handler)
{
    std::lock_guard lock(state_->mutex);
    auto delivery = std::make_shared<State::Delivery>();
    delivery->handler = std::move(handler);
    state_->registrations.push_back(
        State::Registration { observer, observer.get(), std::move(name), std::move(delivery) });
}

void NotificationCenter::removeObserver(const Object* observer)
{
    std::lock_guard lock(state_->mutex);
    std::erase_if(state_->registrations, [observer](const State::Registration& registration) {
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
    std::vector<std::pair<std::shared_ptr<Object>, std::shared_ptr<State::Delivery>>> targets;
    {
        std::lock_guard lock(state_->mutex);
        std::erase_if(state_->registrations,
            [](const State::Registration& registration) { return registration.observer.expired(); });
        for (const auto& registration : state_->registrations) {
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
    std::lock_guard lock(state_->mutex);
    return static_cast<std::size_t>(std::count_if(state_->registrations.begin(), state_->registrations.end(),
        [&](const State::Registration& r) { return r.name == name && !r.observer.expired(); }));
}

} // namespace lumora::platform
