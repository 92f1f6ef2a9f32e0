#include "platform/foundation/Invocation.h"

#include <utility>

namespace lumora::platform {

namespace {

class NullPlaceholder final : public Object {
public:
    [[nodiscard]] std::string className() const override { return "Null"; }
    [[nodiscard]] std::string description() const override { return "<null>"; }
};

} // namespace

Invocation::Invocation(ObjectRef target, std::string selector, std::vector<Value> arguments, Body body)
    : target_(std::move(target)), selector_(std::move(selector)), body_(std::move(body))
{
    arguments_.reserve(arguments.size());
    for (auto& argument : arguments) {
        if (auto object = argument.object()) {
            arguments_.push_back(Argument { {}, object, true });
        } else {
            arguments_.push_back(Argument { std::move(argument), {}, false });
        }
    }
}

ObjectRef Invocation::target() const
{
    std::lock_guard lock(mutex_);
    return target_;
}

void Invocation::setTarget(ObjectRef target)
{
    ObjectRef previous;
    std::lock_guard lock(mutex_);
    // The old target goes after the lock is let go: its destruction may run
    // code that reads this invocation.
    previous = std::exchange(target_, std::move(target));
}

bool Invocation::argumentsRetained() const
{
    std::lock_guard lock(mutex_);
    return retained_;
}

void Invocation::retainArguments()
{
    std::lock_guard lock(mutex_);
    if (retained_) {
        return;
    }
    retained_ = true;
    for (auto& argument : arguments_) {
        if (argument.isWeakObject) {
            argument.value = Value(argument.weak.lock());
            argument.weak.reset();
            argument.isWeakObject = false;
        }
    }
}

std::vector<Value> Invocation::arguments() const
{
    std::lock_guard lock(mutex_);
    std::vector<Value> values;
    values.reserve(arguments_.size());
    for (const auto& argument : arguments_) {
        values.push_back(argument.isWeakObject ? Value(argument.weak.lock()) : argument.value);
    }
    return values;
}

void Invocation::invoke()
{
    if (body_) {
        body_(target(), arguments());
    }
}

const ObjectRef& Invocation::nullPlaceholder()
{
    // Never destroyed: connection threads may still release invocations
    // that point at it while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const placeholder = new const ObjectRef(std::make_shared<NullPlaceholder>());
    return *placeholder;
}

} // namespace lumora::platform
