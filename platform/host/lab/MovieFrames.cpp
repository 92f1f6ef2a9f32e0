#include "platform/host/lab/MovieFrames.h"

#include "platform/host/graphics/Bitmap.h"
#include "platform/host/graphics/ImageBacking.h"
#include "platform/host/media/MediaHandles.h"

#include <array>

extern "C" {
#include <libavformat/avformat.h>
}

namespace lumora::platform::host {

namespace {

struct InputDeleter {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
using InputHandle = std::unique_ptr<AVFormatContext, InputDeleter>;

// Decoding stops looking for a picture after this many packets without one, so
// a file of nothing but audio or garbage cannot keep the lab busy.
constexpr int kPacketsWithoutPicture = 4096;

} // namespace

struct MovieFrames::Decoder {
    InputHandle input;
    CodecContextHandle codec;
    PacketHandle packet { av_packet_alloc() };
    FrameHandle frame { av_frame_alloc() };
    FrameHandle shown { av_frame_alloc() };
    ScalerHandle scaler;
    int stream = -1;
    double timeBase = 0;
    /// The lab's time the current loop of the movie started at.
    double loopStart = 0;
    /// Whether `frame` holds a decoded picture not yet shown.
    bool pending = false;
    bool ended = false;

    // Decodes the next picture into `frame`; false at the end of the movie.
    bool next()
    {
        for (int packets = 0; packets < kPacketsWithoutPicture;) {
            const int received = avcodec_receive_frame(codec.get(), frame.get());
            if (received == 0) {
                return true;
            }
            if (received == AVERROR_EOF) {
                return false;
            }
            if (ended) {
                return false;
            }
            if (av_read_frame(input.get(), packet.get()) < 0) {
                ended = true;
                avcodec_send_packet(codec.get(), nullptr);
                continue;
            }
            if (packet->stream_index == stream) {
                avcodec_send_packet(codec.get(), packet.get());
                ++packets;
            }
            av_packet_unref(packet.get());
        }
        return false;
    }

    void rewind()
    {
        av_seek_frame(input.get(), stream, 0, AVSEEK_FLAG_BACKWARD);
        avcodec_flush_buffers(codec.get());
        ended = false;
        pending = false;
    }
};

std::unique_ptr<MovieFrames> MovieFrames::open(const std::string& path, std::string& error)
{
    auto decoder = std::make_unique<Decoder>();
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
        error = "cannot open " + path;
        return nullptr;
    }
    decoder->input.reset(opened);
    if (avformat_find_stream_info(opened, nullptr) < 0) {
        error = path + " is not a movie";
        return nullptr;
    }
    decoder->stream = av_find_best_stream(opened, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (decoder->stream < 0) {
        error = path + " has no pictures";
        return nullptr;
    }
    const AVStream* stream = opened->streams[decoder->stream];
    const AVCodec* codec = avcodec_find_decoder(stream->codecpar->codec_id);
    decoder->codec.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder->codec || avcodec_parameters_to_context(decoder->codec.get(), stream->codecpar) < 0
        || avcodec_open2(decoder->codec.get(), codec, nullptr) < 0) {
        error = path + ": its pictures cannot be decoded";
        return nullptr;
    }
    decoder->timeBase = av_q2d(stream->time_base);
    if (!decoder->next()) {
        error = path + " has no picture that decodes";
        return nullptr;
    }
    av_frame_move_ref(decoder->shown.get(), decoder->frame.get());
    return std::unique_ptr<MovieFrames>(new MovieFrames(std::move(decoder)));
}

MovieFrames::MovieFrames(std::unique_ptr<Decoder> decoder) : decoder_(std::move(decoder)) { }

MovieFrames::~MovieFrames() = default;

std::shared_ptr<Image> MovieFrames::pictureAt(double seconds, int width, int height)
{
    auto& decoder = *decoder_;
    if (width <= 0 || height <= 0) {
        return nullptr;
    }
    // Movie time: the lab's time from the start of the current loop.
    double time = seconds - decoder.loopStart;
    for (int steps = 0; steps < kPacketsWithoutPicture; ++steps) {
        if (!decoder.pending) {
            if (!decoder.next()) {
                // The end: the movie starts over from here.
                decoder.rewind();
                decoder.loopStart = seconds;
                time = 0;
                if (!decoder.next()) {
                    break;
                }
            }
            decoder.pending = true;
        }
        const auto stamp = decoder.frame->best_effort_timestamp;
        if (stamp != AV_NOPTS_VALUE && static_cast<double>(stamp) * decoder.timeBase > time) {
            break;
        }
        av_frame_unref(decoder.shown.get());
        av_frame_move_ref(decoder.shown.get(), decoder.frame.get());
        decoder.pending = false;
    }
    const AVFrame& shown = *decoder.shown;
    if (shown.width <= 0 || shown.height <= 0) {
        return nullptr;
    }
    decoder.scaler.reset(sws_getCachedContext(decoder.scaler.release(), shown.width, shown.height,
        static_cast<AVPixelFormat>(shown.format), width, height, AV_PIX_FMT_BGRA, SWS_BILINEAR, nullptr, nullptr,
        nullptr));
    if (!decoder.scaler) {
        return nullptr;
    }
    // A bitmap's pixels are native-endian 32-bit ARGB words: BGRA bytes on this machine's byte order.
    Bitmap bitmap(width, height, 1);
    std::array<std::uint8_t*, 1> planes {
        reinterpret_cast<std::uint8_t*>(bitmap.data()) // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    };
    std::array<int, 1> strides { bitmap.stride() };
    sws_scale(decoder.scaler.get(), std::data(shown.data), std::data(shown.linesize), 0, shown.height, planes.data(),
        strides.data());
    return std::make_shared<Image>(std::make_shared<const Image::Backing>(std::move(bitmap)), 1.0);
}

} // namespace lumora::platform::host
