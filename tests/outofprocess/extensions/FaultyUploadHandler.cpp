// An upload extension for the out-of-process tests. Each request's handler
// reports, as service information, how many requests the process has begun,
// so the application hears what the last completed request returned. The
// bundle it is built into chooses a fault (FAULT), which strikes on request
// FAULT_AT of the process: the process aborts, throws out of a hook, hangs,
// leaks until it crosses its memory ceiling, or answers with malformed items.
#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/host/transport/MessageCodec.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <vector>

#include <unistd.h>

#ifndef FAULT
#define FAULT none
#endif
#define FAULT_NAME_(fault) #fault
#define FAULT_NAME(fault) FAULT_NAME_(fault)

namespace {

using lumora::platform::Array;
using lumora::platform::Dictionary;
using lumora::platform::Value;
namespace transport = lumora::platform::host::transport;

constexpr std::int64_t kFaultAt = 3;
// The descriptor of the process's connection to its host.
constexpr int kHostSocket = 3;

std::atomic<std::int64_t> requestsBegun { 0 };

bool faultIs(const char* name)
{
    return std::strcmp(FAULT_NAME(FAULT), name) == 0;
}

[[noreturn]] void hangForever()
{
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock lock(mutex);
    for (;;) {
        never.wait(lock);
    }
}

// Takes memory a mebibyte at a time, touching every page, until the kernel ends the process.
[[noreturn]] void leakForever()
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

// Writes a reply to request `number` whose items are not items, straight to
// the host, as code that owns its process can.
void answerWithMalformedItems(std::int64_t number)
{
    transport::Message reply;
    reply.kind = transport::Message::Kind::Reply;
    reply.number = static_cast<std::uint64_t>(number);
    reply.selector = "beginRequestWithItems:files:";
    auto item = std::make_shared<Dictionary>();
    item->emplace("label", Value(std::int64_t { 7 }));
    item->emplace("value", Value("not an item"));
    auto items = std::make_shared<Array>();
    items->emplace_back(std::move(item));
    reply.arguments.emplace_back(std::move(items));
    const auto frame = transport::MessageCodec::encode(reply);
    if (frame) {
        (void)::write(kHostSocket, frame->bytes.data(), frame->bytes.size());
    }
}

class FaultyUploadHandler final : public lumora::LMBroadcastSampleHandler {
public:
    void beginRequestWithExtensionContext(const std::shared_ptr<lumora::platform::ExtensionContext>& context) override
    {
        const auto request = ++requestsBegun;
        if (request == kFaultAt) {
            if (faultIs("crash")) {
                std::abort();
            } else if (faultIs("throw")) {
                throw std::runtime_error("the extension gave up");
            } else if (faultIs("hang")) {
                hangForever();
            } else if (faultIs("leak")) {
                leakForever();
            } else if (faultIs("malformed")) {
                answerWithMalformedItems(request);
                hangForever();
            }
        }
        auto info = std::make_shared<Dictionary>();
        info->emplace("requests", Value(request));
        updateServiceInfo(std::move(info));
        LMBroadcastSampleHandler::beginRequestWithExtensionContext(context);
    }
};

} // namespace

LUMORA_EXTENSION_PRINCIPAL_CLASS(FaultyUploadHandler)
