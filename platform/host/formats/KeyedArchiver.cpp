#include "platform/formats/KeyedArchiver.h"

#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

#include <fmt/format.h>

namespace lumora::platform {

namespace {

// Seconds between 1970-01-01 and 2001-01-01, the reference date of archived dates.
constexpr double kReferenceDateOffset = 978307200.0;

// The class records of the value classes.
const CodingClass& classOfValue(const Value& value)
{
    if (value.isDate()) {
        return CodingClass::date();
    }
    if (value.isURL()) {
        return CodingClass::url();
    }
    if (value.isArray()) {
        return CodingClass::array();
    }
    return CodingClass::dictionary();
}

} // namespace

std::optional<Data> KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
    const Value& object, bool requiringSecureCoding, ErrorRef* error)
{
    KeyedArchiver archiver(requiringSecureCoding);
    archiver.encodeObject_forKey(object, RootObjectKey);
    archiver.finishEncoding();
    if (error != nullptr) {
        *error = archiver.error();
    }
    return archiver.encodedData();
}

KeyedArchiver::KeyedArchiver(bool requiringSecureCoding) : requiringSecureCoding_(requiringSecureCoding)
{
    constexpr std::size_t kTypicalObjects = 32;
    objects_.reserve(kTypicalObjects);
    retained_.reserve(kTypicalObjects / 2);
    objects_.emplace_back("$null");
    records_.push_back(std::make_shared<Dictionary>());
}

void KeyedArchiver::encodeObject_forKey(const Value& object, std::string_view key)
{
    if (finished_ || error_) {
        return;
    }
    const std::uint64_t uid = encodeValue(object);
    currentRecord()->insert_or_assign(std::string(key), PropertyList::uidValue(uid));
}

void KeyedArchiver::encodeBool_forKey(bool value, std::string_view key)
{
    if (!finished_) {
        currentRecord()->insert_or_assign(std::string(key), Value(value));
    }
}

void KeyedArchiver::encodeInt64_forKey(std::int64_t value, std::string_view key)
{
    if (!finished_) {
        currentRecord()->insert_or_assign(std::string(key), Value(value));
    }
}

void KeyedArchiver::encodeDouble_forKey(double value, std::string_view key)
{
    if (!finished_) {
        currentRecord()->insert_or_assign(std::string(key), Value(value));
    }
}

void KeyedArchiver::finishEncoding()
{
    if (finished_) {
        return;
    }
    finished_ = true;
    if (error_) {
        return;
    }
    auto archive = std::make_shared<Dictionary>();
    archive->emplace("$archiver", Value(ArchiverName));
    archive->emplace("$version", Value(ArchiveVersion));
    archive->emplace("$top", Value(records_.front()));
    archive->emplace("$objects", Value(std::make_shared<Array>(objects_.begin(), objects_.end())));
    data_ = PropertyList::dataFromValue(Value(std::move(archive)), PropertyList::Format::Binary);
    if (!data_) {
        failWithError(CoderError::make(CoderError::InvalidValue, "the archive has no property-list form"));
    }
}

std::optional<Data> KeyedArchiver::encodedData() const
{
    if (error_) {
        return std::nullopt;
    }
    return data_;
}

void KeyedArchiver::failWithError(const ErrorRef& error)
{
    if (!error_) {
        error_ = error;
    }
}

std::uint64_t KeyedArchiver::append(Value entry)
{
    objects_.push_back(std::move(entry));
    return objects_.size() - 1;
}

std::uint64_t KeyedArchiver::classReference(const CodingClass& objectClass)
{
    if (const auto found = classes_.find(std::string_view(objectClass.name())); found != classes_.end()) {
        return found->second;
    }
    const std::uint64_t uid = append(objectClass.archivedRecord());
    classes_.emplace(std::string_view(objectClass.name()), uid);
    return uid;
}

std::uint64_t KeyedArchiver::encodeValue(const Value& value)
{
    if (error_ || value.isNull()) {
        return 0;
    }
    if (value.isNumber() || value.isData()) {
        return append(value);
    }
    if (const auto* text = value.string()) {
        if (const auto found = strings_.find(std::string_view(*text)); found != strings_.end()) {
            return found->second;
        }
        const std::uint64_t uid = append(value);
        strings_.emplace(std::string_view(*text), uid);
        return uid;
    }
    // What the unarchiver would refuse as too deep is not written either.
    if (records_.size() > KeyedUnarchiver::MaximumDepth) {
        failWithError(CoderError::make(
            CoderError::InvalidValue, fmt::format("objects nested deeper than {}", KeyedUnarchiver::MaximumDepth)));
        return 0;
    }

    const void* identity = nullptr;
    if (const auto array = value.array()) {
        identity = array.get();
    } else if (const auto dictionary = value.dictionary()) {
        identity = dictionary.get();
    } else if (const auto object = value.object()) {
        identity = object.get();
    }
    if (identity != nullptr) {
        if (const auto found = byIdentity_.find(identity); found != byIdentity_.end()) {
            return found->second;
        }
    }

    const Coding* coding = nullptr;
    if (const auto object = value.object()) {
        coding = dynamic_cast<const Coding*>(object.get());
        if (coding == nullptr) {
            failWithError(CoderError::make(CoderError::InvalidValue,
                fmt::format("objects of class '{}' cannot be archived", object->className())));
            return 0;
        }
        if (requiringSecureCoding_ && !coding->classForCoder().supportsSecureCoding()) {
            failWithError(CoderError::make(CoderError::InvalidValue,
                fmt::format("class '{}' does not support secure coding", coding->classForCoder().name())));
            return 0;
        }
    }

    // The entry is reserved before its contents are written, so that a
    // reference back to it (a cycle) finds it. Keeping the value alive keeps
    // its identity from being reused by another container while archiving.
    auto record = std::make_shared<Dictionary>();
    const std::uint64_t uid = append(Value(record));
    if (identity != nullptr) {
        byIdentity_.emplace(identity, uid);
    }
    records_.push_back(record);
    const CodingClass* recordClass = nullptr;
    if (coding != nullptr) {
        coding->encodeWithCoder(*this);
        recordClass = &coding->classForCoder();
    } else if (const auto date = value.date()) {
        record->emplace("NS.time", Value(date->timeIntervalSince1970() - kReferenceDateOffset));
    } else if (const auto url = value.url()) {
        record->emplace("NS.base", PropertyList::uidValue(0));
        record->emplace("NS.relative", PropertyList::uidValue(encodeValue(Value(url->absoluteString()))));
    } else if (const auto array = value.array()) {
        auto references = std::make_shared<Array>();
        references->reserve(array->size());
        for (const auto& element : *array) {
            references->push_back(PropertyList::uidValue(encodeValue(element)));
        }
        record->emplace("NS.objects", Value(std::move(references)));
    } else if (const auto dictionary = value.dictionary()) {
        auto keys = std::make_shared<Array>();
        auto objects = std::make_shared<Array>();
        for (const auto& [key, element] : *dictionary) {
            keys->push_back(PropertyList::uidValue(encodeValue(Value(key))));
            objects->push_back(PropertyList::uidValue(encodeValue(element)));
        }
        record->emplace("NS.keys", Value(std::move(keys)));
        record->emplace("NS.objects", Value(std::move(objects)));
    }
    records_.pop_back();
    record->insert_or_assign(
        "$class", PropertyList::uidValue(classReference(recordClass != nullptr ? *recordClass : classOfValue(value))));
    retained_.push_back(value);
    return uid;
}

} // namespace lumora::platform
