#pragma once

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastExtensionKeys.h"
#include "upload/LMBroadcastMP4ClipHandler.h"
#include "upload/LMBroadcastSampleHandler.h"

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lumora::test {

using platform::Data;
using platform::Dictionary;
using platform::DictionaryRef;
using platform::Value;
using platform::host::ExtensionRequest;

/// What a handler subclass was told, in order, from any thread.
struct HookCall {
    std::string hook;
    platform::DictionaryRef setupInfo;
    std::shared_ptr<platform::SampleBuffer> sample;
    std::int64_t type = 0;
    std::string queueLabel; // the queue the hook ran on ("" for none)
    std::optional<platform::URL> url;
    bool finished = false;
};

class HookLog {
public:
    void record(std::string hook, DictionaryRef setupInfo = nullptr,
        std::shared_ptr<platform::SampleBuffer> sample = nullptr, std::int64_t type = 0,
        std::optional<platform::URL> url = std::nullopt, bool finished = false)
    {
        const auto* queue = platform::DispatchQueue::current();
        std::lock_guard lock(mutex_);
        calls_.push_back(HookCall { std::move(hook), std::move(setupInfo), std::move(sample), type,
            queue != nullptr ? queue->label() : "", std::move(url), finished });
        changed_.notify_all();
    }
    std::vector<HookCall> calls() const
    {
        std::lock_guard lock(mutex_);
        return calls_;
    }
    /// Waits until `count` calls have arrived (at most `timeout`) and returns all calls so far.
    std::vector<HookCall> waitFor(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(5))
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return calls_.size() >= count; });
        return calls_;
    }

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<HookCall> calls_;
};

class RecordingSampleHandler final : public LMBroadcastSampleHandler {
public:
    void broadcastStartedWithSetupInfo(const DictionaryRef& setupInfo) override { log.record("started", setupInfo); }
    void broadcastPaused() override { log.record("paused"); }
    void broadcastResumed() override { log.record("resumed"); }
    void broadcastFinished() override { log.record("finished"); }
    void processSampleBuffer_withType(const std::shared_ptr<platform::SampleBuffer>& sample, std::int64_t type) override
    {
        log.record("sample", nullptr, sample, type);
    }
    HookLog log;
};

class RecordingClipHandler final : public LMBroadcastMP4ClipHandler {
public:
    void processMP4ClipWithURL_setupInfo_finished(
        const std::optional<platform::URL>& url, const DictionaryRef& setupInfo, bool finished) override
    {
        log.record("clip", setupInfo, nullptr, 0, url, finished);
    }
    HookLog log;
};

/// A load whose completion the test holds, so that it decides when the load finishes.
class HeldLoad {
public:
    [[nodiscard]] platform::ItemProvider::Loader loader() const
    {
        return [state = state_](platform::ItemProvider::LoadCompletion completion) {
            std::lock_guard lock(state->mutex);
            state->completion = std::move(completion);
            state->asked.notify_all();
        };
    }
    /// Finishes the load with `value`, once the platform has asked for it.
    void finish(const Value& value) const
    {
        std::unique_lock lock(state_->mutex);
        state_->asked.wait_for(lock, std::chrono::seconds(5), [this] { return bool(state_->completion); });
        // Not kept: the completion holds the handler, which holds the request's items.
        auto completion = std::exchange(state_->completion, nullptr);
        lock.unlock();
        if (completion) {
            completion(value, nullptr);
        }
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable asked;
        platform::ItemProvider::LoadCompletion completion;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

inline DictionaryRef dictionary(std::initializer_list<std::pair<const std::string, Value>> entries)
{
    return std::make_shared<Dictionary>(entries);
}

inline DictionaryRef actionPayload(std::int64_t action, Value userInfo = {})
{
    auto payload = dictionary({ { std::string(LMBroadcastProcessExtensionPayloadKeyActionType), Value(action) } });
    if (!userInfo.isNull()) {
        std::const_pointer_cast<Dictionary>(payload)->emplace(LMBroadcastExtensionKeyExtensionUserInfo, userInfo);
    }
    return payload;
}

/// A 72-byte timing record whose presentation time is `ticks` / 44100.
inline Data timingData(std::int64_t ticks, std::size_t length = 72)
{
    platform::SampleTimingInfo timing;
    timing.duration = { 1024, 44100, platform::MediaTime::Valid, 0 };
    timing.presentationTimeStamp = { ticks, 44100, platform::MediaTime::Valid, 0 };
    std::vector<std::uint8_t> bytes(std::max<std::size_t>(length, 72));
    std::memcpy(bytes.data(), &timing, sizeof timing);
    bytes.resize(length);
    return Data(std::move(bytes));
}

/// An audio payload of `frames` 16-bit frames whose bytes all equal `fill`.
inline DictionaryRef audioPayload(std::int64_t type, std::int64_t frames, std::uint8_t fill, std::int64_t ticks = 0)
{
    return dictionary({
        { std::string(LMBroadcastProcessExtensionPayloadKeySampleType), Value(type) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyNumSamples), Value(frames) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyAudioBufferList),
            Value(Data(std::vector<std::uint8_t>(static_cast<std::size_t>(frames) * 2, fill))) },
        { std::string(LMBroadcastProcessExtensionPayloadKeyTimingInfo), Value(timingData(ticks)) },
    });
}

/// A payload with one value replaced (or removed, with a null value).
inline DictionaryRef with(const DictionaryRef& payload, std::string_view key, Value value)
{
    auto copy = std::make_shared<Dictionary>(*payload);
    copy->erase(std::string(key));
    if (!value.isNull()) {
        copy->emplace(std::string(key), std::move(value));
    }
    return copy;
}

inline platform::ExtensionItemRef payloadItem(Value value)
{
    return ExtensionRequest::labelledItem("payload", std::move(value));
}

inline Value list(std::vector<Value> values)
{
    return Value(std::make_shared<platform::Array>(values.begin(), values.end()));
}

} // namespace lumora::test
