#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumora::platform {

/// What an observer is told about one change of a property.
struct KeyValueChange {
    /// The value before the change (with `KeyValueObservable::OptionOld`).
    Value oldValue;
    /// The value after the change (with `KeyValueObservable::OptionNew`).
    Value newValue;
    /// Set on the notice sent before the change (with `OptionPrior`).
    bool isPrior = false;
};

/// Key-value observation: an object announces changes of its properties,
/// named by key, and observers hear of them synchronously on the thread that
/// makes the change.
///
/// A property change is announced as will change, store, did change:
/// `willChangeValueForKey` (observers that asked for prior notices hear it
/// now, and the old value is read), the new value is stored, then
/// `didChangeValueForKey` (every observer hears it). Values are read with
/// `valueForKey`, which an observable class answers for its observable keys.
class KeyValueObservable : private platform::Noncopyable {
public:
    /// Options of a registration (a bit set). Tell the observer the new value.
    static constexpr std::uint32_t OptionNew = 0x1;
    /// Tell the observer the old value.
    static constexpr std::uint32_t OptionOld = 0x2;
    /// Also tell the observer the current value at once, on registration.
    static constexpr std::uint32_t OptionInitial = 0x4;
    /// Also tell the observer before each change.
    static constexpr std::uint32_t OptionPrior = 0x8;

    /// Told of a change of `key`; called on the thread making the change.
    using Observer = std::function<void(const std::string& key, const KeyValueChange& change)>;

    virtual ~KeyValueObservable() = default;

    /// Registers `observer` for changes of `key` until the returned token is
    /// destroyed. An observer may remove registrations while it is told of a change.
    [[nodiscard]] std::shared_ptr<void> addObserverForKey(
        const std::string& key, std::uint32_t options, Observer observer);

    /// The current value of an observable property; null for unknown keys.
    [[nodiscard]] virtual Value valueForKey(const std::string& key) const = 0;

    /// Announces that the property `key` is about to change: reads its old value
    /// for observers that want it and tells those that asked for prior notices.
    /// Pair each call with one `didChangeValueForKey`; pairs may nest.
    void willChangeValueForKey(const std::string& key);
    /// Announces that the property `key` has changed: every observer of `key` is
    /// told, with the old and new values it asked for.
    void didChangeValueForKey(const std::string& key);

private:
    struct Registration {
        std::string key;
        std::uint32_t options;
        Observer observer;
        bool active = true;
    };
    struct State {
        std::mutex mutex;
        std::vector<std::shared_ptr<Registration>> registrations;
        std::map<std::string, std::vector<Value>> oldValues; // a stack per key, for nested changes
    };

    std::vector<std::shared_ptr<Registration>> registrationsFor(const std::string& key) const;

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace lumora::platform
