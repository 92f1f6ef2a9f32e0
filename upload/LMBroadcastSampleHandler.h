#pragma once

#include "platform/foundation/Data.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Value.h"
#include "platform/media/AudioFormat.h"
#include "platform/media/SampleBuffer.h"
#include "upload/LMBroadcastHandler.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumora {

/// The handler an upload extension subclasses to receive the broadcast as
/// broadcast actions and audio samples.
///
/// Each input item of a request carries one payload dictionary or a list of
/// them. Actions reach the hooks on the thread of the item's load callback;
/// audio samples are rebuilt and delivered one at a time, in payload order,
/// on the process's one serial audio queue (so an action may overtake audio
/// queued before it). Video payloads are not delivered. The request completes
/// once every item has loaded (failed loads count too), returning only the
/// service info; nothing waits for queued audio.
///
/// A malformed payload (a value of the wrong type, a timing record shorter
/// than 72 bytes, empty audio data, a sample count that does not fit the
/// data, a list inside a list) is logged at error level and skipped; the
/// payloads around it are processed as usual. Payloads thus nest one level
/// at most: an item holds a payload or one list of payloads, and a payload
/// is read only for its own keys. Bytes from another process reach the
/// handler already read as a property list (`PropertyList`, at most
/// `PropertyList::MaximumDepth` levels deep). An item without attachments is
/// logged and skipped and, like an item whose attachment holds no data, never
/// counts toward completion.
class LMBroadcastSampleHandler : public LMBroadcastHandler {
public:
    /// Frees an audio buffer list made by `_audioBufferListFromData`: its data first, then the list.
    struct AudioBufferListDeleter {
        /// Frees `list` and its data; does nothing with null.
        void operator()(platform::AudioBufferList* list) const;
    };
    /// An audio buffer list owned together with its data.
    using AudioBufferListPtr = std::unique_ptr<platform::AudioBufferList, AudioBufferListDeleter>;

    LMBroadcastSampleHandler() = default;

    /// Loads every item's payload list and processes each payload in order, then
    /// completes the request (see the class comment).
    void beginRequestWithExtensionContext(const std::shared_ptr<platform::ExtensionContext>& context) override;

    // ---- Hooks for the subclass; the handler's own versions do nothing. ------
    /// The broadcast started; `setupInfo` is the setup information, or null.
    virtual void broadcastStartedWithSetupInfo(const platform::DictionaryRef& setupInfo);
    /// The broadcast paused.
    virtual void broadcastPaused();
    /// The broadcast resumed.
    virtual void broadcastResumed();
    /// The broadcast finished; no more payloads follow.
    virtual void broadcastFinished();
    /// One audio sample, on the audio queue. `sampleBuffer` is released when
    /// the hook returns: keep a copy of the pointer to keep it.
    virtual void processSampleBuffer_withType(
        const std::shared_ptr<platform::SampleBuffer>& sampleBuffer, std::int64_t sampleBufferType);

    // ---- Payload decoding -----------------------------------------------------
    /// Processes one payload: an action reaches its hook, audio is queued for
    /// delivery, video is dropped; a malformed payload is logged and skipped.
    void _processPayload(const platform::DictionaryRef& payload);
    /// Does nothing: no video sample reaches the subclass.
    void _processPayloadWithVideoSample(const platform::DictionaryRef& payload);
    /// Queues the rebuilding and delivery of one audio sample on the audio
    /// queue. While a loaded list is processed, its audio payloads are
    /// collected and queued together, in list order, before the next action
    /// hook runs and when the list ends: one hand-over per list rather than
    /// one per sample.
    void _processPayloadWithAudioSample_type(const platform::DictionaryRef& payload, std::int64_t type);
    /// A one-buffer, one-channel list holding a private copy of `data`; null
    /// when `data` is empty.
    [[nodiscard]] AudioBufferListPtr _audioBufferListFromData(const platform::Data& data) const;

    /// The serial audio queue shared by every handler of the process, made on first use.
    [[nodiscard]] platform::DispatchQueue& audioQueue() const;
    /// The serial video queue shared likewise (no video is delivered yet).
    [[nodiscard]] platform::DispatchQueue& videoQueue() const;

    /// The format every rebuilt audio sample declares: 44.1 kHz, 16-bit mono
    /// linear PCM, big-endian for application audio (flags 14), little-endian
    /// for microphone audio (flags 12).
    static platform::AudioStreamBasicDescription audioFormatForSampleType(std::int64_t type);

    [[nodiscard]] std::string className() const override { return "LMBroadcastSampleHandler"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastSampleHandler" || LMBroadcastHandler::isKindOfClassNamed(name);
    }

private:
    void _rebuildAndDeliverAudioSample_type(const platform::DictionaryRef& payload, std::int64_t type);
    void _processLoadedValue(const platform::Value& value);
    /// Hands the audio payloads collected from the list being processed to
    /// the audio queue, as one work item.
    void _handOverAudioBatch();
};

} // namespace lumora
