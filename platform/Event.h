#pragma once

#include "platform/Object.h"

#include <cstdint>

namespace lumora::platform {

/// An input event that views are asked about while it is being delivered.
class Event final : public Object {
public:
    enum class Type : std::int64_t { Touches = 0, Motion = 1, RemoteControl = 2, Presses = 3 };

    Event(Type type, double timestamp) : type_(type), timestamp_(timestamp) { }

    [[nodiscard]] Type type() const { return type_; }
    /// Seconds of device uptime at which the event happened.
    [[nodiscard]] double timestamp() const { return timestamp_; }

    [[nodiscard]] std::string className() const override { return "Event"; }

private:
    Type type_;
    double timestamp_;
};

} // namespace lumora::platform
