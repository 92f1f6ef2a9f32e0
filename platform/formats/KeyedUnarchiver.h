#pragma once

#include "platform/formats/Coding.h"
#include "platform/foundation/Data.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// Reads keyed archives (see KeyedArchiver) with secure decoding, always:
/// every object is decoded with the classes allowed for it named, and a value
/// of another class is refused.
///
/// Nothing in an archive is trusted. Data that is not a property list, a
/// wrong structure, a reference to an entry that does not exist, a class
/// record without a name, a cycle of references, or nesting deeper than
/// `MaximumDepth` fail with CoderError::ReadCorrupt and never crash. An entry
/// referenced more than once is decoded once.
class KeyedUnarchiver final : public Coder {
public:
    /// The deepest nesting of objects an archive may hold (an archive is a
    /// binary property list, so its own nesting is bounded by
    /// `PropertyList::MaximumDepth` before any object is decoded). The
    /// archiver refuses to write deeper.
    static constexpr std::size_t MaximumDepth = 256;

    /// The root object of the archive `data` if its class is one of `classes`;
    /// otherwise nothing, with `*error` set (when `error` is given).
    static Value unarchivedObjectOfClasses_fromData_error(
        const CodingClasses& classes, const Data& data, ErrorRef* error);
    /// `unarchivedObjectOfClasses_fromData_error` with the single allowed class
    /// `objectClass`.
    static Value unarchivedObjectOfClass_fromData_error(
        const CodingClass& objectClass, const Data& data, ErrorRef* error)
    {
        return unarchivedObjectOfClasses_fromData_error({ &objectClass }, data, error);
    }
    /// The root object as a `T`, a class with a static `codingClass()`.
    template <class T>
    static std::shared_ptr<T> unarchivedObjectOfClass_fromData_error(const Data& data, ErrorRef* error)
    {
        return unarchivedObjectOfClass_fromData_error(T::codingClass(), data, error).template objectAs<T>();
    }

    /// An unarchiver reading `data`; when `data` is no keyed archive, `error()`
    /// says why and every decoding operation reads as nothing.
    explicit KeyedUnarchiver(const Data& data);

    /// Always true: decoding is always secure.
    [[nodiscard]] bool requiresSecureCoding() const override { return true; }
    /// Whether the object being decoded has a value under `key`.
    [[nodiscard]] bool containsValueForKey(std::string_view key) const override;
    Value decodeObjectOfClasses_forKey(const CodingClasses& classes, std::string_view key) override;
    bool decodeBoolForKey(std::string_view key) override;
    /// The integer under `key`; 0 when missing. A value that is not a number
    /// fails decoding (CoderError::ReadCorrupt) and reads as 0.
    std::int64_t decodeInt64ForKey(std::string_view key) override;
    /// The float under `key`; 0 when missing. A value that is not a number
    /// fails decoding (CoderError::ReadCorrupt) and reads as 0.
    double decodeDoubleForKey(std::string_view key) override;

    [[nodiscard]] ErrorRef error() const override { return error_; }
    void failWithError(const ErrorRef& error) override;

private:
    struct Resolved;

    Value decodeReference(std::uint64_t uid, const CodingClasses& classes, std::string_view key, bool insideCollection);
    bool resolveClass(const Value& entry, const CodingClasses& classes, Resolved& resolved);
    Value build(const Resolved& resolved, const CodingClasses& classes);
    Value buildArray(const Dictionary& record, const CodingClasses& classes);
    Value buildDictionary(const Dictionary& record, const CodingClasses& classes);
    const Value* plainValue(std::string_view key, std::string_view expected);
    void fail(std::string detail);

    ErrorRef error_;
    ArrayRef objects_;
    std::vector<DictionaryRef> records_; // records being read; the first is "$top"
    std::map<std::uint64_t, Value> decoded_;
    std::set<std::uint64_t> inProgress_;
};

} // namespace lumora::platform
