#pragma once

#include <chrono>
#include <functional>

namespace lumora::platform::host {

/// Threads of the simulated platform itself: where it delivers answers that
/// arrive "on a platform thread" (item loads, extension replies, store
/// lookups). Work posted here runs concurrently, in no promised order.
void postToPlatformThread(std::function<void()> task);

/// Waits, for at most `timeout`, until no work posted to the platform threads
/// is queued or running (work posted meanwhile included). False on timeout.
/// Lets a test decide the order in which the platform delivers answers.
bool waitForPlatformThreadsIdle(std::chrono::milliseconds timeout = std::chrono::seconds(5));

} // namespace lumora::platform::host
