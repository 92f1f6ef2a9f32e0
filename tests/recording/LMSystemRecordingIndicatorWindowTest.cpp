#include "recording/LMSystemRecordingIndicatorWindow.h"

#include <gtest/gtest.h>

namespace lumora {
namespace {

TEST(LMSystemRecordingIndicatorWindow, TouchesOnItsEmptyAreaFallThroughButItsSubviewsStayTouchable)
{
    const auto window = std::make_shared<LMSystemRecordingIndicatorWindow>(platform::Rect { { 0, 0 }, { 320, 40 } });
    const auto badge = std::make_shared<platform::View>(platform::Rect { { 10, 5 }, { 30, 30 } });
    window->addSubview(badge);

    EXPECT_EQ(window->hitTest_withEvent({ 20, 20 }, nullptr), badge);
    EXPECT_EQ(window->hitTest_withEvent({ 200, 20 }, nullptr), nullptr);
    EXPECT_TRUE(window->isKindOfClassNamed("RootWindow"));
}

} // namespace
} // namespace lumora
