#include "tests/harness/Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// Every test starts on a freshly prepared simulated device, also when several
// run in one process: what one test left behind (bundles, scripted answers,
// pending timers) never reaches the next.
class DeviceReset final : public ::testing::EmptyTestEventListener {
public:
    void OnTestStart(const ::testing::TestInfo& /*info*/) override { lumora::test::prepareDevice(); }
};

} // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new DeviceReset); // NOLINT(cppcoreguidelines-owning-memory)
    return RUN_ALL_TESTS();
}
