#include "platform/host/media/MovieWriter.h"

#include "platform/foundation/Log.h"
#include "platform/host/graphics/Bitmap.h"
#include "platform/host/media/MediaHandles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

namespace lumora::platform::host {

namespace {

// Audio that would need more silence than this before it is refused: a time
// that far ahead is a mistake, not a pause.
constexpr double kLongestAudioGap = 3600;
constexpr int kMaxChannels = 2;
constexpr std::int64_t kAudioBitRate = 128000;
// MPEG-4 Part 2 quantiser: low enough that flat colours come back close to
// what was drawn.
constexpr int kMpeg4Quantiser = 3;

std::string describe(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text {};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

// The libraries print only their errors; what the writer makes of them goes to the log.
void quietLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_ERROR); });
}

// Bytes the muxer hands over at a time when the writer does its own output.
constexpr int kOutputBufferSize = 64 * 1024;
// A fragment per key frame, after a header that holds no samples.
constexpr const char* kFragmentFlags = "frag_keyframe+empty_moov+default_base_moof";

struct FormatDeleter {
    void operator()(AVFormatContext* format) const
    {
        if (format->pb != nullptr && (format->oformat->flags & AVFMT_NOFILE) == 0
            && (format->flags & AVFMT_FLAG_CUSTOM_IO) == 0) {
            avio_closep(&format->pb);
        }
        avformat_free_context(format);
    }
};
// The output of a fragmented movie: its buffer goes with it.
struct OutputDeleter {
    void operator()(AVIOContext* output) const
    {
        av_freep(&output->buffer);
        avio_context_free(&output);
    }
};
} // namespace

struct MovieWriter::State {
    std::string path;
    // A fragmented movie's own output (declared before the format, which
    // refers to it, so that it goes after it), the file it writes and the
    // bytes staged for it.
    std::unique_ptr<AVIOContext, OutputDeleter> output;
    int file = -1;
    std::vector<std::uint8_t> staged;
    std::uint64_t written = 0;
    std::uint64_t maxFileBytes = 0;
    bool outOfSpace = false;
    std::unique_ptr<AVFormatContext, FormatDeleter> format;
    CodecContextHandle video;
    CodecContextHandle audio;
    AVStream* videoStream = nullptr;
    AVStream* audioStream = nullptr;
    FrameHandle videoFrame;
    FrameHandle audioFrame;
    PacketHandle packet;
    ScalerHandle scaler;
    std::int64_t lastVideoSlot = -1;
    // Samples not yet encoded, one plane per channel; the first of them is
    // sample number `pendingStart` of the movie.
    std::array<std::vector<float>, kMaxChannels> pending;
    std::int64_t pendingStart = 0;
    bool audioStarted = false;
    bool failed = false;
    bool finished = false;

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    State(State&&) = delete;
    State& operator=(State&&) = delete;
    ~State()
    {
        format.reset();
        if (file >= 0) {
            ::close(file);
        }
    }

    // Logs a failure of the media libraries and leaves the writer failed.
    bool fail(std::string_view what, int code)
    {
        Log::error("Movie writer: %@ failed for %@: %@", what, path, describe(code));
        failed = true;
        return false;
    }

    [[nodiscard]] bool usable() const { return !failed && !finished; }
    [[nodiscard]] int channels() const { return audio ? audio->ch_layout.nb_channels : 0; }
    [[nodiscard]] std::size_t pendingFrames() const { return pending[0].size(); }

    bool openVideo(const Settings& settings);
    bool openAudio(const Settings& settings);
    // Sends `frame` (null: the end) to the encoder and writes the packets it has ready.
    bool encode(AVCodecContext* codec, AVStream* stream, const AVFrame* frame);
    // Encodes pending audio in whole encoder frames; with `all`, the short rest too.
    bool encodePendingAudio(bool all);
    template <class Sample> bool addSamples(const Sample* samples, std::size_t frames, double time);
    // Opens the file and the output of a fragmented movie.
    bool openFragmentedOutput(const std::string& filePath);
    // Writes what the muxer produced since the last call, whole or not at all.
    bool commit();
};

namespace {

#if LIBAVFORMAT_VERSION_MAJOR >= 61
int stageOutput(void* opaque, const std::uint8_t* bytes, int length)
#else
int stageOutput(void* opaque, std::uint8_t* bytes, int length)
#endif
{
    auto& staged = *static_cast<std::vector<std::uint8_t>*>(opaque);
    // The muxer's buffer, read as the bytes it holds.
    staged.insert(staged.end(), bytes, bytes + length); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
    return length;
}

} // namespace

bool MovieWriter::State::openFragmentedOutput(const std::string& filePath)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): open is variadic.
    file = ::open(filePath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0) {
        return fail("creating the file", AVERROR(errno));
    }
    auto* buffer = static_cast<std::uint8_t*>(av_malloc(kOutputBufferSize));
    if (buffer == nullptr) {
        return fail("allocating the output", AVERROR(ENOMEM));
    }
    output.reset(avio_alloc_context(buffer, kOutputBufferSize, 1, &staged, nullptr, stageOutput, nullptr));
    if (!output) {
        av_free(buffer);
        return fail("allocating the output", AVERROR(ENOMEM));
    }
    format->pb = output.get();
    format->flags |= AVFMT_FLAG_CUSTOM_IO;
    return true;
}

bool MovieWriter::State::commit()
{
    if (!output) {
        return true;
    }
    avio_flush(output.get());
    if (staged.empty()) {
        return true;
    }
    if (maxFileBytes > 0 && written + staged.size() > maxFileBytes) {
        staged.clear();
        outOfSpace = true;
        Log::error("Movie writer: no room left for %@ (%@ bytes written)", path, std::to_string(written));
        failed = true;
        return false;
    }
    std::size_t done = 0;
    while (done < staged.size()) {
        const auto wrote = ::write(file, staged.data() + done, staged.size() - done);
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        if (wrote <= 0) {
            const int code = wrote < 0 ? errno : ENOSPC;
            outOfSpace = code == ENOSPC || code == EDQUOT;
            // What did not fit goes: the file ends with the last whole fragment.
            if (::ftruncate(file, static_cast<off_t>(written)) != 0) {
                Log::error("Movie writer: %@ could not be cut back to its last fragment", path);
            }
            staged.clear();
            return fail("writing", AVERROR(code));
        }
        done += static_cast<std::size_t>(wrote);
    }
    written += staged.size();
    staged.clear();
    return true;
}

bool MovieWriter::State::openVideo(const Settings& settings)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name("libx264");
    if (encoder == nullptr) {
        encoder = avcodec_find_encoder(AV_CODEC_ID_MPEG4);
    }
    if (encoder == nullptr) {
        return fail("finding a video encoder", AVERROR_ENCODER_NOT_FOUND);
    }
    video.reset(avcodec_alloc_context3(encoder));
    if (!video) {
        return fail("allocating the video encoder", AVERROR(ENOMEM));
    }
    video->width = std::max(2, settings.width & ~1);
    video->height = std::max(2, settings.height & ~1);
    video->time_base = { 1, settings.framesPerSecond };
    video->framerate = { settings.framesPerSecond, 1 };
    video->pix_fmt = AV_PIX_FMT_YUV420P;
    video->gop_size = settings.framesPerSecond;
    video->max_b_frames = 0;
    // One thread: the writer already runs on a queue of its caller's choosing.
    video->thread_count = 1;
    if (encoder->id == AV_CODEC_ID_H264) {
        if (settings.fragmented) {
            // A movie written as it is recorded, in a process that must stay
            // small: the fastest preset, no frames held back for look-ahead,
            // so each fragment goes out at once. Larger files, far less memory.
            av_opt_set(video->priv_data, "preset", "ultrafast", 0);
            av_opt_set(video->priv_data, "tune", "zerolatency", 0);
        } else {
            av_opt_set(video->priv_data, "preset", "veryfast", 0);
        }
    } else {
        video->flags |= AV_CODEC_FLAG_QSCALE;
        video->global_quality = FF_QP2LAMBDA * kMpeg4Quantiser;
    }
    if ((format->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        video->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (const int code = avcodec_open2(video.get(), encoder, nullptr); code < 0) {
        return fail("opening the video encoder", code);
    }
    videoStream = avformat_new_stream(format.get(), nullptr);
    if (videoStream == nullptr) {
        return fail("adding the video track", AVERROR(ENOMEM));
    }
    videoStream->time_base = video->time_base;
    if (const int code = avcodec_parameters_from_context(videoStream->codecpar, video.get()); code < 0) {
        return fail("describing the video track", code);
    }
    videoFrame.reset(av_frame_alloc());
    if (!videoFrame) {
        return fail("allocating a video frame", AVERROR(ENOMEM));
    }
    videoFrame->format = video->pix_fmt;
    videoFrame->width = video->width;
    videoFrame->height = video->height;
    if (const int code = av_frame_get_buffer(videoFrame.get(), 0); code < 0) {
        return fail("allocating a video frame", code);
    }
    return true;
}

bool MovieWriter::State::openAudio(const Settings& settings)
{
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (encoder == nullptr) {
        return fail("finding the audio encoder", AVERROR_ENCODER_NOT_FOUND);
    }
    audio.reset(avcodec_alloc_context3(encoder));
    if (!audio) {
        return fail("allocating the audio encoder", AVERROR(ENOMEM));
    }
    audio->sample_fmt = AV_SAMPLE_FMT_FLTP;
    audio->sample_rate = settings.audioSampleRate;
    av_channel_layout_default(&audio->ch_layout, settings.audioChannels);
    audio->bit_rate = kAudioBitRate;
    audio->time_base = { 1, settings.audioSampleRate };
    if ((format->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        audio->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    if (const int code = avcodec_open2(audio.get(), encoder, nullptr); code < 0) {
        return fail("opening the audio encoder", code);
    }
    audioStream = avformat_new_stream(format.get(), nullptr);
    if (audioStream == nullptr) {
        return fail("adding the audio track", AVERROR(ENOMEM));
    }
    audioStream->time_base = audio->time_base;
    if (const int code = avcodec_parameters_from_context(audioStream->codecpar, audio.get()); code < 0) {
        return fail("describing the audio track", code);
    }
    audioFrame.reset(av_frame_alloc());
    if (!audioFrame) {
        return fail("allocating an audio frame", AVERROR(ENOMEM));
    }
    audioFrame->format = audio->sample_fmt;
    audioFrame->sample_rate = audio->sample_rate;
    audioFrame->nb_samples = audio->frame_size;
    if (const int code = av_channel_layout_copy(&audioFrame->ch_layout, &audio->ch_layout); code < 0) {
        return fail("allocating an audio frame", code);
    }
    if (const int code = av_frame_get_buffer(audioFrame.get(), 0); code < 0) {
        return fail("allocating an audio frame", code);
    }
    return true;
}

bool MovieWriter::State::encode(AVCodecContext* codec, AVStream* stream, const AVFrame* frame)
{
    if (const int code = avcodec_send_frame(codec, frame); code < 0) {
        return fail("encoding", code);
    }
    for (;;) {
        const int code = avcodec_receive_packet(codec, packet.get());
        if (code == AVERROR(EAGAIN) || code == AVERROR_EOF) {
            return true;
        }
        if (code < 0) {
            return fail("encoding", code);
        }
        if (codec == video.get() && packet->duration <= 0) {
            packet->duration = 1;
        }
        if (codec == audio.get() && output && audio->initial_padding > 0) {
            // A fragmented movie has no edit list to hide the encoder's priming
            // samples behind: they play first instead of before time 0, which
            // would shift every track by their length.
            packet->pts += audio->initial_padding;
            packet->dts += audio->initial_padding;
        }
        av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        // Takes the packet's data, whatever it answers.
        if (const int wrote = av_interleaved_write_frame(format.get(), packet.get()); wrote < 0) {
            return fail("writing", wrote);
        }
        if (!commit()) {
            return false;
        }
    }
}

bool MovieWriter::State::encodePendingAudio(bool all)
{
    const auto frameSize = static_cast<std::size_t>(audio->frame_size);
    while (usable() && (pendingFrames() >= frameSize || (all && pendingFrames() > 0))) {
        const auto count = std::min(frameSize, pendingFrames());
        if (const int code = av_frame_make_writable(audioFrame.get()); code < 0) {
            return fail("preparing an audio frame", code);
        }
        audioFrame->nb_samples = static_cast<int>(count);
        audioFrame->pts = pendingStart;
        for (int channel = 0; channel < channels(); ++channel) {
            auto& plane = pending.at(static_cast<std::size_t>(channel));
            // The encoder's planes are float arrays behind byte pointers.
            auto* target = reinterpret_cast<float*>( // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
                audioFrame->extended_data[channel]);
            std::copy_n(plane.begin(), count, target);
            plane.erase(plane.begin(), plane.begin() + static_cast<std::ptrdiff_t>(count));
        }
        pendingStart += static_cast<std::int64_t>(count);
        if (!encode(audio.get(), audioStream, audioFrame.get())) {
            return false;
        }
    }
    return usable();
}

template <class Sample> bool MovieWriter::State::addSamples(const Sample* samples, std::size_t frames, double time)
{
    if (!usable() || !audio) {
        return false;
    }
    if (samples == nullptr && frames > 0) {
        Log::error("Movie writer: no samples given for %@", path);
        return false;
    }
    const auto start = std::llround(std::max(0.0, time) * audio->sample_rate);
    if (!audioStarted) {
        audioStarted = true;
        pendingStart = start;
    }
    const auto expected = pendingStart + static_cast<std::int64_t>(pendingFrames());
    if (static_cast<double>(start - expected) > kLongestAudioGap * audio->sample_rate) {
        Log::error("Movie writer: audio too far ahead of the movie in %@", path);
        return false;
    }
    // Silence fills a gap, a chunk at a time so that it never piles up.
    for (auto gap = start - expected; gap > 0;) {
        const auto step = std::min<std::int64_t>(gap, audio->frame_size);
        for (auto& plane : pending) {
            plane.insert(plane.end(), static_cast<std::size_t>(step), 0.0F);
        }
        gap -= step;
        if (!encodePendingAudio(false)) {
            return false;
        }
    }
    // What overlaps the samples before is dropped.
    const auto skipped = expected > start ? std::min(frames, static_cast<std::size_t>(expected - start)) : 0;
    const auto channelCount = static_cast<std::size_t>(channels());
    for (std::size_t frame = skipped; frame < frames; ++frame) {
        for (std::size_t channel = 0; channel < channelCount; ++channel) {
            const auto sample = samples[(frame * channelCount) + channel];
            if constexpr (std::is_same_v<Sample, float>) {
                pending.at(channel).push_back(sample);
            } else {
                pending.at(channel).push_back(static_cast<float>(sample) / 32768.0F);
            }
        }
    }
    return encodePendingAudio(false);
}

MovieWriter::MovieWriter(std::unique_ptr<State> state) : state_(std::move(state)) { }

MovieWriter::~MovieWriter()
{
    finish();
}

std::unique_ptr<MovieWriter> MovieWriter::create(const std::string& path, const Settings& settings)
{
    quietLibraries();
    if (settings.width <= 0 || settings.height <= 0 || settings.framesPerSecond <= 0 || settings.framesPerSecond > 1000
        || settings.audioChannels < 0 || settings.audioChannels > kMaxChannels
        || (settings.audioChannels > 0 && settings.audioSampleRate <= 0)) {
        Log::error("Movie writer: unusable settings for %@", path);
        return nullptr;
    }
    auto state = std::make_unique<State>();
    state->path = path;
    AVFormatContext* format = nullptr;
    if (const int code = avformat_alloc_output_context2(&format, nullptr, "mp4", path.c_str()); code < 0) {
        state->fail("preparing the movie", code);
        return nullptr;
    }
    state->format.reset(format);
    state->packet.reset(av_packet_alloc());
    if (!state->packet) {
        state->fail("allocating a packet", AVERROR(ENOMEM));
        return nullptr;
    }
    if (!state->openVideo(settings) || (settings.audioChannels > 0 && !state->openAudio(settings))) {
        return nullptr;
    }
    AVDictionary* options = nullptr;
    if (settings.fragmented) {
        state->maxFileBytes = settings.maxFileBytes;
        if (!state->openFragmentedOutput(path)) {
            return nullptr;
        }
        av_dict_set(&options, "movflags", kFragmentFlags, 0);
    } else if (const int code = avio_open(&state->format->pb, path.c_str(), AVIO_FLAG_WRITE); code < 0) {
        state->fail("creating the file", code);
        return nullptr;
    }
    const int started = avformat_write_header(state->format.get(), &options);
    av_dict_free(&options);
    if (started < 0) {
        state->fail("starting the movie", started);
        return nullptr;
    }
    if (!state->commit()) {
        return nullptr;
    }
    return std::unique_ptr<MovieWriter>(new MovieWriter(std::move(state)));
}

bool MovieWriter::isOutOfSpace() const
{
    return state_->outOfSpace;
}

std::uint64_t MovieWriter::bytesWritten() const
{
    return state_->written;
}

std::string MovieWriter::videoEncoderName() const
{
    return state_->video->codec->name;
}

int MovieWriter::width() const
{
    return state_->video->width;
}

int MovieWriter::height() const
{
    return state_->video->height;
}

bool MovieWriter::addFrame(const Bitmap& frame, double time)
{
    // A bitmap's pixel words, read as the bytes they are in memory.
    const auto* bytes
        = reinterpret_cast<const std::uint8_t*>(frame.data()); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    return addFrame(bytes, frame.width(), frame.height(), frame.stride(), PixelLayout::NativeARGB32, time);
}

bool MovieWriter::addFrame(
    const std::uint8_t* pixels, int width, int height, int bytesPerRow, PixelLayout layout, double time)
{
    auto& state = *state_;
    if (!state.usable()) {
        return false;
    }
    if (pixels == nullptr || width <= 0 || height <= 0 || bytesPerRow < width * 4) {
        Log::error("Movie writer: an unusable frame for %@", state.path);
        return false;
    }
    const auto slot = std::llround(time * state.video->time_base.den);
    if (slot < 0 || slot <= state.lastVideoSlot) {
        return true;
    }
    const auto source = layout == PixelLayout::NativeARGB32 ? AV_PIX_FMT_RGB32 : AV_PIX_FMT_RGBA;
    state.scaler.reset(sws_getCachedContext(state.scaler.release(), width, height, source, state.video->width,
        state.video->height, AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr));
    if (!state.scaler) {
        return state.fail("preparing the scaler", AVERROR(EINVAL));
    }
    if (const int code = av_frame_make_writable(state.videoFrame.get()); code < 0) {
        return state.fail("preparing a video frame", code);
    }
    const std::array<const std::uint8_t*, 1> planes { pixels };
    const std::array<int, 1> strides { bytesPerRow };
    sws_scale(state.scaler.get(), planes.data(), strides.data(), 0, height,
        state.videoFrame->data, // NOLINT(cppcoreguidelines-pro-bounds-array-to-pointer-decay)
        state.videoFrame->linesize); // NOLINT(cppcoreguidelines-pro-bounds-array-to-pointer-decay)
    state.videoFrame->pts = slot;
    state.lastVideoSlot = slot;
    return state.encode(state.video.get(), state.videoStream, state.videoFrame.get());
}

bool MovieWriter::addAudio(const std::int16_t* samples, std::size_t frames, double time)
{
    return state_->addSamples(samples, frames, time);
}

bool MovieWriter::addAudio(const float* samples, std::size_t frames, double time)
{
    return state_->addSamples(samples, frames, time);
}

bool MovieWriter::finish()
{
    auto& state = *state_;
    if (state.finished) {
        return !state.failed;
    }
    if (!state.failed) {
        if (state.audio) {
            state.encodePendingAudio(true);
            if (state.usable()) {
                state.encode(state.audio.get(), state.audioStream, nullptr);
            }
        }
        if (state.usable()) {
            state.encode(state.video.get(), state.videoStream, nullptr);
        }
        if (state.usable()) {
            if (const int code = av_write_trailer(state.format.get()); code < 0) {
                state.fail("completing the movie", code);
            } else {
                state.commit();
            }
        }
    }
    state.finished = true;
    if (state.output) {
        if (::close(state.file) != 0 && !state.failed) {
            state.fail("closing the file", AVERROR(errno));
        }
        state.file = -1;
    } else if (state.format->pb != nullptr) {
        if (const int code = avio_closep(&state.format->pb); code < 0 && !state.failed) {
            state.fail("closing the file", code);
        }
    }
    return !state.failed;
}

} // namespace lumora::platform::host
