#pragma once

// What the test view extensions (a setup extension, a video editor) do when
// their bundle chooses a fault (FAULT): none, crash, throw, hang, leak,
// malformed, or wait (start and never end the request, for a test to kill).
#include "platform/foundation/Value.h"
#include "platform/host/transport/Message.h"
#include "platform/host/transport/MessageCodec.h"

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

#include <unistd.h>

#ifndef FAULT
#define FAULT none
#endif
#define VIEW_FAULT_NAME_(fault) #fault
#define VIEW_FAULT_NAME(fault) VIEW_FAULT_NAME_(fault)

namespace lumora::test::faults {

inline bool is(const char* name)
{
    return std::strcmp(VIEW_FAULT_NAME(FAULT), name) == 0;
}

[[noreturn]] inline void hangForever()
{
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    for (;;) {
        never.wait(lock);
    }
}

// Takes memory a mebibyte at a time, touching every page, until the kernel ends the process.
[[noreturn]] inline void leakForever()
{
    constexpr std::size_t kMebibyte = 1U << 20U;
    std::vector<char*> held;
    for (;;) {
        auto* block = static_cast<char*>(std::malloc(kMebibyte)); // NOLINT(cppcoreguidelines-no-malloc)
        if (block != nullptr) {
            std::memset(block, 1, kMebibyte);
            held.push_back(block);
        }
    }
}

// Tells the host, straight over its socket as code that owns its process
// can, that request `identifier` ended with items that are not items.
inline void endWithMalformedItems(const std::string& identifier)
{
    constexpr int kHostSocket = 3;
    platform::host::transport::Message message;
    message.kind = platform::host::transport::Message::Kind::Call;
    message.selector = "requestDidEnd:outcome:";
    auto item = std::make_shared<platform::Dictionary>();
    item->emplace("label", platform::Value(std::int64_t { 7 }));
    item->emplace("value", platform::Value("not an item"));
    auto items = std::make_shared<platform::Array>();
    items->emplace_back(std::move(item));
    message.arguments = { platform::Value(identifier), platform::Value(std::move(items)) };
    if (const auto frame = platform::host::transport::MessageCodec::encode(message)) {
        (void)::write(kHostSocket, frame->bytes.data(), frame->bytes.size());
    }
}

} // namespace lumora::test::faults
