#include "platform/host/device/ChildProcess.h"

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace lumora::platform::host {
namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMebibyte = 1U << 20U;

std::unique_ptr<ChildProcess> start(ChildProcess::Launch launch)
{
    std::string failure;
    auto child = ChildProcess::launch(launch, &failure);
    EXPECT_TRUE(child) << failure;
    return child;
}

TEST(ChildProcess, TellsHowTheProcessEndedAndHandsItDescriptors)
{
    auto exited = start({ "/bin/sh", { "-c", "exit 3" }, {}, {} });
    const auto exit = exited->waitForExit(5s);
    ASSERT_TRUE(exit);
    EXPECT_EQ(exit->status, 3);
    EXPECT_FALSE(exit->signal);
    EXPECT_EQ(exited->waitForExit(0ms)->status, 3);

    auto waiting = start({ "/bin/sh", { "-c", "exec sleep 60" }, {}, {} });
    EXPECT_FALSE(waiting->waitForExit(0ms));
    waiting->signal(SIGKILL);
    const auto killed = waiting->waitForExit(5s);
    ASSERT_TRUE(killed);
    EXPECT_EQ(killed->signal, SIGKILL);
    EXPECT_FALSE(killed->crossedCeiling);

    std::array<int, 2> pipe {};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    auto writer = start({ "/bin/sh", { "-c", "echo handed >&5" }, { { pipe[1], 5 } }, {} });
    ::close(pipe[1]);
    std::array<char, 16> text {};
    EXPECT_EQ(::read(pipe[0], text.data(), text.size()), 7);
    EXPECT_EQ(std::string(text.data(), 7), "handed\n");
    ::close(pipe[0]);
    EXPECT_EQ(writer->waitForExit(5s)->status, 0);

    std::string failure;
    EXPECT_FALSE(ChildProcess::launch({ "/nonexistent/program", {}, {}, {} }, &failure));
    EXPECT_NE(failure.find("/nonexistent/program"), std::string::npos);
}

TEST(ChildProcess, EndsAProcessThatCrossesItsMemoryCeilingAndReportsItsPeak)
{
    constexpr std::size_t kCeiling = 96 * kMebibyte;
    auto fits = start({ LUMORA_TEST_MEMORY_HOG, { "16" }, {}, kCeiling });
    if (fits->ceiling() == ChildProcess::Ceiling::None) {
        GTEST_SKIP() << "no memory ceiling can be enforced in this build on this machine";
    }
    const auto fitted = fits->waitForExit(10s);
    ASSERT_TRUE(fitted);
    EXPECT_EQ(fitted->status, 0);
    EXPECT_FALSE(fitted->crossedCeiling);
    EXPECT_GE(fitted->peakMemory, 16 * kMebibyte);
    EXPECT_LT(fitted->peakMemory, fits->memoryCeiling());

    auto greedy = start({ LUMORA_TEST_MEMORY_HOG, { "800" }, {}, kCeiling });
    const auto ended = greedy->waitForExit(10s);
    ASSERT_TRUE(ended);
    EXPECT_NE(ended->status, 0);
    if (greedy->ceiling() != ChildProcess::Ceiling::ResourceLimit) {
        // A control group: the kernel ends the process and says why.
        EXPECT_EQ(ended->signal, SIGKILL);
        EXPECT_TRUE(ended->crossedCeiling);
        EXPECT_LE(ended->peakMemory, greedy->memoryCeiling());
    }
}

} // namespace
} // namespace lumora::platform::host
