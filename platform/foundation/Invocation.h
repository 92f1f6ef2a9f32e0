#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumora::platform {

/// A decoded message: a target, the message's name and its arguments, and the
/// code that performs it. Until `retainArguments()` the invocation holds
/// object arguments weakly, as a message in flight does; after it, the
/// invocation keeps every argument alive until it is destroyed.
///
/// A connection may retarget or perform an invocation on its own thread while
/// another thread reads it; every accessor may be called from any thread.
class Invocation final : public Object {
public:
    /// Performs the message on `target` with `arguments`.
    using Body = std::function<void(const ObjectRef& target, const std::vector<Value>& arguments)>;

    /// An invocation of `selector` on `target` with `arguments`, performed by
    /// `body`. Object arguments are held weakly until `retainArguments()`.
    Invocation(ObjectRef target, std::string selector, std::vector<Value> arguments, Body body);

    /// The message's name, with colons.
    [[nodiscard]] const std::string& selector() const { return selector_; }
    /// The object the message is performed on; may be null.
    [[nodiscard]] ObjectRef target() const;
    /// Replaces the target (nullPlaceholder() for "no target any more").
    void setTarget(ObjectRef target);

    /// Makes the invocation keep its arguments alive.
    void retainArguments();
    /// Whether `retainArguments()` has been called.
    [[nodiscard]] bool argumentsRetained() const;
    /// The arguments as they stand: an object argument whose owners have all
    /// let go reads as null unless the arguments were retained.
    [[nodiscard]] std::vector<Value> arguments() const;

    /// Performs the message on the calling thread.
    void invoke();

    /// The platform's null placeholder object: a target that stands for "no
    /// target any more".
    static const ObjectRef& nullPlaceholder();

    [[nodiscard]] std::string className() const override { return "Invocation"; }

private:
    struct Argument {
        Value value; // the argument itself, when it is not an object or is retained
        std::weak_ptr<Object> weak; // an object argument not (yet) retained
        bool isWeakObject = false;
    };

    mutable std::mutex mutex_;
    ObjectRef target_;
    std::string selector_;
    std::vector<Argument> arguments_;
    Body body_;
    bool retained_ = false;
};

} // namespace lumora::platform
