#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

class Coder;

/// A class as keyed archiving sees it: the name an archive records, the class
/// chain written beside it, whether the class decodes securely, and how an
/// instance is built from an archive.
///
/// Secure decoding instantiates only the classes a caller names, so a class
/// descriptor is what a caller passes to say "allow this class here". The
/// property-list value classes (numbers, strings, data, dates, arrays,
/// dictionaries) and URLs have descriptors of their own; they decode to
/// Values of the matching kind. Archives name them with the class names
/// that standard keyed unarchivers expect, so that those read them.
class CodingClass {
public:
    /// Builds an instance from the archive `coder` is reading ("initWithCoder:").
    using Initializer = std::function<ObjectRef(Coder& coder)>;

    /// `classes` is the chain written to archives, the class itself first and
    /// the root class ("NSObject") last.
    CodingClass(std::string name, std::vector<std::string> classes, bool supportsSecureCoding, Initializer initializer);

    /// The name archives record for the class ("$classname").
    [[nodiscard]] const std::string& name() const { return name_; }
    /// The class chain archives record ("$classes"), the class itself first.
    [[nodiscard]] const std::vector<std::string>& classes() const { return classes_; }
    /// Whether the class decodes securely, and so may be decoded from a secure
    /// unarchiver.
    [[nodiscard]] bool supportsSecureCoding() const { return supportsSecureCoding_; }
    /// Null for the value classes, which the unarchiver builds itself.
    [[nodiscard]] const Initializer& initializer() const { return initializer_; }
    /// The class's record in a keyed archive ("$classname" and "$classes"),
    /// made once: every archive that holds an object of the class shares it.
    [[nodiscard]] const Value& archivedRecord() const { return archivedRecord_; }

    /// Numbers and booleans; decode to a numeric Value.
    static const CodingClass& number();
    /// Strings; decode to a string Value.
    static const CodingClass& string();
    /// Bytes; decode to a data Value.
    static const CodingClass& data();
    /// Dates; decode to a date Value.
    static const CodingClass& date();
    /// Arrays; decode to an array Value.
    static const CodingClass& array();
    /// Dictionaries; decode to a dictionary Value.
    static const CodingClass& dictionary();
    /// URLs; decode to a URL Value.
    static const CodingClass& url();

    /// The name archives record for the root object class.
    static constexpr std::string_view RootClassName = "NSObject";

private:
    std::string name_;
    std::vector<std::string> classes_;
    bool supportsSecureCoding_;
    Initializer initializer_;
    Value archivedRecord_;
};

using CodingClasses = std::vector<const CodingClass*>;

/// The keyed-archiving protocol: an object that can write itself to a keyed
/// archive. Its class-level side (secure coding, the initializer) is its
/// CodingClass.
class Coding : private platform::Noncopyable {
public:
    virtual ~Coding() = default;

    /// Writes the object's state to `coder` by key ("encodeWithCoder:").
    virtual void encodeWithCoder(Coder& coder) const = 0;
    /// The class the archive records for this object.
    [[nodiscard]] virtual const CodingClass& classForCoder() const = 0;
};

/// The secure variant of the protocol. An object adopting it decodes every
/// object it reads with the classes it expects named; its CodingClass says so
/// by answering true to `supportsSecureCoding`.
class SecureCoding : public Coding { };

/// Errors of keyed archiving and unarchiving (codes as the platform defines them).
struct CoderError {
    /// The error domain of keyed archiving errors.
    static constexpr std::string_view Domain = "lumora.platform.Coder";
    /// The archive is damaged, or holds a value of a class that was not allowed.
    static constexpr std::int64_t ReadCorrupt = 4864;
    /// The archive holds no root object.
    static constexpr std::int64_t ValueNotFound = 4865;
    /// A value cannot be archived.
    static constexpr std::int64_t InvalidValue = 4866;
    /// The user-info key of the error's detailed, developer-facing text.
    static constexpr std::string_view DebugDescriptionKey = "DebugDescription";

    /// An error of this domain with `code`, the platform's localized description
    /// for it and `debugDescription` under DebugDescriptionKey.
    static ErrorRef make(std::int64_t code, std::string debugDescription);
};

/// Writes or reads a keyed archive. A coder works in one direction: the
/// operations of the other direction do nothing and read as nothing.
///
/// Decoding failures do not raise: the first failure is kept as `error()`,
/// and from then on every decoding operation reads as nothing.
class Coder : private platform::Noncopyable {
public:
    virtual ~Coder() = default;

    /// The key under which the root object of an archive is stored.
    static constexpr std::string_view RootObjectKey = "root";

    // ---- Encoding --------------------------------------------------------------
    /// Encodes `object` as an object of its own, referenced from `key`. A
    /// number is an object too: it becomes its own entry of the archive.
    virtual void encodeObject_forKey(const Value& object, std::string_view key);
    /// Encode a plain value stored under `key` itself, not as an object.
    virtual void encodeBool_forKey(bool value, std::string_view key);
    /// Encodes a 64-bit integer under `key`.
    virtual void encodeInt64_forKey(std::int64_t value, std::string_view key);
    /// Encodes a float under `key`.
    virtual void encodeDouble_forKey(double value, std::string_view key);

    // ---- Decoding --------------------------------------------------------------
    /// Whether decoding only instantiates the classes each call names (always
    /// true for the unarchivers this platform makes).
    [[nodiscard]] virtual bool requiresSecureCoding() const = 0;
    /// Whether the object being decoded has a value under `key`; false while
    /// encoding.
    [[nodiscard]] virtual bool containsValueForKey(std::string_view key) const;
    /// The object under `key` if its class is one of `classes`; nothing when
    /// the key is missing. Any other class is refused: decoding fails with
    /// CoderError::ReadCorrupt. Inside an allowed array or dictionary the
    /// property-list value classes are allowed as well.
    virtual Value decodeObjectOfClasses_forKey(const CodingClasses& classes, std::string_view key);
    /// `decodeObjectOfClasses_forKey` with the single allowed class `objectClass`.
    Value decodeObjectOfClass_forKey(const CodingClass& objectClass, std::string_view key)
    {
        return decodeObjectOfClasses_forKey({ &objectClass }, key);
    }
    /// Plain values; a missing key reads as false or 0.
    virtual bool decodeBoolForKey(std::string_view key);
    /// The 64-bit integer under `key`; 0 when missing.
    virtual std::int64_t decodeInt64ForKey(std::string_view key);
    /// The float under `key`; 0 when missing.
    virtual double decodeDoubleForKey(std::string_view key);

    /// The failure that stopped coding, or null.
    [[nodiscard]] virtual ErrorRef error() const = 0;
    /// Stops coding with `error` (the first failure is kept).
    virtual void failWithError(const ErrorRef& error) = 0;
};

} // namespace lumora::platform
