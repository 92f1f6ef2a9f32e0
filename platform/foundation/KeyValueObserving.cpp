#include "platform/foundation/KeyValueObserving.h"

#include <algorithm>

namespace lumora::platform {

std::shared_ptr<void> KeyValueObservable::addObserverForKey(
    const std::string& key, std::uint32_t options, Observer observer)
{
    auto registration = std::make_shared<Registration>(Registration { key, options, std::move(observer) });
    {
        std::lock_guard lock(state_->mutex);
        state_->registrations.push_back(registration);
    }
    if ((options & OptionInitial) != 0) {
        KeyValueChange change;
        if ((options & OptionNew) != 0) {
            change.newValue = valueForKey(key);
        }
        registration->observer(key, change);
    }
    // The token outlives neither the registration list nor the observed
    // object's lifetime assumptions: it holds the list weakly.
    return { nullptr, [weakState = std::weak_ptr<State>(state_), registration](void* /*unused*/) {
                registration->active = false;
                if (const auto state = weakState.lock()) {
                    std::lock_guard lock(state->mutex);
                    std::erase(state->registrations, registration);
                }
            } };
}

std::vector<std::shared_ptr<KeyValueObservable::Registration>> KeyValueObservable::registrationsFor(
    const std::string& key) const
{
    std::vector<std::shared_ptr<Registration>> found;
    std::lock_guard lock(state_->mutex);
    std::copy_if(state_->registrations.begin(), state_->registrations.end(), std::back_inserter(found),
        [&key](const auto& registration) { return registration->key == key; });
    return found;
}

void KeyValueObservable::willChangeValueForKey(const std::string& key)
{
    const auto registrations = registrationsFor(key);
    const Value oldValue = registrations.empty() ? Value() : valueForKey(key);
    {
        std::lock_guard lock(state_->mutex);
        state_->oldValues[key].push_back(oldValue);
    }
    for (const auto& registration : registrations) {
        if (registration->active && (registration->options & OptionPrior) != 0) {
            KeyValueChange change;
            change.isPrior = true;
            if ((registration->options & OptionOld) != 0) {
                change.oldValue = oldValue;
            }
            registration->observer(key, change);
        }
    }
}

void KeyValueObservable::didChangeValueForKey(const std::string& key)
{
    Value oldValue;
    {
        std::lock_guard lock(state_->mutex);
        auto& stack = state_->oldValues[key];
        if (!stack.empty()) {
            oldValue = stack.back();
            stack.pop_back();
        }
    }
    const auto registrations = registrationsFor(key);
    if (registrations.empty()) {
        return;
    }
    const Value newValue = valueForKey(key);
    for (const auto& registration : registrations) {
        if (!registration->active) {
            continue;
        }
        KeyValueChange change;
        if ((registration->options & OptionOld) != 0) {
            change.oldValue = oldValue;
        }
        if ((registration->options & OptionNew) != 0) {
            change.newValue = newValue;
        }
        registration->observer(key, change);
    }
}

} // namespace lumora::platform
