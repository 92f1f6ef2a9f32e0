#pragma once

#include <memory>
#include <string>

namespace lumora::platform {

/// The root of every reference-counted platform and framework object.
///
/// Objects live in `std::shared_ptr`s; an object that needs to hand out weak
/// references to itself uses `weak_from_this()`. `className()` is the name the
/// object answers to at run time: keyed archives record it, secure decoding
/// checks it, and run-time class lookups compare against it.
class Object : public std::enable_shared_from_this<Object> {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    Object(Object&&) = delete;
    Object& operator=(Object&&) = delete;
    virtual ~Object() = default;

    /// The name of the object's class at run time.
    [[nodiscard]] virtual std::string className() const { return "Object"; }

    /// A short human-readable description, used by "%@" in log texts.
    [[nodiscard]] virtual std::string description() const;

    /// Whether this object's class is `name` or inherits from a class of that name.
    [[nodiscard]] virtual bool isKindOfClassNamed(const std::string& name) const { return name == "Object"; }

protected:
    /// A strong reference to `self` typed as its own class; null while no
    /// `shared_ptr` owns the object (during construction, for instance).
    template <class Self> std::shared_ptr<Self> sharedFrom(Self* self)
    {
        auto owner = weak_from_this().lock();
        if (!owner) {
            return nullptr;
        }
        return std::shared_ptr<Self>(std::move(owner), self);
    }

    /// A weak reference to `self` typed as its own class; expired while no
    /// `shared_ptr` owns the object.
    template <class Self> std::weak_ptr<Self> weakFrom(Self* self) { return sharedFrom(self); }
};

using ObjectRef = std::shared_ptr<Object>;

} // namespace lumora::platform
