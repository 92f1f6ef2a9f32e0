#include "upload/LMBroadcastSampleHandler.h"

#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/Log.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <cstring>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace lumora {

namespace {

using platform::Log;
using platform::Value;

constexpr std::size_t kTimingInfoLength = sizeof(platform::SampleTimingInfo);
static_assert(kTimingInfoLength == 72);

// A payload value that reads as an integer: absent, or a number.
bool readsAsInteger(const Value& value)
{
    return value.isNull() || value.isNumber();
}

platform::DispatchQueue& sharedQueue(
    std::once_flag& once, const std::shared_ptr<platform::DispatchQueue>*& queue, std::string_view label)
{
    std::call_once(once, [&] {
        // Made once and never destroyed.
        queue = new std::shared_ptr<platform::DispatchQueue>( // NOLINT(cppcoreguidelines-owning-memory)
            platform::DispatchQueue::makeSerial(std::string(label)));
    });
    return **queue;
}

// The audio payloads of the list that this thread is processing for
// `handler`, not yet handed to the audio queue.
struct AudioBatch {
    const LMBroadcastSampleHandler* handler = nullptr;
    std::vector<std::pair<platform::DictionaryRef, std::int64_t>> payloads;
};

// The batch of the list being processed on this thread, if any.
thread_local AudioBatch* currentAudioBatch = nullptr; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

} // namespace

void LMBroadcastSampleHandler::AudioBufferListDeleter::operator()(platform::AudioBufferList* list) const
{
    if (list == nullptr) {
        return;
    }
    delete[] static_cast<std::uint8_t*>(list->buffers[0].data); // NOLINT(cppcoreguidelines-owning-memory)
    delete list; // NOLINT(cppcoreguidelines-owning-memory)
}

void LMBroadcastSampleHandler::beginRequestWithExtensionContext(
    const std::shared_ptr<platform::ExtensionContext>& context)
{
    auto self = sharedFrom(this);
    _loadInputItemsWithExtensionContext_itemLoaded_allCounted(
        context,
        [self](std::size_t /*index*/, const platform::ExtensionItemRef& /*item*/, const Value& value,
            const platform::ErrorRef& error) {
            if (error) {
                Log::error("Error loading input item for type");
            } else {
                self->_processLoadedValue(value);
            }
            return true; // a failed load counts too
        },
        [self] { self->_completeRequestWithReturnItems({}); });
}

void LMBroadcastSampleHandler::_processLoadedValue(const Value& value)
{
    if (const auto list = value.array()) {
        AudioBatch batch { this, {} };
        AudioBatch* const outer = std::exchange(currentAudioBatch, &batch);
        for (const auto& element : *list) {
            if (const auto payload = element.dictionary()) {
                _processPayload(payload);
            } else {
                Log::error("Ignoring list element that is not a payload dictionary");
            }
        }
        _handOverAudioBatch();
        currentAudioBatch = outer;
    } else if (const auto payload = value.dictionary()) {
        _processPayload(payload);
    } else {
        Log::error("Ignoring loaded value that is neither a payload nor a list of payloads");
    }
}

void LMBroadcastSampleHandler::_handOverAudioBatch()
{
    AudioBatch* const batch = currentAudioBatch;
    if (batch == nullptr || batch->handler != this || batch->payloads.empty()) {
        return;
    }
    auto self = sharedFrom(this);
    if (!self) {
        Log::error("Ignoring audio payload: the handler has no owner to keep it alive");
        batch->payloads.clear();
        return;
    }
    audioQueue().async([self = std::move(self), payloads = std::exchange(batch->payloads, {})] {
        for (const auto& [payload, type] : payloads) {
            self->_rebuildAndDeliverAudioSample_type(payload, type);
        }
    });
}

void LMBroadcastSampleHandler::broadcastStartedWithSetupInfo(const platform::DictionaryRef& /*setupInfo*/) { }

void LMBroadcastSampleHandler::broadcastPaused() { }

void LMBroadcastSampleHandler::broadcastResumed() { }

void LMBroadcastSampleHandler::broadcastFinished() { }

void LMBroadcastSampleHandler::processSampleBuffer_withType(
    const std::shared_ptr<platform::SampleBuffer>& /*sampleBuffer*/, std::int64_t /*sampleBufferType*/)
{ }

void LMBroadcastSampleHandler::_processPayload(const platform::DictionaryRef& payload)
{
    if (!payload) {
        return;
    }
    const Value& sampleType = payload->valueForKey(LMBroadcastProcessExtensionPayloadKeySampleType);
    if (!readsAsInteger(sampleType)) {
        Log::error("Ignoring payload whose sample type is not a number");
        return;
    }
    switch (sampleType.int64Value()) {
    case LMBroadcastSampleTypeVideo:
        _processPayloadWithVideoSample(payload);
        return;
    case LMBroadcastSampleTypeAudioApp:
    case LMBroadcastSampleTypeAudioMic:
        _processPayloadWithAudioSample_type(payload, sampleType.int64Value());
        return;
    default:
        break;
    }

    const Value& actionType = payload->valueForKey(LMBroadcastProcessExtensionPayloadKeyActionType);
    if (!readsAsInteger(actionType)) {
        Log::error("Ignoring payload whose action type is not a number");
        return;
    }
    // Audio collected before an action is queued before its hook runs.
    _handOverAudioBatch();
    switch (actionType.int64Value()) {
    case LMBroadcastActionTypeStarted: {
        const Value& setupInfo = payload->valueForKey(LMBroadcastExtensionKeyExtensionUserInfo);
        if (!setupInfo.isNull() && !setupInfo.isDictionary()) {
            Log::error("Ignoring start action whose user info is not a dictionary");
            return;
        }
        broadcastStartedWithSetupInfo(setupInfo.dictionary());
        break;
    }
    case LMBroadcastActionTypePaused:
        broadcastPaused();
        break;
    case LMBroadcastActionTypeResumed:
        broadcastResumed();
        break;
    case LMBroadcastActionTypeFinished:
        broadcastFinished();
        break;
    default:
        break;
    }
}

void LMBroadcastSampleHandler::_processPayloadWithVideoSample(const platform::DictionaryRef& /*payload*/) { }

void LMBroadcastSampleHandler::_processPayloadWithAudioSample_type(
    const platform::DictionaryRef& payload, std::int64_t type)
{
    if (currentAudioBatch != nullptr && currentAudioBatch->handler == this) {
        currentAudioBatch->payloads.emplace_back(payload, type);
        return;
    }
    // The work item holds the payload and the handler.
    auto self = sharedFrom(this);
    if (!self) {
        Log::error("Ignoring audio payload: the handler has no owner to keep it alive");
        return;
    }
    audioQueue().async(
        [self = std::move(self), payload, type] { self->_rebuildAndDeliverAudioSample_type(payload, type); });
}

void LMBroadcastSampleHandler::_rebuildAndDeliverAudioSample_type(
    const platform::DictionaryRef& payload, std::int64_t type)
{
    const Value& numSamples = payload->valueForKey(LMBroadcastProcessExtensionPayloadKeyNumSamples);
    if (!numSamples.isNull() && !numSamples.isInteger()) {
        Log::error("Ignoring audio payload whose number of samples is not an integer");
        return;
    }

    const auto* audioData = payload->valueForKey(LMBroadcastProcessExtensionPayloadKeyAudioBufferList).data();
    if (audioData == nullptr) {
        Log::error("Ignoring audio payload without audio data");
        return;
    }
    const AudioBufferListPtr bufferList = _audioBufferListFromData(*audioData);
    if (!bufferList) {
        Log::error("Ignoring audio payload with empty audio data");
        return;
    }

    const auto* timingData = payload->valueForKey(LMBroadcastProcessExtensionPayloadKeyTimingInfo).data();
    if (timingData == nullptr || timingData->length() < kTimingInfoLength) {
        Log::error("Ignoring audio payload whose timing info is shorter than 72 bytes");
        return;
    }
    platform::SampleTimingInfo timing;
    std::memcpy(&timing, timingData->bytes(), kTimingInfoLength);

    platform::MediaStatus status = platform::MediaError::NoError;
    auto format = platform::AudioFormatDescription::create(audioFormatForSampleType(type), &status);
    if (!format) {
        Log::error("Ignoring audio payload: no audio format description (%i)", status);
        return;
    }
    auto sampleBuffer = platform::SampleBuffer::createWithoutData(
        false, format, numSamples.int64Value(), { &timing, 1 }, {}, &status);
    if (!sampleBuffer) {
        Log::error("Ignoring audio payload whose number of samples is not valid (%i)", status);
        return;
    }
    status = sampleBuffer->setDataBufferFromAudioBufferList(*bufferList, 0);
    if (status != platform::MediaError::NoError) {
        Log::error("Ignoring audio payload whose number of samples does not fit its audio data (%i)", status);
        return;
    }

    processSampleBuffer_withType(sampleBuffer, type);

    // Released right after delivery: the sample, its format, then the list's
    // data and the list (the deleter frees them in that order).
    sampleBuffer.reset();
    format.reset();
}

LMBroadcastSampleHandler::AudioBufferListPtr LMBroadcastSampleHandler::_audioBufferListFromData(
    const platform::Data& data) const
{
    if (data.empty()) {
        return nullptr;
    }
    auto* bytes = new (std::nothrow) std::uint8_t[data.length()]; // NOLINT(cppcoreguidelines-owning-memory)
    // The copy comes before the test on purpose, as the payload path has always
    // done it: an allocation failure here is not expected to be survived.
    std::memcpy(bytes, data.bytes(), data.length());
    if (bytes == nullptr) {
        return nullptr;
    }
    AudioBufferListPtr list(new (std::nothrow) platform::AudioBufferList()); // NOLINT(cppcoreguidelines-owning-memory)
    if (!list) {
        delete[] bytes; // NOLINT(cppcoreguidelines-owning-memory)
        return nullptr;
    }
    list->numberBuffers = 1;
    list->buffers[0].numberChannels = 1;
    list->buffers[0].dataByteSize = static_cast<std::uint32_t>(data.length());
    list->buffers[0].data = bytes;
    return list;
}

platform::DispatchQueue& LMBroadcastSampleHandler::audioQueue() const
{
    static std::once_flag once;
    static const std::shared_ptr<platform::DispatchQueue>* queue = nullptr;
    return sharedQueue(once, queue, LMBroadcastAudioSampleQueueLabel);
}

platform::DispatchQueue& LMBroadcastSampleHandler::videoQueue() const
{
    static std::once_flag once;
    static const std::shared_ptr<platform::DispatchQueue>* queue = nullptr;
    return sharedQueue(once, queue, LMBroadcastVideoSampleQueueLabel);
}

platform::AudioStreamBasicDescription LMBroadcastSampleHandler::audioFormatForSampleType(std::int64_t type)
{
    using platform::AudioFormatFlags;
    platform::AudioStreamBasicDescription format;
    format.sampleRate = 44100.0;
    format.formatID = platform::AudioFormatLinearPCM;
    format.formatFlags = AudioFormatFlags::IsSignedInteger | AudioFormatFlags::IsPacked;
    if (type == LMBroadcastSampleTypeAudioApp) {
        format.formatFlags |= AudioFormatFlags::IsBigEndian;
    }
    format.bytesPerPacket = 2;
    format.framesPerPacket = 1;
    format.bytesPerFrame = 2;
    format.channelsPerFrame = 1;
    format.bitsPerChannel = 16;
    format.reserved = 0;
    return format;
}

} // namespace lumora
