#include "platform/formats/KeyedUnarchiver.h"

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/PropertyList.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

namespace lumora::platform {

namespace {

// Seconds between 1970-01-01 and 2001-01-01, the reference date of archived dates.
constexpr double kReferenceDateOffset = 978307200.0;

// The value classes under every name standard archivers write them with.
const CodingClass* valueClassNamed(std::string_view name)
{
    static const std::array<std::pair<std::string_view, const CodingClass*>, 11> table { {
        { "NSNumber", &CodingClass::number() },
        { "NSString", &CodingClass::string() },
        { "NSMutableString", &CodingClass::string() },
        { "NSData", &CodingClass::data() },
        { "NSMutableData", &CodingClass::data() },
        { "NSDate", &CodingClass::date() },
        { "NSArray", &CodingClass::array() },
        { "NSMutableArray", &CodingClass::array() },
        { "NSDictionary", &CodingClass::dictionary() },
        { "NSMutableDictionary", &CodingClass::dictionary() },
        { "NSURL", &CodingClass::url() },
    } };
    const auto* const found
        = std::find_if(table.begin(), table.end(), [name](const auto& row) { return row.first == name; });
    return found == table.end() ? nullptr : found->second;
}

bool isPropertyListClass(const CodingClass* objectClass)
{
    return objectClass == &CodingClass::number() || objectClass == &CodingClass::string()
        || objectClass == &CodingClass::data() || objectClass == &CodingClass::date()
        || objectClass == &CodingClass::array() || objectClass == &CodingClass::dictionary();
}

std::string namesOf(const CodingClasses& classes)
{
    std::string names;
    for (const auto* objectClass : classes) {
        names += (names.empty() ? "" : ", ") + objectClass->name();
    }
    return "{" + names + "}";
}

} // namespace

struct KeyedUnarchiver::Resolved {
    // The value class, or the caller's class for an object of a class.
    const CodingClass* objectClass = nullptr;
    std::string name;
    DictionaryRef record;
};

Value KeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
    const CodingClasses& classes, const Data& data, ErrorRef* error)
{
    KeyedUnarchiver unarchiver(data);
    Value root = unarchiver.decodeObjectOfClasses_forKey(classes, RootObjectKey);
    if (!unarchiver.error() && !unarchiver.containsValueForKey(RootObjectKey)) {
        unarchiver.failWithError(CoderError::make(CoderError::ValueNotFound, "the archive has no root object"));
    }
    if (error != nullptr) {
        *error = unarchiver.error();
    }
    return unarchiver.error() ? Value() : root;
}

KeyedUnarchiver::KeyedUnarchiver(const Data& data)
{
    const auto plist = PropertyList::valueFromData(data);
    if (!plist) {
        fail("the data is not a property list");
        return;
    }
    const auto archive = plist->dictionary();
    if (!archive) {
        fail("the property list is not a dictionary");
        return;
    }
    const auto* archiver = archive->valueForKey("$archiver").string();
    if (archiver == nullptr || *archiver != KeyedArchiver::ArchiverName) {
        fail("the archive was not written by a keyed archiver");
        return;
    }
    const Value& version = archive->valueForKey("$version");
    if (!version.isInteger() || version.int64Value() != KeyedArchiver::ArchiveVersion) {
        fail("the archive has an unknown version");
        return;
    }
    auto top = archive->valueForKey("$top").dictionary();
    objects_ = archive->valueForKey("$objects").array();
    if (!top || !objects_ || objects_->empty()) {
        fail("the archive lacks its top-level keys or its objects");
        return;
    }
    records_.push_back(std::move(top));
}

bool KeyedUnarchiver::containsValueForKey(std::string_view key) const
{
    return !records_.empty() && records_.back()->find(key) != records_.back()->end();
}

Value KeyedUnarchiver::decodeObjectOfClasses_forKey(const CodingClasses& classes, std::string_view key)
{
    if (error_ || records_.empty()) {
        return {};
    }
    const Value& reference = records_.back()->valueForKey(key);
    if (reference.isNull()) {
        return {};
    }
    const auto uid = PropertyList::uidFromValue(reference);
    if (!uid) {
        fail(fmt::format("value for key '{}' is not an object reference", key));
        return {};
    }
    return decodeReference(*uid, classes, key, false);
}

const Value* KeyedUnarchiver::plainValue(std::string_view key, std::string_view expected)
{
    if (error_ || records_.empty()) {
        return nullptr;
    }
    const Value& value = records_.back()->valueForKey(key);
    if (value.isNull()) {
        return nullptr;
    }
    if (!value.isNumber()) {
        fail(fmt::format("value for key '{}' is not {}", key, expected));
        return nullptr;
    }
    return &value;
}

bool KeyedUnarchiver::decodeBoolForKey(std::string_view key)
{
    const Value* value = plainValue(key, "a boolean");
    return value != nullptr && value->boolValue();
}

std::int64_t KeyedUnarchiver::decodeInt64ForKey(std::string_view key)
{
    const Value* value = plainValue(key, "an integer");
    return value != nullptr ? value->int64Value() : 0;
}

double KeyedUnarchiver::decodeDoubleForKey(std::string_view key)
{
    const Value* value = plainValue(key, "a number");
    return value != nullptr ? value->doubleValue() : 0.0;
}

void KeyedUnarchiver::failWithError(const ErrorRef& error)
{
    if (!error_) {
        error_ = error;
    }
}

void KeyedUnarchiver::fail(std::string detail)
{
    failWithError(CoderError::make(CoderError::ReadCorrupt, std::move(detail)));
}

Value KeyedUnarchiver::decodeReference(
    std::uint64_t uid, const CodingClasses& classes, std::string_view key, bool insideCollection)
{
    if (error_ || uid == 0) {
        return {};
    }
    if (uid >= objects_->size()) {
        fail(fmt::format("value for key '{}' refers to object {}, but the archive has {}", key, uid, objects_->size()));
        return {};
    }
    const Value& entry = (*objects_)[uid];
    Resolved resolved;
    if (!resolveClass(entry, classes, resolved)) {
        return {};
    }
    const bool allowed = std::any_of(classes.begin(), classes.end(), [&](const auto* objectClass) {
        return objectClass == resolved.objectClass;
    }) || (insideCollection && isPropertyListClass(resolved.objectClass));
    if (!allowed) {
        fail(fmt::format("value for key '{}' was of unexpected class '{}'. Allowed classes are '{}'.", key,
            resolved.name, namesOf(classes)));
        return {};
    }
    if (!resolved.record) {
        return entry; // A string, number or data: the entry is the value.
    }
    if (const auto found = decoded_.find(uid); found != decoded_.end()) {
        return found->second;
    }
    if (inProgress_.contains(uid)) {
        fail(fmt::format("object {} refers back to itself", uid));
        return {};
    }
    if (inProgress_.size() >= MaximumDepth) {
        fail(fmt::format("objects are nested deeper than {}", MaximumDepth));
        return {};
    }
    inProgress_.insert(uid);
    Value result = build(resolved, classes);
    inProgress_.erase(uid);
    if (error_) {
        return {};
    }
    decoded_.emplace(uid, result);
    return result;
}

bool KeyedUnarchiver::resolveClass(const Value& entry, const CodingClasses& classes, Resolved& resolved)
{
    if (entry.isString()) {
        resolved.objectClass = &CodingClass::string();
    } else if (entry.isNumber()) {
        resolved.objectClass = &CodingClass::number();
    } else if (entry.isData()) {
        resolved.objectClass = &CodingClass::data();
    }
    if (resolved.objectClass != nullptr) {
        resolved.name = resolved.objectClass->name();
        return true;
    }
    resolved.record = entry.dictionary();
    const auto classUID
        = resolved.record ? PropertyList::uidFromValue(resolved.record->valueForKey("$class")) : std::nullopt;
    if (!classUID || *classUID == 0 || *classUID >= objects_->size()) {
        fail("an object of the archive has no class");
        return false;
    }
    const auto classRecord = (*objects_)[*classUID].dictionary();
    const auto* name = classRecord ? classRecord->valueForKey("$classname").string() : nullptr;
    if (name == nullptr) {
        fail("a class record of the archive has no class name");
        return false;
    }
    resolved.name = *name;
    resolved.objectClass = valueClassNamed(*name);
    if (resolved.objectClass != nullptr) {
        resolved.name = resolved.objectClass->name();
        return true;
    }
    // Only a class the caller named can be instantiated.
    const auto found = std::find_if(classes.begin(), classes.end(),
        [&](const auto* objectClass) { return objectClass->name() == *name && objectClass->initializer(); });
    if (found == classes.end()) {
        return true; // Refused as an unexpected class by the caller.
    }
    if (!(*found)->supportsSecureCoding()) {
        fail(fmt::format("class '{}' does not support secure coding", *name));
        return false;
    }
    resolved.objectClass = *found;
    return true;
}

Value KeyedUnarchiver::build(const Resolved& resolved, const CodingClasses& classes)
{
    const Dictionary& record = *resolved.record;
    const CodingClass* objectClass = resolved.objectClass;
    if (objectClass == &CodingClass::array()) {
        return buildArray(record, classes);
    }
    if (objectClass == &CodingClass::dictionary()) {
        return buildDictionary(record, classes);
    }
    if (objectClass == &CodingClass::string()) {
        if (const auto* text = record.valueForKey("NS.string").string()) {
            return Value(*text);
        }
    } else if (objectClass == &CodingClass::data()) {
        if (const auto* bytes = record.valueForKey("NS.data").data()) {
            return Value(*bytes);
        }
    } else if (objectClass == &CodingClass::date()) {
        const Value& time = record.valueForKey("NS.time");
        if (time.isNumber()) {
            return Value(Date::dateWithTimeIntervalSince1970(time.doubleValue() + kReferenceDateOffset));
        }
    } else if (objectClass == &CodingClass::url()) {
        records_.push_back(resolved.record);
        const Value base = decodeObjectOfClass_forKey(CodingClass::url(), "NS.base");
        const Value relative = decodeObjectOfClass_forKey(CodingClass::string(), "NS.relative");
        records_.pop_back();
        const auto* text = relative.string();
        if (error_ || text == nullptr) {
            fail("a URL of the archive has no text");
            return {};
        }
        // A relative URL is resolved naively against its base: enough for the
        // URLs this platform writes (which have no base) and readable ones.
        auto url = URL::URLWithString(*text);
        if (!url && base.isURL()) {
            url = URL::URLWithString(base.url()->absoluteString() + *text);
        }
        if (url) {
            return Value(*url);
        }
        fail("a URL of the archive does not parse");
        return {};
    } else {
        records_.push_back(resolved.record);
        ObjectRef object = objectClass->initializer()(*this);
        records_.pop_back();
        return Value(std::move(object));
    }
    fail(fmt::format("an object of class '{}' lacks its contents", resolved.name));
    return {};
}

Value KeyedUnarchiver::buildArray(const Dictionary& record, const CodingClasses& classes)
{
    auto array = std::make_shared<Array>();
    const Value& references = record.valueForKey("NS.objects");
    if (references.isNull()) {
        return Value(std::move(array));
    }
    if (!references.isArray()) {
        fail("the elements of an array are not a list");
        return {};
    }
    array->reserve(references.array()->size());
    for (const auto& reference : *references.array()) {
        const auto uid = PropertyList::uidFromValue(reference);
        if (!uid) {
            fail("an element of an array is not an object reference");
            return {};
        }
        array->push_back(decodeReference(*uid, classes, "NS.objects", true));
        if (error_) {
            return {};
        }
    }
    return Value(std::move(array));
}

Value KeyedUnarchiver::buildDictionary(const Dictionary& record, const CodingClasses& classes)
{
    auto dictionary = std::make_shared<Dictionary>();
    const Value& keys = record.valueForKey("NS.keys");
    const Value& objects = record.valueForKey("NS.objects");
    if (keys.isNull() && objects.isNull()) {
        return Value(std::move(dictionary));
    }
    if (!keys.isArray() || !objects.isArray() || keys.array()->size() != objects.array()->size()) {
        fail("the keys and values of a dictionary do not match");
        return {};
    }
    const CodingClasses keyClasses { &CodingClass::string() };
    for (std::size_t i = 0; i < keys.array()->size(); ++i) {
        const auto keyUID = PropertyList::uidFromValue((*keys.array())[i]);
        const auto objectUID = PropertyList::uidFromValue((*objects.array())[i]);
        if (!keyUID || !objectUID) {
            fail("a key or value of a dictionary is not an object reference");
            return {};
        }
        const Value key = decodeReference(*keyUID, keyClasses, "NS.keys", false);
        Value object = decodeReference(*objectUID, classes, "NS.objects", true);
        if (error_) {
            return {};
        }
        if (!key.isString()) {
            fail("a dictionary of the archive has a key that is not a string");
            return {};
        }
        dictionary->insert_or_assign(*key.string(), std::move(object));
    }
    return Value(std::move(dictionary));
}

} // namespace lumora::platform
