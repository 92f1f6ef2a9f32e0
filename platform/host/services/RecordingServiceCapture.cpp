#include "platform/host/services/RecordingServiceCapture.h"

#include "platform/foundation/Clock.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/transport/FileHandle.h"

#include <algorithm>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace lumora::platform::host {

using transport::FileHandle;
using transport::Message;
using transport::SocketConnection;

struct RecordingServiceCapture::Private { };

std::shared_ptr<RecordingServiceCapture> RecordingServiceCapture::open(int socket, Settings settings)
{
    auto capture = std::make_shared<RecordingServiceCapture>(settings, Private {});
    const std::weak_ptr<RecordingServiceCapture> weak = capture;
    auto connection = SocketConnection::open(socket, "recording service capture",
        { [weak](const Message& message) {
             if (const auto self = weak.lock()) {
                 self->received(message);
             }
         },
            [weak](const std::string& /*reason*/) {
                if (const auto self = weak.lock()) {
                    self->ended();
                }
            } });
    std::lock_guard lock(capture->mutex_);
    capture->connection_ = std::move(connection);
    return capture;
}

RecordingServiceCapture::~RecordingServiceCapture()
{
    if (const auto link = connection()) {
        link->close("the device let the channel go");
    }
}

std::shared_ptr<SocketConnection> RecordingServiceCapture::connection() const
{
    std::lock_guard lock(mutex_);
    return connection_;
}

void RecordingServiceCapture::close()
{
    if (const auto link = connection()) {
        link->close("the device closed the channel");
    }
}

bool RecordingServiceCapture::isOpen() const
{
    const auto link = connection();
    return link && link->isOpen();
}

std::shared_ptr<ScreenCapture> RecordingServiceCapture::screenCapture() const
{
    return capture_;
}

int RecordingServiceCapture::framesInFlight() const
{
    std::lock_guard lock(mutex_);
    return ring_ ? ring_->slotsInUse() : 0;
}

void RecordingServiceCapture::announceBroadcastServiceInfo(const DictionaryRef& serviceInfo)
{
    if (const auto link = connection()) {
        link->send({ Message::Kind::Call, 0, std::string(ServiceInfoMessage), { Value(serviceInfo) } });
    }
}

void RecordingServiceCapture::refuse(const Message& message, std::string_view why)
{
    Log::error("Recording service capture: refused %@ from the service: %@", message.selector, std::string(why));
    close();
}

void RecordingServiceCapture::received(const Message& message)
{
    const auto link = connection();
    // The channel reads on at once: every message here is small, and the
    // capture's work goes to the MainQueue.
    const auto finished = [&link] {
        if (link) {
            link->deliveryFinished();
        }
    };
    const auto& arguments = message.arguments;
    const auto is = [&message](std::string_view selector, Message::Kind kind, std::size_t count) {
        return message.selector == selector && message.kind == kind && message.arguments.size() == count;
    };
    const std::weak_ptr<RecordingServiceCapture> weak = weak_from_this();
    if (is(ReleaseMessage, Message::Kind::Call, 1) && arguments[0].isInteger()) {
        bool released = false;
        {
            std::lock_guard lock(mutex_);
            released = ring_ && arguments[0].int64Value() >= 0 && arguments[0].int64Value() < FrameRing::MaxSlots
                && ring_->release(static_cast<int>(arguments[0].int64Value()));
        }
        if (!released) {
            finished();
            refuse(message, "a slot it does not hold");
            return;
        }
        released_.notify_all();
    } else if (is(StartMessage, Message::Kind::Request, 1) && arguments[0].isBool()) {
        DispatchQueue::main().async([weak, number = message.number, microphone = arguments[0].boolValue()] {
            if (const auto self = weak.lock()) {
                self->start(number, microphone);
            }
        });
    } else if (is(StopMessage, Message::Kind::Request, 0)) {
        DispatchQueue::main().async([weak, number = message.number] {
            if (const auto self = weak.lock()) {
                self->stop(number);
            }
        });
    } else if ((is(PauseMessage, Message::Kind::Call, 0) || is(ResumeMessage, Message::Kind::Call, 0))
        || (is(MuteMessage, Message::Kind::Call, 1) && arguments[0].isBool())) {
        DispatchQueue::main().async(
            [weak, selector = message.selector, muted = !arguments.empty() && arguments[0].boolValue()] {
                const auto self = weak.lock();
                const auto capture = self ? self->capture_ : nullptr;
                if (!capture) {
                    return;
                }
                if (selector == PauseMessage) {
                    capture->pause();
                } else if (selector == ResumeMessage) {
                    capture->resume();
                } else if (self->audio_) {
                    // From the sample the device plays now on.
                    self->audio_->setMicrophoneMuted(muted, DeviceAudio::sampleAt(Clock::uptime()));
                    self->microphoneMuted_ = muted;
                }
            });
    } else {
        finished();
        refuse(message, "a message the channel does not take");
        return;
    }
    finished();
}

void RecordingServiceCapture::start(std::uint64_t number, bool microphone)
{
    const auto link = connection();
    if (!link) {
        return;
    }
    if (capture_) {
        capture_->stop();
        capture_.reset();
    }
    Bitmap screen;
    SimulatedDevice::shared().display().drawScreen(screen);
    std::shared_ptr<FrameRing> ring
        = screen.isEmpty() ? nullptr : FrameRing::create(screen.width(), screen.height(), settings_.slots);
    const int shared
        = ring ? ::fcntl(ring->descriptor(), F_DUPFD_CLOEXEC, 0) : -1; // NOLINT(cppcoreguidelines-pro-type-vararg)
    if (shared < 0) {
        Log::error("Recording service capture: there is no screen to capture");
        link->send({ Message::Kind::Reply, number, std::string(StartMessage), {} });
        return;
    }
    {
        std::lock_guard lock(mutex_);
        ring_ = ring;
    }
    audio_ = std::make_shared<DeviceAudio>();
    auto capture = ScreenCapture::make(microphone, audio_, settings_.framesPerSecond);
    capture->setFrameSink([weak = weak_from_this()](const ScreenCapture::Frame& frame) {
        if (const auto self = weak.lock()) {
            self->send(frame);
        }
    });
    microphoneMuted_ = false;
    capture_ = capture;
    // The answer goes before the first picture, which the start takes at once.
    link->send({ Message::Kind::Reply, number, std::string(StartMessage),
        { Value(std::make_shared<FileHandle>(shared, FileHandle::Kind::SharedMemory)), ring->width(), ring->height(),
            ring->slots(), capture->framesPerSecond(), ScreenCapture::AudioSampleRate } });
    capture->start();
}

void RecordingServiceCapture::stop(std::uint64_t number)
{
    if (capture_) {
        // The pictures due so far go out before the answer.
        capture_->stop();
        capture_.reset();
    }
    if (const auto link = connection()) {
        link->send({ Message::Kind::Reply, number, std::string(StopMessage),
            { static_cast<std::int64_t>(framesDropped_.load()) } });
    }
}

void RecordingServiceCapture::ended()
{
    released_.notify_all();
    DispatchQueue::main().async([weak = weak_from_this()] {
        if (const auto self = weak.lock(); self && self->capture_) {
            self->capture_->stop();
            self->capture_.reset();
        }
    });
}

void RecordingServiceCapture::send(const ScreenCapture::Frame& frame)
{
    const auto link = connection();
    if (!link || !link->isOpen()) {
        return;
    }
    // The sound first, in messages of bounded size: it is never dropped.
    for (std::size_t at = 0; at < frame.samples.size(); at += MaxSamplesPerMessage) {
        const auto count = std::min(MaxSamplesPerMessage, frame.samples.size() - at);
        link->send({ Message::Kind::Call, 0, std::string(SamplesMessage),
            { Data(frame.samples.data() + at, count * sizeof(std::int16_t)),
                frame.firstSample + static_cast<std::int64_t>(at) } });
    }
    std::shared_ptr<FrameRing> ring;
    std::optional<int> slot;
    {
        std::unique_lock lock(mutex_);
        ring = ring_;
        const auto& picture = *frame.picture;
        if (ring && picture.width() == ring->width() && picture.height() == ring->height()) {
            released_.wait_for(lock, SlotWait, [&] { return (slot = ring->acquire()).has_value() || !link->isOpen(); });
        }
    }
    if (slot) {
        const auto& picture = *frame.picture;
        std::memcpy(ring->pixels(*slot), picture.data(), ring->slotSize());
        ++framesSent_;
    } else {
        ++framesDropped_;
    }
    link->send({ Message::Kind::Call, 0, std::string(FrameMessage),
        { static_cast<std::int64_t>(slot.value_or(-1)), frame.first, frame.last } });
}

} // namespace lumora::platform::host
