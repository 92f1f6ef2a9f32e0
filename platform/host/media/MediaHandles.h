#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace lumora::platform::host {

/// Owning handles of the media libraries' objects, freed the way each
/// library frees its own.
struct CodecContextDeleter {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FrameDeleter {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScalerDeleter {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};

/// An encoder's or decoder's context.
using CodecContextHandle = std::unique_ptr<AVCodecContext, CodecContextDeleter>;
/// A picture or a run of audio samples.
using FrameHandle = std::unique_ptr<AVFrame, FrameDeleter>;
/// One compressed packet.
using PacketHandle = std::unique_ptr<AVPacket, PacketDeleter>;
/// A picture scaler and converter.
using ScalerHandle = std::unique_ptr<SwsContext, ScalerDeleter>;

} // namespace lumora::platform::host
