#pragma once

#include "platform/formats/Coding.h"
#include "platform/foundation/Data.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// Writes keyed archives in the format standard keyed archivers write: a
/// binary property list with "$archiver" = "NSKeyedArchiver", "$version" =
/// 100000, "$top" (the root keys, "root" for the root object) and "$objects"
/// (entry 0 is "$null"; every object is one entry, referenced by UID; an
/// object of a class is a dictionary whose "$class" refers to a class record
/// with "$classname" and "$classes").
///
/// Strings, numbers and data are entries of their own; dates, URLs, arrays
/// and dictionaries are written as NSDate, NSURL, NSArray and NSDictionary
/// records; other objects must adopt Coding. The same array, dictionary or
/// object (by identity), and equal strings, are written once.
class KeyedArchiver final : public Coder {
public:
    /// The "$archiver" value of every archive written.
    static constexpr std::string_view ArchiverName = "NSKeyedArchiver";
    /// The "$version" value of every archive written.
    static constexpr std::int64_t ArchiveVersion = 100000;

    /// The archive of `object` as the root object, or nullopt with `*error`
    /// set (when `error` is given) if something in it cannot be archived. With
    /// `requiringSecureCoding`, every object's class must support secure coding.
    static std::optional<Data> archivedDataWithRootObject_requiringSecureCoding_error(
        const Value& object, bool requiringSecureCoding, ErrorRef* error);

    /// An archiver to encode into with the Coder operations, then
    /// `finishEncoding`; with `requiringSecureCoding`, every object's class must
    /// support secure coding.
    explicit KeyedArchiver(bool requiringSecureCoding);

    void encodeObject_forKey(const Value& object, std::string_view key) override;
    void encodeBool_forKey(bool value, std::string_view key) override;
    /// Stores the integer `value` under `key` in the current record.
    void encodeInt64_forKey(std::int64_t value, std::string_view key) override;
    /// Stores the float `value` under `key` in the current record.
    void encodeDouble_forKey(double value, std::string_view key) override;

    /// Ends the archive; nothing can be encoded afterwards.
    void finishEncoding();
    /// The archive once finished, or nullopt when archiving failed.
    [[nodiscard]] std::optional<Data> encodedData() const;

    /// Whether every object's class must support secure coding.
    [[nodiscard]] bool requiresSecureCoding() const override { return requiringSecureCoding_; }
    [[nodiscard]] ErrorRef error() const override { return error_; }
    void failWithError(const ErrorRef& error) override;

private:
    std::uint64_t encodeValue(const Value& value);
    std::uint64_t append(Value entry);
    std::uint64_t classReference(const CodingClass& objectClass);
    std::shared_ptr<Dictionary>& currentRecord() { return records_.back(); }

    bool requiringSecureCoding_;
    bool finished_ = false;
    ErrorRef error_;
    // The archiver's bookkeeping lives in one arena, inside the archiver
    // while a small archive fits in it.
    static constexpr std::size_t kArenaSize = 4096;
    std::array<std::byte, kArenaSize> arenaBuffer_ {};
    std::pmr::monotonic_buffer_resource arena_ { arenaBuffer_.data(), arenaBuffer_.size() };
    std::pmr::vector<Value> objects_ { std::pmr::polymorphic_allocator<Value>(&arena_) };
    std::pmr::vector<std::shared_ptr<Dictionary>> records_ { &arena_ }; // records being filled; the first is "$top"
    std::pmr::map<const void*, std::uint64_t> byIdentity_ { &arena_ };
    std::pmr::vector<Value> retained_ { std::pmr::polymorphic_allocator<Value>(&arena_) };
    std::pmr::map<std::pmr::string, std::uint64_t, std::less<>> strings_ { &arena_ };
    std::pmr::map<std::pmr::string, std::uint64_t, std::less<>> classes_ { &arena_ };
    std::optional<Data> data_;
};

} // namespace lumora::platform
