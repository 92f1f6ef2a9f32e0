#include "platform/extensions/Extension.h"
#include "platform/extensions/ShareActivity.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "recording/LMExtensions.h"
#include "tests/harness/Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::Value;
using platform::host::SimulatedDevice;
using ::testing::ElementsAre;

using Activities = std::vector<std::shared_ptr<platform::ShareActivity>>;

// Installs a share extension whose activation rule is `rule` (not set when null).
void installShareExtension(const std::string& identifier, Value rule, const char* point = "com.lumora.share-services")
{
    auto attributes = std::make_shared<platform::Dictionary>();
    (*attributes)[std::string(platform::Extension::PointIdentifierAttribute)] = point;
    if (!rule.isNull()) {
        (*attributes)[std::string(platform::Extension::ActivationRuleAttribute)] = std::move(rule);
    }
    SimulatedDevice::shared().extensions().installExtension(identifier, attributes, nullptr);
}

Value streamingRule(Value supportsStreaming)
{
    auto rule = std::make_shared<platform::Dictionary>();
    (*rule)["ExtensionActivationSupportsWebURLWithMaxCount"] = 1;
    if (!supportsStreaming.isNull()) {
        (*rule)[std::string(platform::Extension::ActivationSupportsLumoStreamingRule)] = std::move(supportsStreaming);
    }
    return rule;
}

std::vector<std::string> types(const Activities& activities)
{
    std::vector<std::string> result;
    for (const auto& activity : activities) {
        result.push_back(activity->activityType());
    }
    return result;
}

Activities streamActivities()
{
    test::CallbackRecorder<Activities> listed;
    LMExtensions::streamActivitiesWithCompletion(listed.callback());
    EXPECT_TRUE(listed.wait());
    test::drainMainQueue();
    EXPECT_EQ(listed.callCount(), 1U);
    EXPECT_FALSE(listed.calledOnMainQueue());
    return std::get<0>(listed.call());
}

TEST(StreamActivities, OnlyShareExtensionsWhoseRuleDeclaresStreamingAreListedInThePlatformsOrder)
{
    EXPECT_TRUE(streamActivities().empty());

    installShareExtension("com.example.b.live", streamingRule(true));
    installShareExtension("com.example.c.false", streamingRule(false));
    installShareExtension("com.example.d.missing", streamingRule(nullptr));
    installShareExtension("com.example.e.norule", nullptr);
    auto ruleAsArray = std::make_shared<platform::Array>();
    ruleAsArray->push_back(streamingRule(true));
    installShareExtension("com.example.f.array", ruleAsArray);
    installShareExtension("com.example.g.string", "ExtensionActivationSupportsLumoStreaming");
    installShareExtension("com.example.a.live", streamingRule(1));
    installShareExtension("com.example.h.other", streamingRule(true), "com.lumora.photo-editing");

    // The platform answers the query in its own order; the activities keep it.
    test::CallbackRecorder<std::vector<std::shared_ptr<platform::Extension>>, platform::ErrorRef> query;
    auto matching = std::make_shared<platform::Dictionary>();
    (*matching)[std::string(platform::Extension::PointIdentifierAttribute)] = "com.lumora.share-services";
    platform::Extension::extensionsWithMatchingAttributes_completion(matching, query.callback());
    ASSERT_TRUE(query.wait());
    std::vector<std::string> platformOrder;
    const auto found = std::get<0>(query.call());
    for (const auto& extension : found) {
        platformOrder.push_back(extension->identifier());
    }
    EXPECT_THAT(platformOrder,
        ElementsAre("com.example.a.live", "com.example.b.live", "com.example.c.false", "com.example.d.missing",
            "com.example.e.norule", "com.example.f.array", "com.example.g.string"));

    const auto activities = streamActivities();
    EXPECT_THAT(types(activities), ElementsAre("com.example.a.live", "com.example.b.live"));
    EXPECT_EQ(activities.front()->applicationExtension()->identifier(), "com.example.a.live");
}

TEST(StreamActivities, AFailingQueryGivesAnEmptyList)
{
    installShareExtension("com.example.live", streamingRule(true));
    SimulatedDevice::shared().extensions().setLookupError(
        platform::Error::errorWithDomain(std::string(platform::Extension::ErrorDomain), 9));
    EXPECT_TRUE(streamActivities().empty());
}

} // namespace
} // namespace lumora
