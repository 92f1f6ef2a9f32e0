#include "platform/host/media/FrameRing.h"

#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace lumora::test {
namespace {

using platform::host::FrameRing;

TEST(FrameRing, TheConsumerSeesWhatTheProducerWroteAndSlotsComeBackOnlyOnce)
{
    const auto producer = FrameRing::create(4, 3, 2);
    ASSERT_NE(producer, nullptr);
    const auto consumer = FrameRing::map(producer->descriptor(), 4, 3, 2);
    ASSERT_NE(consumer, nullptr);

    const auto first = producer->acquire();
    const auto second = producer->acquire();
    ASSERT_TRUE(first && second);
    EXPECT_NE(*first, *second);
    EXPECT_FALSE(producer->acquire().has_value());
    std::memset(producer->pixels(*second), 0x5a, producer->slotSize());
    EXPECT_EQ(consumer->pixels(*second)[producer->slotSize() - 1], 0x5a);

    EXPECT_TRUE(producer->release(*second));
    EXPECT_FALSE(producer->release(*second));
    EXPECT_FALSE(producer->release(7));
    EXPECT_EQ(producer->slotsInUse(), 1);
    EXPECT_EQ(producer->acquire(), second);
}

TEST(FrameRing, MemoryThatDoesNotFitTheStatedRingIsRefused)
{
    LogCapture log;
    const auto producer = FrameRing::create(4, 3, 2);
    ASSERT_NE(producer, nullptr);
    // Another size, another slot count, absurd sides.
    EXPECT_EQ(FrameRing::map(producer->descriptor(), 4, 4, 2), nullptr);
    EXPECT_EQ(FrameRing::map(producer->descriptor(), 4, 3, 3), nullptr);
    EXPECT_EQ(FrameRing::map(producer->descriptor(), -4, 3, 2), nullptr);
    EXPECT_EQ(FrameRing::map(producer->descriptor(), 1 << 20, 1 << 20, 16), nullptr);
    // Memory that could shrink under the reader.
    const int unsealed = ::memfd_create("unsealed", MFD_CLOEXEC);
    ASSERT_GE(unsealed, 0);
    ASSERT_EQ(::ftruncate(unsealed, 4 * 3 * 4 * 2), 0);
    EXPECT_EQ(FrameRing::map(unsealed, 4, 3, 2), nullptr);
    ::close(unsealed);
    EXPECT_EQ(log.count("Frame ring: refused shared memory that does not fit the ring")
            + log.count("Frame ring: refused a ring of 2 slots of -4x3 pixels")
            + log.count("Frame ring: refused a ring of 16 slots of 1048576x1048576 pixels"),
        5U);
}

} // namespace
} // namespace lumora::test
