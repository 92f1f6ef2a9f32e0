#pragma once

#include "platform/foundation/Object.h"

#include <cstdint>

namespace lumora::platform {

/// An input event that views are asked about while it is being delivered.
class Event final : public Object {
public:
    /// What kind of input the event carries.
    enum class Type : std::int64_t { Touches = 0, Motion = 1, RemoteControl = 2, Presses = 3 };

    /// An event of `type` that happened at `timestamp` (seconds of device uptime).
    Event(Type type, double timestamp) : type_(type), timestamp_(timestamp) { }

    /// What kind of input the event carries.
    [[nodiscard]] Type type() const { return type_; }
    /// Seconds of device uptime at which the event happened.
    [[nodiscard]] double timestamp() const { return timestamp_; }

    [[nodiscard]] std::string className() const override { return "Event"; }

private:
    Type type_;
    double timestamp_;
};

} // namespace lumora::platform
