#include "recording/LumoraErrors.h"

#include "recording/LumoraVersion.h"

#include <cstring>
#include <gtest/gtest.h>

namespace lumora {
namespace {

using platform::Dictionary;
using platform::Error;
using platform::Value;

std::string descriptionOf(const platform::ErrorRef& error)
{
    const auto* text = error->userInfo()->valueForKey(Error::LocalizedDescriptionKey).string();
    return text != nullptr ? *text : "<missing>";
}

TEST(LumoraErrors, EveryCodeOfTheTableHasItsFixedMessage)
{
    const std::pair<std::int64_t, std::string> table[] = {
        { -5800, "Uknown recording error" },
        { -5801, "The user declined application recording" },
        { -5802, "Recording has been restricted in settings" },
        { -5803, "Recording failed to start" },
        { -5804, "Failed during recording" },
        { -5805, "Insufficient storage for recording" },
        { -5806, "Recording interrupted by another application" },
        { -5807, "Recording interrupted by multitasking and content resizing" },
    };
    for (const auto& [code, message] : table) {
        const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(code, nullptr);
        EXPECT_EQ(error->domain(), "com.lumora.Lumora.LMRecordingErrorDomain");
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(error->localizedDescription(), message) << code;
        // Without user info the error carries exactly the description.
        EXPECT_EQ(error->userInfo()->size(), 1U);
    }
}

TEST(LumoraErrors, CodesOutsideTheTableKeepTheirCodeAndGetTheOtherUnknownText)
{
    for (const std::int64_t code : { 0LL, -5799LL, -5808LL, 1LL, -1LL }) {
        const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(code, nullptr);
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(descriptionOf(error), "Unknown recording error") << code;
    }
}

TEST(LumoraErrors, UserInfoIsCopiedAndItsDescriptionReplaced)
{
    auto callers = std::make_shared<Dictionary>();
    (*callers)[std::string(Error::LocalizedDescriptionKey)] = Value("caller's text");
    (*callers)["Reason"] = Value(42);
    const Dictionary before = *callers;

    const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(-5803, callers);

    EXPECT_EQ(descriptionOf(error), "Recording failed to start");
    EXPECT_EQ(error->userInfo()->valueForKey("Reason"), Value(42));
    EXPECT_EQ(error->userInfo()->size(), 2U);
    EXPECT_EQ(*callers, before);
    EXPECT_NE(error->userInfo().get(), callers.get());
}

TEST(LumoraErrors, EmptyUserInfoYieldsOnlyTheDescription)
{
    const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(-5801, std::make_shared<Dictionary>());
    EXPECT_EQ(error->userInfo()->size(), 1U);
    EXPECT_EQ(descriptionOf(error), "The user declined application recording");
}

TEST(LumoraVersion, ConstantsAreExactlyAsPublished)
{
    EXPECT_EQ(LumoraVersionNumber, 1.0);
    EXPECT_STREQ(LumoraVersionString, "@(#)PROGRAM:Lumora  PROJECT:Lumora-1\n");
}

} // namespace
} // namespace lumora
