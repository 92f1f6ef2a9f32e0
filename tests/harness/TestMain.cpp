#include "tests/harness/Harness.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

// Every test starts on a freshly prepared simulated device.
class DeviceEnvironment final : public ::testing::Environment {
public:
    void SetUp() override { lumora::test::prepareDevice(); }
};

} // namespace

int main(int argc, char** argv)
{
    ::testing::InitGoogleMock(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new DeviceEnvironment); // NOLINT(cppcoreguidelines-owning-memory)
    return RUN_ALL_TESTS();
}
