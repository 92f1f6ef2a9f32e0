#pragma once

#include "platform/foundation/Object.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace lumora::platform {

/// A class known to the run time by name. Code that must not link against a
/// class (because it exists only in some processes) finds it with
/// `Runtime::classNamed` and tests objects against it by name.
class RuntimeClass final {
public:
    /// Makes a new instance of the class; empty when the class cannot be
    /// instantiated on its own.
    using Factory = std::function<ObjectRef()>;

    /// A class named `name` that derives from the class named `superclassName`
    /// ("" for a root class), instantiated by `factory` (may be empty).
    RuntimeClass(std::string name, std::string superclassName, Factory factory)
        : name_(std::move(name)), superclassName_(std::move(superclassName)), factory_(std::move(factory))
    { }

    /// The class's name.
    [[nodiscard]] const std::string& name() const { return name_; }
    /// The name of the class it derives from; "" for a root class.
    [[nodiscard]] const std::string& superclassName() const { return superclassName_; }
    /// A new instance made by plain initialisation, or null when the class
    /// cannot be instantiated on its own.
    [[nodiscard]] ObjectRef createInstance() const { return factory_ ? factory_() : nullptr; }
    /// Whether `object` is an instance of this class or of a subclass.
    [[nodiscard]] bool isClassOf(const Object& object) const { return object.isKindOfClassNamed(name_); }

private:
    std::string name_;
    std::string superclassName_;
    Factory factory_;
};

/// The run time's registry of classes loaded into the process.
class Runtime {
public:
    /// The loaded class of that name, or null.
    static std::shared_ptr<const RuntimeClass> classNamed(std::string_view name);
    /// Called when code that defines the class is loaded (or unloaded).
    static void registerClass(std::shared_ptr<const RuntimeClass> runtimeClass);
    /// Forgets the class of that name, when code that defines it is unloaded;
    /// does nothing when no such class is registered.
    static void unregisterClass(std::string_view name);
};

} // namespace lumora::platform
