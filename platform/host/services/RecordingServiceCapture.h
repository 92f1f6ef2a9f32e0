#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/host/media/FrameRing.h"
#include "platform/host/media/ScreenCapture.h"
#include "platform/host/transport/Message.h"
#include "platform/host/transport/SocketConnection.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

namespace lumora::platform::host {

class DeviceAudio;

/// The device's side of the capture channel of the recording service's
/// process: a second socket between the device and that process, which the
/// application never sees. Over it the service asks for the screen to be
/// captured (start, pause, resume, mute the microphone, stop), and the device
/// answers with a ring of frame slots in shared memory (`FrameRing`, passed
/// once with the start's answer) and then sends, for each picture it takes,
/// the slot it wrote it into and the frame slots it fills, and the device's
/// sound (`DeviceAudio`: the application's, with the microphone's when it was
/// granted, silent from the moment the service mutes it). The service gives
/// each slot back once it has encoded its picture.
///
/// The pictures are taken by a `ScreenCapture` on the MainQueue, on the
/// device clock, so a held clock gives the same movie every time. When every
/// slot is still held by the service, taking a picture waits for one at most
/// `SlotWait` (wall-clock time); then the picture is dropped and counted
/// (`framesDropped`), its sound still sent, so a slow service costs pictures,
/// never memory.
///
/// What the service sends is checked like any other process's input: a
/// message that does not fit is logged and ends the channel, and with it the
/// capture.
class RecordingServiceCapture : private platform::Noncopyable,
                                public std::enable_shared_from_this<RecordingServiceCapture> {
public:
    /// How long taking a picture waits for the service to give back a slot.
    static constexpr std::chrono::milliseconds SlotWait { 50 };
    /// Samples of sound in one message at most.
    static constexpr std::size_t MaxSamplesPerMessage = 32768;

    /// The channel's messages. The service asks: a start (a request; the
    /// answer is the ring's memory, its width, height and slot count, the
    /// frame rate and the audio rate, or nothing when there is no screen),
    /// a stop (a request, answered once every picture taken is sent, with the
    /// count of pictures dropped), pause, resume, muting, and giving a slot back.
    static constexpr std::string_view StartMessage = "startCaptureWithMicrophone:";
    static constexpr std::string_view StopMessage = "stopCapture";
    static constexpr std::string_view PauseMessage = "pauseCapture";
    static constexpr std::string_view ResumeMessage = "resumeCapture";
    static constexpr std::string_view MuteMessage = "setMicrophoneMuted:";
    static constexpr std::string_view ReleaseMessage = "releaseFrameSlot:";
    /// The device sends: a picture (its slot, or -1 when it was dropped, and
    /// the first and last frame slots it fills) and sound (16-bit samples and
    /// the capture sample number of the first).
    static constexpr std::string_view FrameMessage = "capturedFrameInSlot:first:last:";
    static constexpr std::string_view SamplesMessage = "capturedSamples:first:";
    /// The device passes on what a broadcast's upload extension reported,
    /// for the service to send to the application.
    static constexpr std::string_view ServiceInfoMessage = "broadcastServiceInfo:";

    struct Settings {
        int framesPerSecond = ScreenCapture::FramesPerSecond;
        int slots = FrameRing::DefaultSlots;
    };

    /// Serves the channel on the device's end `socket` (taken over).
    static std::shared_ptr<RecordingServiceCapture> open(int socket, Settings settings);
    ~RecordingServiceCapture();

    /// Ends the channel (the capture stops on the MainQueue).
    void close();
    [[nodiscard]] bool isOpen() const;

    /// The capture going on, or null; on the MainQueue.
    [[nodiscard]] std::shared_ptr<ScreenCapture> screenCapture() const;
    /// Whether the microphone is muted in the capture going on.
    [[nodiscard]] bool isMicrophoneMuted() const { return microphoneMuted_.load(); }
    /// Pictures sent to the service, and pictures dropped because it held every slot.
    [[nodiscard]] std::uint64_t framesSent() const { return framesSent_.load(); }
    [[nodiscard]] std::uint64_t framesDropped() const { return framesDropped_.load(); }
    /// Slots the service holds now.
    [[nodiscard]] int framesInFlight() const;
    /// Hands the service new information about the broadcast going through
    /// it, which the service sends on to the application.
    void announceBroadcastServiceInfo(const DictionaryRef& serviceInfo);

    struct Private;
    RecordingServiceCapture(Settings settings, const Private& /*key*/) : settings_(settings) { }

private:
    void received(const transport::Message& message);
    void refuse(const transport::Message& message, std::string_view why);
    void start(std::uint64_t number, bool microphone);
    void stop(std::uint64_t number);
    void ended();
    void send(const ScreenCapture::Frame& frame);
    std::shared_ptr<transport::SocketConnection> connection() const;

    const Settings settings_;
    mutable std::mutex mutex_;
    std::condition_variable released_;
    std::shared_ptr<transport::SocketConnection> connection_;
    std::shared_ptr<FrameRing> ring_;
    // The MainQueue's own: the capture and the sound it takes.
    std::shared_ptr<ScreenCapture> capture_;
    std::shared_ptr<DeviceAudio> audio_;
    std::atomic<bool> microphoneMuted_ { false };
    std::atomic<std::uint64_t> framesSent_ { 0 };
    std::atomic<std::uint64_t> framesDropped_ { 0 };
};

} // namespace lumora::platform::host
