#include "tests/harness/MovieProbe.h"

#include "platform/host/media/MediaHandles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <numbers>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace lumora::test {

namespace {

struct InputDeleter {
    void operator()(AVFormatContext* format) const { avformat_close_input(&format); }
};
using Codec = platform::host::CodecContextHandle;

Codec openDecoder(const AVStream* stream)
{
    const AVCodec* decoder = avcodec_find_decoder(stream->codecpar->codec_id);
    if (decoder == nullptr) {
        return nullptr;
    }
    Codec codec(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), stream->codecpar) < 0
        || avcodec_open2(codec.get(), decoder, nullptr) < 0) {
        return nullptr;
    }
    return codec;
}

MovieContents::Colour centreOf(const AVFrame& frame)
{
    // One pixel converted to RGB: scale the row and column it sits in.
    const int x = frame.width / 2;
    const int y = frame.height / 2;
    const platform::host::ScalerHandle scaler(
        sws_getContext(frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), frame.width, frame.height,
            AV_PIX_FMT_RGB24, SWS_POINT, nullptr, nullptr, nullptr));
    std::vector<std::uint8_t> rgb(static_cast<std::size_t>(frame.width) * frame.height * 3);
    std::array<std::uint8_t*, 1> planes { rgb.data() };
    std::array<int, 1> strides { frame.width * 3 };
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes.data(), strides.data());
    const auto* pixel = &rgb[((static_cast<std::size_t>(y) * frame.width) + x) * 3];
    return { pixel[0], pixel[1], pixel[2] };
}

} // namespace

std::optional<MovieContents> decodeMovie(const std::string& path)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
        return std::nullopt;
    }
    std::unique_ptr<AVFormatContext, InputDeleter> format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) {
        return std::nullopt;
    }
    const int videoIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    const int audioIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (videoIndex < 0) {
        return std::nullopt;
    }
    MovieContents contents;
    contents.containerName = format->iformat->name;
    contents.duration = static_cast<double>(format->duration) / AV_TIME_BASE;
    const AVStream* video = format->streams[videoIndex];
    const AVStream* audio = audioIndex >= 0 ? format->streams[audioIndex] : nullptr;
    contents.videoCodec = avcodec_get_name(video->codecpar->codec_id);
    contents.width = video->codecpar->width;
    contents.height = video->codecpar->height;
    contents.hasAudio = audio != nullptr;
    contents.audioChannels = audio != nullptr ? audio->codecpar->ch_layout.nb_channels : 0;

    auto videoDecoder = openDecoder(video);
    auto audioDecoder = audio != nullptr ? openDecoder(audio) : nullptr;
    if (!videoDecoder || (audio != nullptr && !audioDecoder)) {
        return std::nullopt;
    }
    platform::host::PacketHandle packet(av_packet_alloc());
    platform::host::FrameHandle frame(av_frame_alloc());
    std::int64_t audioSamples = 0;
    double squares = 0;
    std::int64_t squared = 0;
    // Sends one packet (null: the end) and takes every frame the decoder has ready.
    const auto decode = [&](AVCodecContext* codec, const AVStream* stream, const AVPacket* sent) {
        if (avcodec_send_packet(codec, sent) < 0) {
            return false;
        }
        for (;;) {
            const int code = avcodec_receive_frame(codec, frame.get());
            if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) {
                return true;
            }
            if (code < 0) {
                return false;
            }
            if (stream == video) {
                contents.frames.push_back(
                    { static_cast<double>(frame->best_effort_timestamp) * av_q2d(stream->time_base),
                        centreOf(*frame) });
            } else {
                audioSamples += frame->nb_samples;
                const auto* first = reinterpret_cast<const float*>(frame->extended_data[0]);
                contents.audioSamples.insert(contents.audioSamples.end(), first, first + frame->nb_samples);
                for (int channel = 0; channel < frame->ch_layout.nb_channels; ++channel) {
                    const auto* samples = reinterpret_cast<const float*>(frame->extended_data[channel]);
                    for (int index = 0; index < frame->nb_samples; ++index) {
                        squares += static_cast<double>(samples[index]) * samples[index];
                        ++squared;
                    }
                }
            }
            av_frame_unref(frame.get());
        }
    };
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        bool decoded = true;
        if (packet->stream_index == videoIndex) {
            decoded = decode(videoDecoder.get(), video, packet.get());
        } else if (packet->stream_index == audioIndex) {
            decoded = decode(audioDecoder.get(), audio, packet.get());
        }
        av_packet_unref(packet.get());
        if (!decoded) {
            return std::nullopt;
        }
    }
    if (!decode(videoDecoder.get(), video, nullptr) || (audioDecoder && !decode(audioDecoder.get(), audio, nullptr))) {
        return std::nullopt;
    }
    if (audio != nullptr) {
        contents.audioDuration = static_cast<double>(audioSamples) / audio->codecpar->sample_rate;
        contents.audioSampleRate = audio->codecpar->sample_rate;
        contents.audioLevel = squared > 0 ? std::sqrt(squares / static_cast<double>(squared)) : 0;
    }
    return contents;
}

std::optional<MovieContents::Colour> MoviePicture::pixelAt(int x, int y) const
{
    if (x < 0 || y < 0 || x >= width || y >= height) {
        return std::nullopt;
    }
    const auto* pixel = &rgb[((static_cast<std::size_t>(y) * width) + x) * 3];
    return MovieContents::Colour { pixel[0], pixel[1], pixel[2] };
}

std::optional<MoviePicture> decodePictureAt(const std::string& path, double time)
{
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) {
        return std::nullopt;
    }
    std::unique_ptr<AVFormatContext, InputDeleter> format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0) {
        return std::nullopt;
    }
    const int videoIndex = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (videoIndex < 0) {
        return std::nullopt;
    }
    const AVStream* video = format->streams[videoIndex];
    auto decoder = openDecoder(video);
    if (!decoder) {
        return std::nullopt;
    }
    platform::host::PacketHandle packet(av_packet_alloc());
    platform::host::FrameHandle frame(av_frame_alloc());
    std::optional<MoviePicture> shown;
    // Keeps every frame that starts at or before `time`, the last one winning.
    const auto take = [&](const AVPacket* sent) {
        if (avcodec_send_packet(decoder.get(), sent) < 0) {
            return false;
        }
        while (avcodec_receive_frame(decoder.get(), frame.get()) == 0) {
            const double at = static_cast<double>(frame->best_effort_timestamp) * av_q2d(video->time_base);
            if (at <= time + 1e-6) {
                MoviePicture picture { frame->width, frame->height, {} };
                picture.rgb.resize(static_cast<std::size_t>(frame->width) * frame->height * 3);
                const platform::host::ScalerHandle scaler(
                    sws_getContext(frame->width, frame->height, static_cast<AVPixelFormat>(frame->format), frame->width,
                        frame->height, AV_PIX_FMT_RGB24, SWS_POINT, nullptr, nullptr, nullptr));
                std::array<std::uint8_t*, 1> planes { picture.rgb.data() };
                std::array<int, 1> strides { frame->width * 3 };
                sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, planes.data(), strides.data());
                shown = std::move(picture);
            }
            av_frame_unref(frame.get());
        }
        return true;
    };
    while (av_read_frame(format.get(), packet.get()) >= 0) {
        const bool ok = packet->stream_index != videoIndex || take(packet.get());
        av_packet_unref(packet.get());
        if (!ok) {
            return std::nullopt;
        }
    }
    take(nullptr);
    return shown;
}

ToneComponent toneComponent(
    const std::vector<float>& samples, std::size_t first, std::size_t count, double frequency, int sampleRate)
{
    double real = 0;
    double imaginary = 0;
    const std::size_t end = std::min(samples.size(), first + count);
    for (std::size_t index = first; index < end; ++index) {
        const double angle
            = 2 * std::numbers::pi * frequency * static_cast<double>(index - first) / static_cast<double>(sampleRate);
        real += samples[index] * std::cos(angle);
        imaginary -= samples[index] * std::sin(angle);
    }
    const auto taken = static_cast<double>(end > first ? end - first : 1);
    return { 2 * std::hypot(real, imaginary) / taken, std::atan2(imaginary, real) };
}

bool closeColours(const MovieContents::Colour& colour, const MovieContents::Colour& expected, int tolerance)
{
    return std::abs(colour.red - expected.red) <= tolerance && std::abs(colour.green - expected.green) <= tolerance
        && std::abs(colour.blue - expected.blue) <= tolerance;
}

} // namespace lumora::test
