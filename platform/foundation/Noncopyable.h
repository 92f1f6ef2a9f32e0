#pragma once

namespace lumora::platform {

/// A base for classes whose objects have identity: interfaces, protocols and
/// class objects are neither copied nor moved, only referred to.
class Noncopyable {
public:
    Noncopyable(const Noncopyable&) = delete;
    Noncopyable& operator=(const Noncopyable&) = delete;
    Noncopyable(Noncopyable&&) = delete;
    Noncopyable& operator=(Noncopyable&&) = delete;

protected:
    Noncopyable() = default;
    ~Noncopyable() = default;
};

} // namespace lumora::platform
