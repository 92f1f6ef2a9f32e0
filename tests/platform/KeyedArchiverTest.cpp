#include "platform/formats/KeyedArchiver.h"

#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

#include <chrono>
#include <gtest/gtest.h>
#include <random>

namespace lumora::platform {
namespace {

Value uid(std::uint64_t value)
{
    return PropertyList::uidValue(value);
}

DictionaryRef dict(std::initializer_list<std::pair<const std::string, Value>> entries)
{
    return std::make_shared<Dictionary>(entries);
}

ArrayRef array(std::initializer_list<Value> entries)
{
    return std::make_shared<Array>(entries);
}

// The bytes of a keyed archive with the given objects (entry 0, "$null", is added).
Data archiveWithObjects(std::vector<Value> objects, Value root = uid(1))
{
    objects.insert(objects.begin(), Value("$null"));
    const auto archive = dict({ { "$archiver", Value("NSKeyedArchiver") }, { "$version", Value(100000) },
        { "$top", Value(dict({ { "root", root } })) },
        { "$objects", Value(std::make_shared<Array>(objects.begin(), objects.end())) } });
    return *PropertyList::dataFromValue(Value(archive), PropertyList::Format::Binary);
}

Value classRecord(const std::string& name)
{
    return Value(
        dict({ { "$classname", Value(name) }, { "$classes", Value(array({ Value(name), Value("NSObject") })) } }));
}

Data archive(const Value& root)
{
    ErrorRef error;
    auto data = KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(root, true, &error);
    EXPECT_FALSE(error);
    return data.value_or(Data());
}

ErrorRef refusal(const Data& data, const CodingClasses& classes = { &CodingClass::dictionary() })
{
    ErrorRef error;
    const Value value = KeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(classes, data, &error);
    EXPECT_TRUE(value.isNull());
    return error;
}

std::string debugDescription(const ErrorRef& error)
{
    const auto* text = error ? error->userInfo()->valueForKey(CoderError::DebugDescriptionKey).string() : nullptr;
    return text != nullptr ? *text : "";
}

// A small class of objects that archive themselves, with a reference to another.
class Node final : public Object, public SecureCoding {
public:
    static const CodingClass& codingClass()
    {
        static const CodingClass instance("TestNode", { "TestNode", "NSObject" }, true, [](Coder& coder) {
            auto node = std::make_shared<Node>();
            node->count = coder.decodeInt64ForKey("count");
            node->weight = coder.decodeDoubleForKey("weight");
            node->flag = coder.decodeBoolForKey("flag");
            node->next = coder.decodeObjectOfClass_forKey(codingClass(), "next").objectAs<Node>();
            return node;
        });
        return instance;
    }
    void encodeWithCoder(Coder& coder) const override
    {
        coder.encodeInt64_forKey(count, "count");
        coder.encodeDouble_forKey(weight, "weight");
        coder.encodeBool_forKey(flag, "flag");
        coder.encodeObject_forKey(Value(next), "next");
    }
    [[nodiscard]] const CodingClass& classForCoder() const override { return codingClass(); }

    std::int64_t count = 0;
    double weight = 0;
    bool flag = false;
    std::shared_ptr<Node> next;
};

TEST(KeyedArchiver, WritesTheStandardKeyedArchiveStructure)
{
    const Data data = archive(Value(dict({ { "answer", Value(42) } })));
    const auto plist = PropertyList::valueFromData(data)->dictionary();

    EXPECT_EQ(plist->valueForKey("$archiver"), Value("NSKeyedArchiver"));
    EXPECT_EQ(plist->valueForKey("$version"), Value(100000));
    EXPECT_EQ(plist->valueForKey("$top"), Value(dict({ { "root", uid(1) } })));
    const auto objects = plist->valueForKey("$objects").array();
    EXPECT_EQ((*objects)[0], Value("$null"));
    const auto root = (*objects)[1].dictionary();
    const auto classUID = PropertyList::uidFromValue(root->valueForKey("$class"));
    ASSERT_TRUE(classUID);
    EXPECT_EQ((*objects)[*classUID], classRecord("NSDictionary"));
    // Keys and values are entries of their own, the number included.
    const auto keyUID = PropertyList::uidFromValue((*root->valueForKey("NS.keys").array())[0]);
    const auto valueUID = PropertyList::uidFromValue((*root->valueForKey("NS.objects").array())[0]);
    EXPECT_EQ((*objects)[*keyUID], Value("answer"));
    EXPECT_EQ((*objects)[*valueUID], Value(42));
}

TEST(KeyedArchiver, PropertyListValuesRoundTripExactly)
{
    const Value original(dict({
        { "text", Value("héllo") },
        { "negative", Value(std::int64_t { -5 }) },
        { "big", Value(std::int64_t { 1 } << 60) },
        { "real", Value(0.1) },
        { "flag", Value(true) },
        { "bytes", Value(Data("\x00\x01\xff", 3)) },
        { "date", Value(Date::dateWithTimeIntervalSince1970(1700000000.5)) },
        { "url", Value(*URL::URLWithString("https://example.com/live?x=1")) },
        { "list", Value(array({ Value(1), Value("two"), Value(dict({})) })) },
    }));
    ErrorRef error;
    const Value decoded = KeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
        { &CodingClass::dictionary(), &CodingClass::url() }, archive(original), &error);
    EXPECT_FALSE(error) << debugDescription(error);
    EXPECT_EQ(decoded, original);
}

TEST(KeyedArchiver, ObjectsOfCodingClassesRoundTripAndOthersCannotBeArchived)
{
    auto head = std::make_shared<Node>();
    head->count = -7;
    head->weight = 2.25;
    head->flag = true;
    head->next = std::make_shared<Node>();
    head->next->count = 3;

    ErrorRef error;
    const auto decoded = KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<Node>(archive(Value(head)), &error);
    ASSERT_TRUE(decoded) << debugDescription(error);
    EXPECT_EQ(decoded->count, -7);
    EXPECT_EQ(decoded->weight, 2.25);
    EXPECT_TRUE(decoded->flag);
    ASSERT_TRUE(decoded->next);
    EXPECT_EQ(decoded->next->count, 3);
    EXPECT_FALSE(decoded->next->next);

    // Objects that do not adopt Coding cannot be archived.
    EXPECT_FALSE(KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
        Value(std::make_shared<Object>()), false, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), CoderError::InvalidValue);
}

TEST(KeyedUnarchiver, RefusesAClassThatWasNotAllowed)
{
    const auto error = refusal(archive(Value("a string")));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), CoderError::Domain);
    EXPECT_EQ(error->code(), CoderError::ReadCorrupt);
    EXPECT_EQ(debugDescription(error),
        "value for key 'root' was of unexpected class 'NSString'. Allowed classes are '{NSDictionary}'.");

    // An object of a class nobody named is never instantiated.
    EXPECT_EQ(refusal(archive(Value(std::make_shared<Node>())))->code(), CoderError::ReadCorrupt);
    // Inside an allowed collection, only property-list classes come for free.
    EXPECT_EQ(refusal(archive(Value(dict({ { "node", Value(std::make_shared<Node>()) } }))))->code(),
        CoderError::ReadCorrupt);
}

TEST(KeyedUnarchiver, RefusesMalformedArchives)
{
    const auto nsArray = classRecord("NSArray");
    const auto nsDictionary = classRecord("NSDictionary");
    const std::vector<std::pair<std::string, Data>> cases = {
        { "not a property list", Data("not a plist", 11) },
        { "empty", Data() },
        { "not a dictionary", *PropertyList::dataFromValue(Value(array({})), PropertyList::Format::Binary) },
        { "dangling root", archiveWithObjects({}, uid(5)) },
        { "root not a reference", archiveWithObjects({}, Value(1)) },
        { "no class", archiveWithObjects({ Value(dict({ { "NS.objects", Value(array({})) } })) }) },
        { "dangling class", archiveWithObjects({ Value(dict({ { "$class", uid(9) } })) }) },
        { "class without name", archiveWithObjects({ Value(dict({ { "$class", uid(2) } })), Value(dict({})) }) },
        { "dangling element",
            archiveWithObjects(
                { Value(dict({ { "$class", uid(2) }, { "NS.objects", Value(array({ uid(7) })) } })), nsArray }) },
        { "cycle",
            archiveWithObjects(
                { Value(dict({ { "$class", uid(2) }, { "NS.objects", Value(array({ uid(1) })) } })), nsArray }) },
        { "keys and values differ",
            archiveWithObjects({ Value(dict({ { "$class", uid(2) }, { "NS.keys", Value(array({ uid(3) })) },
                                     { "NS.objects", Value(array({})) } })),
                nsDictionary, Value("k") }) },
        { "key not a string",
            archiveWithObjects({ Value(dict({ { "$class", uid(2) }, { "NS.keys", Value(array({ uid(3) })) },
                                     { "NS.objects", Value(array({ uid(3) })) } })),
                nsDictionary, Value(1) }) },
    };
    for (const auto& [name, data] : cases) {
        const auto error = refusal(data, { &CodingClass::dictionary(), &CodingClass::array() });
        ASSERT_TRUE(error) << name;
        EXPECT_EQ(error->code(), CoderError::ReadCorrupt) << name;
    }

    const auto noRoot = archiveWithObjects({});
    ErrorRef error;
    auto top = PropertyList::valueFromData(noRoot)->dictionary();
    auto withoutRoot = std::make_shared<Dictionary>(*top);
    (*withoutRoot)["$top"] = Value(dict({}));
    KeyedUnarchiver::unarchivedObjectOfClass_fromData_error(CodingClass::dictionary(),
        *PropertyList::dataFromValue(Value(withoutRoot), PropertyList::Format::Binary), &error);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), CoderError::ValueNotFound);
}

TEST(KeyedUnarchiver, DeepNestingIsRefusedAndSharedEntriesAreDecodedOnce)
{
    // A chain of arrays deeper than the limit.
    std::vector<Value> deep { classRecord("NSArray") };
    for (std::uint64_t i = 0; i < 2 * KeyedUnarchiver::MaximumDepth; ++i) {
        deep.push_back(Value(dict({ { "$class", uid(1) }, { "NS.objects", Value(array({ uid(i + 3) })) } })));
    }
    deep.push_back(Value(dict({ { "$class", uid(1) } })));
    EXPECT_EQ(refusal(archiveWithObjects(deep, uid(2)), { &CodingClass::array() })->code(), CoderError::ReadCorrupt);

    // Every level refers twice to the next: 2^60 paths, 60 entries.
    std::vector<Value> shared { classRecord("NSArray") };
    for (std::uint64_t i = 0; i < 60; ++i) {
        shared.push_back(
            Value(dict({ { "$class", uid(1) }, { "NS.objects", Value(array({ uid(i + 3), uid(i + 3) })) } })));
    }
    shared.push_back(Value(dict({ { "$class", uid(1) } })));
    const auto start = std::chrono::steady_clock::now();
    ErrorRef error;
    const Value decoded = KeyedUnarchiver::unarchivedObjectOfClass_fromData_error(
        CodingClass::array(), archiveWithObjects(shared, uid(2)), &error);
    EXPECT_FALSE(error) << debugDescription(error);
    EXPECT_TRUE(decoded.isArray());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(KeyedUnarchiver, DamagedBytesNeverCrash)
{
    auto node = std::make_shared<Node>();
    node->next = std::make_shared<Node>();
    const Data good
        = archive(Value(dict({ { "list", Value(array({ Value(1.5), Value("x") })) }, { "node", Value(node) } })));
    std::mt19937 random(20231114);
    for (int round = 0; round < 3000; ++round) {
        std::vector<std::uint8_t> bytes(good.bytes(), good.bytes() + good.length());
        const int flips = 1 + static_cast<int>(random() % 4);
        for (int i = 0; i < flips; ++i) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        if (round % 10 == 0) {
            bytes.resize(random() % bytes.size());
        }
        ErrorRef error;
        const Value value = KeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
            { &CodingClass::dictionary(), &Node::codingClass() }, Data(std::move(bytes)), &error);
        EXPECT_TRUE(value.isNull() || value.isDictionary());
        EXPECT_TRUE(value.isNull() || !error);
    }
}

} // namespace
} // namespace lumora::platform
