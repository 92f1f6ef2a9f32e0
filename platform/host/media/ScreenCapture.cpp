#include "platform/host/media/ScreenCapture.h"

#include "platform/foundation/Clock.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/DeviceAudio.h"
#include "platform/host/media/MovieWriter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace lumora::platform::host {

namespace {

// Pictures waiting for the encoder before taking another waits for it.
constexpr int kMostWaiting = 4;
// How long closing a movie waits for its encoding.
constexpr auto kEncodingTimeout = std::chrono::seconds(60);
// Frame slots are whole nanoseconds on the clock; this keeps a timer that
// fires at a slot from rounding down to the slot before.
constexpr double kSlotTolerance = 1e-6;

// The queue every capture encodes on. Made once and never destroyed: the
// platform's threads are gone before static objects are.
DispatchQueue& encodingQueue()
{
    static const auto* const queue = new std::shared_ptr<DispatchQueue>( // NOLINT(cppcoreguidelines-owning-memory)
        DispatchQueue::makeSerial("com.lumora.recordingservice.encoder"));
    return **queue;
}

} // namespace

struct ScreenCapture::Encoder {
    explicit Encoder(int framesPerSecond) : movies(framesPerSecond, AudioSampleRate) { }

    std::mutex mutex;
    std::condition_variable changed;
    int waiting = 0;
    // The movies being written; touched on the encoding queue only.
    CapturedMovies movies;

    void post(const std::shared_ptr<Encoder>& self, std::function<void()> task)
    {
        {
            const std::lock_guard lock(mutex);
            ++waiting;
        }
        encodingQueue().async([self, task = std::move(task)] {
            task();
            const std::lock_guard lock(self->mutex);
            --self->waiting;
            self->changed.notify_all();
        });
    }

    // Waits until at most `most` tasks are waiting; false when the encoder took too long.
    bool waitUntilAtMost(int most)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, kEncodingTimeout, [this, most] { return waiting <= most; });
    }
};

std::shared_ptr<ScreenCapture> ScreenCapture::make(
    bool microphone, std::shared_ptr<const DeviceAudio> audio, int framesPerSecond)
{
    return std::shared_ptr<ScreenCapture>(new ScreenCapture(microphone,
        audio ? std::move(audio) : std::make_shared<const DeviceAudio>(), std::clamp(framesPerSecond, 1, 240)));
}

ScreenCapture::ScreenCapture(bool microphone, std::shared_ptr<const DeviceAudio> audio, int framesPerSecond)
    : microphone_(microphone),
      audio_(std::move(audio)),
      framesPerSecond_(framesPerSecond),
      encoder_(std::make_shared<Encoder>(framesPerSecond))
{ }

ScreenCapture::~ScreenCapture()
{
    timer_.reset();
    // Movies left open are completed with what they have, before anyone
    // removes the folder they are in.
    encoder_->post(encoder_, [encoder = encoder_.get()] { encoder->movies.closeAll(); });
    if (!encoder_->waitUntilAtMost(0)) {
        Log::error("Screen capture: the encoder did not finish in time");
    }
}

double ScreenCapture::uptime() const
{
    return Clock::uptime();
}

double ScreenCapture::time() const
{
    if (!started_) {
        return 0;
    }
    return pausedAt_.value_or(uptime()) - startUptime_ - pausedTotal_;
}

void ScreenCapture::start()
{
    if (started_) {
        return;
    }
    started_ = true;
    startUptime_ = uptime();
    takeDueFrames();
    schedule();
}

void ScreenCapture::pause()
{
    if (!started_ || stopped_ || pausedAt_) {
        return;
    }
    takeDueFrames();
    pausedAt_ = uptime();
    timer_.reset();
}

void ScreenCapture::resume()
{
    if (!started_ || stopped_ || !pausedAt_) {
        return;
    }
    pausedTotal_ += uptime() - *pausedAt_;
    pausedAt_.reset();
    schedule();
}

void ScreenCapture::stop()
{
    if (!started_ || stopped_) {
        return;
    }
    takeDueFrames();
    if (!pausedAt_) {
        pausedAt_ = uptime();
    }
    stopped_ = true;
    timer_.reset();
}

void ScreenCapture::setFrameObserver(FrameObserver observer)
{
    observer_ = std::move(observer);
}

void ScreenCapture::setFrameSink(FrameSink sink)
{
    sink_ = std::move(sink);
}

std::shared_ptr<ScreenCapture::Movie> ScreenCapture::openMovie(const std::string& path)
{
    takeDueFrames();
    Bitmap screen;
    SimulatedDevice::shared().display().drawScreen(screen);
    if (screen.isEmpty()) {
        Log::error("Screen capture: there is no screen to capture into %@", path);
        return nullptr;
    }
    auto writer = MovieWriter::create(path,
        { .width = screen.width(),
            .height = screen.height(),
            .framesPerSecond = framesPerSecond_,
            .audioChannels = 1,
            .audioSampleRate = AudioSampleRate });
    if (!writer) {
        return nullptr;
    }
    auto movie = std::make_shared<Movie>(std::move(writer), time());
    ++moviesOpen_;
    // The movie opens on the picture the screen shows now, the one taken last.
    encoder_->post(encoder_, [encoder = encoder_.get(), movie, picture = lastPicture_] {
        if (picture) {
            movie->writer()->addFrame(*picture, 0);
        }
        encoder->movies.add(movie);
    });
    return movie;
}

bool ScreenCapture::closeMovie(const std::shared_ptr<Movie>& movie)
{
    if (!movie) {
        return false;
    }
    takeDueFrames();
    if (moviesOpen_ > 0) {
        --moviesOpen_;
    }
    // Written on the encoding queue, read once the queue has run the close.
    auto written = std::make_shared<bool>(false);
    encoder_->post(encoder_, [encoder = encoder_.get(), movie, written] { *written = encoder->movies.close(movie); });
    if (!encoder_->waitUntilAtMost(0)) {
        Log::error("Screen capture: the encoder did not finish in time");
        return false;
    }
    return *written;
}

void ScreenCapture::schedule()
{
    const double next = static_cast<double>(nextFrame_) / framesPerSecond_;
    timer_ = Clock::scheduleAfter(next - time() + kSlotTolerance, [weak = weak_from_this()] {
        // A timer that was already due when the capture paused or stopped sets no other.
        if (const auto capture = weak.lock(); capture && !capture->stopped_ && !capture->pausedAt_) {
            capture->takeDueFrames();
            capture->schedule();
        }
    });
}

void ScreenCapture::takeDueFrames()
{
    if (!started_ || stopped_ || pausedAt_) {
        return;
    }
    const double now = time();
    const auto last = static_cast<std::int64_t>(std::floor((now * framesPerSecond_) + kSlotTolerance));
    if (last < nextFrame_) {
        return;
    }
    auto picture = std::make_shared<Bitmap>();
    SimulatedDevice::shared().display().drawScreen(*picture);
    if (observer_) {
        observer_(*picture, now);
    }
    Frame frame { picture, nextFrame_, last, {}, nextSample_ };
    nextFrame_ = last + 1;
    lastPicture_ = picture;
    if (const std::int64_t end = std::llround(now * AudioSampleRate); end > nextSample_) {
        // The device's sound at the device times these samples were played.
        frame.samples.resize(static_cast<std::size_t>(end - nextSample_));
        audio_->mix(DeviceAudio::sampleAt(startUptime_ + pausedTotal_) + nextSample_, frame.samples, microphone_);
        nextSample_ = end;
    }
    if (sink_) {
        sink_(frame);
    }
    if (moviesOpen_ == 0) {
        return;
    }

    // Bounded memory: a picture waits for the encoder rather than the encoder for pictures.
    if (!encoder_->waitUntilAtMost(kMostWaiting)) {
        Log::error("Screen capture: the encoder did not finish in time");
    }
    encoder_->post(encoder_, [encoder = encoder_.get(), frame = std::move(frame)] {
        const auto& taken = *frame.picture;
        // A bitmap's pixel words, read as the bytes they are in memory.
        const auto* bytes
            = reinterpret_cast<const std::uint8_t*>( // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
                taken.data());
        encoder->movies.addFrames(bytes, taken.width(), taken.height(), taken.stride(),
            MovieWriter::PixelLayout::NativeARGB32, frame.first, frame.last);
        encoder->movies.addAudio(frame.samples, frame.firstSample);
    });
}

} // namespace lumora::platform::host
