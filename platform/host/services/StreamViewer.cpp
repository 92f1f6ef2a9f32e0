#include "platform/host/services/StreamViewer.h"

#include "platform/foundation/Log.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/MediaHandles.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
}

#include <algorithm>
#include <array>
#include <cstring>

namespace lumora::platform::host {

namespace {

using Clock = std::chrono::steady_clock;

// How often a waiting caller looks again at conditions that time alone changes.
constexpr auto kWaitSlice = std::chrono::milliseconds(20);

std::string errorText(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text {};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

struct InputDeleter {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};

} // namespace

/// What the viewer's thread owns while it plays.
struct StreamViewer::Session {
    std::unique_ptr<AVFormatContext, InputDeleter> input;
    CodecContextHandle video;
    int videoStream = -1;
    ScalerHandle scaler;
    FrameHandle frame { av_frame_alloc() };
    PacketHandle packet { av_packet_alloc() };
};

StreamViewer::StreamViewer(std::string url, Options options, PictureObserver observer)
    : url_(std::move(url)),
      options_(options),
      observer_(std::move(observer)),
      lastArrival_(Clock::now().time_since_epoch().count())
{
    thread_ = std::thread([this] { play(); });
}

StreamViewer::~StreamViewer()
{
    stop();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void StreamViewer::stop()
{
    stopping_ = true;
}

StreamViewer::Summary StreamViewer::summary() const
{
    std::lock_guard lock(mutex_);
    return summary_;
}

template <class Condition> bool StreamViewer::waitFor(std::chrono::milliseconds timeout, Condition condition)
{
    const auto deadline = Clock::now() + timeout;
    std::unique_lock lock(mutex_);
    while (!condition()) {
        const auto now = Clock::now();
        if (now >= deadline) {
            return false;
        }
        changed_.wait_for(lock, std::min<Clock::duration>(kWaitSlice, deadline - now));
    }
    return true;
}

bool StreamViewer::waitUntilPlaying(std::chrono::milliseconds timeout)
{
    bool playing = false;
    waitFor(timeout, [this, &playing] {
        playing = summary_.playing && !summary_.ended;
        return summary_.playing || summary_.ended;
    });
    return playing;
}

bool StreamViewer::waitForFrames(std::size_t count, std::chrono::milliseconds timeout)
{
    return waitFor(timeout, [this, count] { return summary_.frameTimes.size() >= count; });
}

bool StreamViewer::waitForQuiet(std::chrono::milliseconds quiet, std::chrono::milliseconds timeout)
{
    return waitFor(timeout, [this, quiet] {
        return summary_.ended || Clock::now() - Clock::time_point(Clock::duration(lastArrival_.load())) >= quiet;
    });
}

bool StreamViewer::waitUntilEnded(std::chrono::milliseconds timeout)
{
    return waitFor(timeout, [this] { return summary_.ended; });
}

void StreamViewer::play()
{
    Session session;
    std::string failure;
    double firstSound = 0;
    // Every blocking read of the libraries asks this whether to give up: on
    // stop, or when nothing has arrived for the time allowed.
    struct Watch {
        StreamViewer* viewer;
        std::chrono::milliseconds allowed;
    } watch { this, options_.connectTimeout };
    const auto interrupted = [](void* opaque) -> int {
        const auto* const watched = static_cast<const Watch*>(opaque);
        const auto since = Clock::time_point(Clock::duration(watched->viewer->lastArrival_.load()));
        return watched->viewer->stopping_ || Clock::now() - since > watched->allowed ? 1 : 0;
    };

    AVFormatContext* input = avformat_alloc_context();
    input->interrupt_callback = { interrupted, &watch };
    AVDictionary* options = nullptr;
    av_dict_set(&options, "rtmp_live", "live", 0);
    lastArrival_ = Clock::now().time_since_epoch().count();
    // Told the stream's format, the library does not wait for data to guess it:
    // the open returns as soon as the server has accepted the play request.
    const AVInputFormat* format = url_.starts_with("rtmp") ? av_find_input_format("flv") : nullptr;
    int code = avformat_open_input(&input, url_.c_str(), format, &options);
    av_dict_free(&options);
    if (code < 0) {
        failure = "cannot play " + url_ + ": " + errorText(code);
    } else {
        session.input.reset(input);
        {
            std::lock_guard lock(mutex_);
            summary_.playing = true;
        }
        changed_.notify_all();
        watch.allowed = options_.idleTimeout;
        lastArrival_ = Clock::now().time_since_epoch().count();
    }

    while (session.input && !stopping_) {
        code = av_read_frame(session.input.get(), session.packet.get());
        if (code < 0) {
            if (code != AVERROR_EOF && !stopping_) {
                failure = "the stream broke off: " + errorText(code);
            }
            break;
        }
        lastArrival_ = Clock::now().time_since_epoch().count();
        const AVStream* stream = session.input->streams[session.packet->stream_index];
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            // The stream's packets carry no durations: the sound lasts from
            // the first packet's time to the last one's, plus one packet.
            const double time = static_cast<double>(session.packet->pts) * av_q2d(stream->time_base);
            std::lock_guard lock(mutex_);
            if (summary_.audioPackets++ == 0) {
                firstSound = time;
            }
            summary_.audioDuration = summary_.audioPackets > 1
                ? (time - firstSound) * summary_.audioPackets / (summary_.audioPackets - 1)
                : 0.0;
        } else if (stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO
            && (session.videoStream < 0 || session.videoStream == session.packet->stream_index)) {
            if (!session.video) {
                const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
                session.video.reset(decoder != nullptr ? avcodec_alloc_context3(decoder) : nullptr);
                if (!session.video || avcodec_parameters_to_context(session.video.get(), stream->codecpar) < 0
                    || avcodec_open2(session.video.get(), decoder, nullptr) < 0) {
                    failure = "the stream's video cannot be decoded";
                    break;
                }
                session.videoStream = session.packet->stream_index;
            }
            if (avcodec_send_packet(session.video.get(), session.packet.get()) >= 0) {
                while (avcodec_receive_frame(session.video.get(), session.frame.get()) >= 0) {
                    const AVFrame& frame = *session.frame;
                    const double time = frame.best_effort_timestamp == AV_NOPTS_VALUE
                        ? 0.0
                        : static_cast<double>(frame.best_effort_timestamp) * av_q2d(stream->time_base);
                    if (observer_) {
                        Bitmap picture(frame.width, frame.height, 1);
                        session.scaler.reset(sws_getCachedContext(session.scaler.release(), frame.width, frame.height,
                            static_cast<AVPixelFormat>(frame.format), frame.width, frame.height, AV_PIX_FMT_RGB32,
                            SWS_POINT, nullptr, nullptr, nullptr));
                        if (session.scaler && !picture.isEmpty()) {
                            // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the pixels as bytes
                            std::array planes { reinterpret_cast<std::uint8_t*>(picture.data()) };
                            std::array strides { picture.stride() };
                            sws_scale(session.scaler.get(),
                                frame.data, // NOLINT(cppcoreguidelines-pro-bounds-array-to-pointer-decay)
                                frame.linesize, // NOLINT(cppcoreguidelines-pro-bounds-array-to-pointer-decay)
                                0, frame.height, planes.data(), strides.data());
                            observer_(picture, time);
                        }
                    }
                    {
                        std::lock_guard lock(mutex_);
                        summary_.frameTimes.push_back(time);
                        summary_.width = frame.width;
                        summary_.height = frame.height;
                    }
                    changed_.notify_all();
                }
            }
        }
        av_packet_unref(session.packet.get());
    }
    if (!failure.empty() && !stopping_) {
        Log::error("Stream viewer: %s", failure);
    }
    {
        std::lock_guard lock(mutex_);
        summary_.ended = true;
        summary_.failure = failure;
    }
    changed_.notify_all();
}

} // namespace lumora::platform::host
