#include "broadcast/LMBroadcastConfiguration.h"

#include "platform/formats/KeyedArchiver.h"
#include "platform/formats/KeyedUnarchiver.h"
#include "platform/formats/PropertyList.h"

#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::CoderError;
using platform::Data;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::PropertyList;
using platform::Value;

Data archive(const std::shared_ptr<LMBroadcastConfiguration>& configuration)
{
    platform::ErrorRef error;
    auto data = platform::KeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(
        Value(configuration), true, &error);
    EXPECT_FALSE(error);
    return data.value_or(Data());
}

std::shared_ptr<LMBroadcastConfiguration> unarchive(const Data& data, platform::ErrorRef* error = nullptr)
{
    return platform::KeyedUnarchiver::unarchivedObjectOfClass_fromData_error<LMBroadcastConfiguration>(data, error);
}

// The archive as a property list, and the configuration's own record in it.
struct ArchiveView {
    explicit ArchiveView(const Data& data)
        : plist(PropertyList::valueFromData(data)->dictionary()),
          objects(plist->valueForKey("$objects").array()),
          root((*objects)[*PropertyList::uidFromValue(plist->valueForKey("$top").dictionary()->valueForKey("root"))]
                   .dictionary())
    { }
    [[nodiscard]] const Value& entryForKey(std::string_view key) const
    {
        return (*objects)[*PropertyList::uidFromValue(root->valueForKey(key))];
    }
    DictionaryRef plist;
    platform::ArrayRef objects;
    DictionaryRef root;
};

DictionaryRef compressionProperties()
{
    return std::make_shared<Dictionary>(Dictionary { { "AverageBitRate", Value(2500000) },
        { "ProfileLevel", Value("H264_Main_AutoLevel") }, { "ExpectedFrameRate", Value(29.97) } });
}

// An archive of a configuration-like record whose keys hold `clipDuration` and `properties`.
Data handMadeArchive(const Value& clipDuration, const Value& properties)
{
    auto record = std::make_shared<Dictionary>(Dictionary { { "$class", PropertyList::uidValue(2) } });
    auto objects = std::make_shared<platform::Array>(platform::Array { Value("$null"), Value(record),
        Value(std::make_shared<Dictionary>(Dictionary { { "$classname", Value("LMBroadcastConfiguration") },
            { "$classes",
                Value(std::make_shared<platform::Array>(
                    platform::Array { Value("LMBroadcastConfiguration"), Value("NSObject") })) } })) });
    for (const auto& [key, value] :
        { std::pair { "clipDuration", clipDuration }, std::pair { "videoCompressionProperties", properties } }) {
        if (value.isNull()) {
            continue;
        }
        if (value.isDictionary() || value.isArray()) {
            // An empty collection: a record of its class.
            const std::string name = value.isDictionary() ? "NSDictionary" : "NSArray";
            objects->push_back(Value(std::make_shared<Dictionary>(Dictionary { { "$classname", Value(name) } })));
            objects->push_back(Value(std::make_shared<Dictionary>(
                Dictionary { { "$class", PropertyList::uidValue(objects->size() - 1) } })));
        } else {
            objects->push_back(value);
        }
        (*record)[key] = PropertyList::uidValue(objects->size() - 1);
    }
    const auto plist = std::make_shared<Dictionary>(
        Dictionary { { "$archiver", Value("NSKeyedArchiver") }, { "$version", Value(100000) },
            { "$top", Value(std::make_shared<Dictionary>(Dictionary { { "root", PropertyList::uidValue(1) } })) },
            { "$objects", Value(objects) } });
    return *PropertyList::dataFromValue(Value(plist), PropertyList::Format::Binary);
}

TEST(LMBroadcastConfiguration, StartsEmptyAndKeepsTheDictionaryItself)
{
    const auto configuration = std::make_shared<LMBroadcastConfiguration>();
    EXPECT_EQ(configuration->clipDuration(), 0.0);
    EXPECT_FALSE(configuration->videoCompressionProperties());
    EXPECT_TRUE(LMBroadcastConfiguration::supportsSecureCoding());
    const auto properties = compressionProperties();
    configuration->setVideoCompressionProperties(properties);
    EXPECT_EQ(configuration->videoCompressionProperties().get(), properties.get());
}

TEST(LMBroadcastConfiguration, ArchiveWithPropertiesFollowsTheTableAndDecodesExactly)
{
    const auto configuration = std::make_shared<LMBroadcastConfiguration>();
    configuration->setClipDuration(0.1 + 0.2); // Not representable in 32 bits.
    configuration->setVideoCompressionProperties(compressionProperties());
    const Data data = archive(configuration);

    const ArchiveView view(data);
    EXPECT_EQ(view.plist->valueForKey("$archiver"), Value("NSKeyedArchiver"));
    EXPECT_EQ(view.plist->valueForKey("$version"), Value(100000));
    const auto classRecord = (*view.objects)[*PropertyList::uidFromValue(view.root->valueForKey("$class"))];
    EXPECT_EQ(classRecord.dictionary()->valueForKey("$classname"), Value("LMBroadcastConfiguration"));
    EXPECT_EQ(view.root->size(), 3U); // $class and the two keys
    // The duration is a number object of its own.
    EXPECT_EQ(view.entryForKey("clipDuration"), Value(0.1 + 0.2));
    EXPECT_TRUE(view.entryForKey("videoCompressionProperties").dictionary()->contains("NS.keys"));

    platform::ErrorRef error;
    const auto decoded = unarchive(data, &error);
    ASSERT_TRUE(decoded);
    EXPECT_FALSE(error);
    EXPECT_EQ(decoded->clipDuration(), 0.1 + 0.2);
    EXPECT_EQ(Value(decoded->videoCompressionProperties()), Value(compressionProperties()));
}

TEST(LMBroadcastConfiguration, EmptyAndAbsentPropertiesWriteOnlyTheDuration)
{
    const auto withEmpty = std::make_shared<LMBroadcastConfiguration>();
    withEmpty->setVideoCompressionProperties(std::make_shared<Dictionary>());
    const auto withNone = std::make_shared<LMBroadcastConfiguration>();

    for (const auto& configuration : { withEmpty, withNone }) {
        const Data data = archive(configuration);
        const ArchiveView view(data);
        EXPECT_EQ(view.root->size(), 2U); // $class and clipDuration, even at 0.0
        EXPECT_EQ(view.entryForKey("clipDuration"), Value(0.0));
        EXPECT_FALSE(view.root->contains("videoCompressionProperties"));
        const auto decoded = unarchive(data);
        ASSERT_TRUE(decoded);
        EXPECT_FALSE(decoded->videoCompressionProperties());
    }
    EXPECT_EQ(archive(withEmpty), archive(withNone));
}

TEST(LMBroadcastConfiguration, AMissingDurationDecodesAsZero)
{
    const auto decoded = unarchive(handMadeArchive(Value(), Value()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->clipDuration(), 0.0);
    // An integer is a number too.
    EXPECT_EQ(unarchive(handMadeArchive(Value(30), Value()))->clipDuration(), 30.0);
}

TEST(LMBroadcastConfiguration, AWrongClassUnderEitherKeyIsRefused)
{
    const std::vector<std::pair<Value, Value>> cases = {
        { Value("30"), Value() },
        { Value(std::make_shared<Dictionary>()), Value() },
        { Value(30.0), Value(5) },
        { Value(30.0), Value("properties") },
        { Value(30.0), Value(std::make_shared<platform::Array>()) },
    };
    for (const auto& [clipDuration, properties] : cases) {
        platform::ErrorRef error;
        EXPECT_FALSE(unarchive(handMadeArchive(clipDuration, properties), &error));
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), CoderError::Domain);
        EXPECT_EQ(error->code(), CoderError::ReadCorrupt);
    }
    platform::ErrorRef error;
    unarchive(handMadeArchive(Value("30"), Value()), &error);
    EXPECT_EQ(error->userInfo()->valueForKey(CoderError::DebugDescriptionKey),
        Value("value for key 'clipDuration' was of unexpected class 'NSString'. Allowed classes are '{NSNumber}'."));
}

} // namespace
} // namespace lumora
