#pragma once

#include <functional>

namespace lumora::platform::host {

/// Threads of the simulated platform itself: where it delivers answers that
/// arrive "on a platform thread" (item loads, extension replies, store
/// lookups). Work posted here runs concurrently, in no promised order.
void postToPlatformThread(std::function<void()> task);

} // namespace lumora::platform::host
