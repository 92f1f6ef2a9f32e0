#pragma once

#include <cstdint>
#include <string_view>

namespace lumora {

// Titles of the extension items an upload extension receives and returns.
// Each value is its own name. ExtensionUserInfo and BroadcastConfiguration
// are also labels of the broadcast setup extension, with the same values.

/// Host to extension: a string holding the movie clip's file URL.
inline constexpr std::string_view LMBroadcastExtensionKeyMovieClipURL = "LMBroadcastExtensionKeyMovieClipURL";
/// Host to extension: the broadcast's setup information (a dictionary); also
/// a key of the start-action payload of the sample handler.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionUserInfo = "LMBroadcastExtensionKeyExtensionUserInfo";
/// Host to extension: a boolean, true when this clip is the last one.
inline constexpr std::string_view LMBroadcastExtensionKeyRequestedFinish = "LMBroadcastExtensionKeyRequestedFinish";
/// Host to extension: a string, the sandbox token that grants read access to the clip file.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionSandboxToken
    = "LMBroadcastExtensionKeyExtensionSandboxToken";
/// Extension to host: the keyed archive of an updated LMBroadcastConfiguration.
inline constexpr std::string_view LMBroadcastExtensionKeyBroadcastConfiguration
    = "LMBroadcastExtensionKeyBroadcastConfiguration";
/// Extension to host: the handler's service-info dictionary.
inline constexpr std::string_view LMBroadcastExtensionKeyExtensionServiceInfo
    = "LMBroadcastExtensionKeyExtensionServiceInfo";

// Keys of the payload dictionaries that the sample handler decodes.

inline constexpr std::string_view LMBroadcastProcessExtensionPayloadKeySampleType
    = "LMBroadcastProcessExtensionPayloadKeySampleType";
inline constexpr std::string_view LMBroadcastProcessExtensionPayloadKeyActionType
    = "LMBroadcastProcessExtensionPayloadKeyActionType";
inline constexpr std::string_view LMBroadcastProcessExtensionPayloadKeyNumSamples
    = "LMBroadcastProcessExtensionPayloadKeyNumSamples";
inline constexpr std::string_view LMBroadcastProcessExtensionPayloadKeyAudioBufferList
    = "LMBroadcastProcessExtensionPayloadKeyAudioBufferList";
inline constexpr std::string_view LMBroadcastProcessExtensionPayloadKeyTimingInfo
    = "LMBroadcastProcessExtensionPayloadKeyTimingInfo";

/// The kind of sample a payload carries; the same numbers reach
/// `processSampleBuffer_withType`.
enum LMBroadcastSampleType : std::int64_t {
    LMBroadcastSampleTypeVideo = 1,
    LMBroadcastSampleTypeAudioApp = 2,
    LMBroadcastSampleTypeAudioMic = 3,
};

/// The broadcast action of a payload that carries no sample.
enum LMBroadcastActionType : std::int64_t {
    LMBroadcastActionTypeStarted = 1,
    LMBroadcastActionTypePaused = 2,
    LMBroadcastActionTypeResumed = 3,
    LMBroadcastActionTypeFinished = 4,
};

/// Labels of the sample handler's serial queues, shared by every handler of the process.
inline constexpr std::string_view LMBroadcastAudioSampleQueueLabel = "com.lumora.broadcast.AudioSampleQueue";
inline constexpr std::string_view LMBroadcastVideoSampleQueueLabel = "com.lumora.broadcast.VideoSampleQueue";

} // namespace lumora
