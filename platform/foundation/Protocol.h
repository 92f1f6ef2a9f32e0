#pragma once

#include <memory>

namespace lumora::platform {

/// Optional protocol operations.
///
/// A protocol is a class with a virtual destructor; its required operations
/// are pure virtual members. Each optional operation is a nested interface
/// that derives virtually from the protocol and declares that one operation,
/// so an object answers an optional operation exactly when it derives from
/// its interface:
///
///     class LMScreenRecorderDelegate { ... class ScreenRecorderDidChangeAvailability; };
///     class Observer final : public LMScreenRecorderDelegate::ScreenRecorderDidChangeAvailability { ... };
///
/// `answering<Operation>(delegate)` asks whether a delegate answers the
/// operation and returns it as that interface, or null.
template <class Operation, class Protocol>
std::shared_ptr<Operation> answering(const std::shared_ptr<Protocol>& delegate)
{
    return std::dynamic_pointer_cast<Operation>(delegate);
}

template <class Operation, class Protocol> std::shared_ptr<Operation> answering(const std::weak_ptr<Protocol>& delegate)
{
    return std::dynamic_pointer_cast<Operation>(delegate.lock());
}

} // namespace lumora::platform
