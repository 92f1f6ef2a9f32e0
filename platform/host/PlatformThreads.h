#pragma once

#include <chrono>
#include <functional>

namespace lumora::platform::host {

/// Threads of the simulated platform itself: where it delivers answers that
/// arrive "on a platform thread" (item loads, extension replies, store
/// lookups). Work posted here runs concurrently, in no promised order.
void postToPlatformThread(std::function<void()> task);

/// Waits, for at most `timeout`, until no task posted to a platform thread or
/// to a dispatch queue other than the MainQueue is queued or running. Returns
/// whether they are idle.
bool waitForPlatformThreadsIdle(std::chrono::milliseconds timeout);

} // namespace lumora::platform::host
