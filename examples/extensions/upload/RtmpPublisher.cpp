#include "extensions/upload/RtmpPublisher.h"

#include "platform/foundation/Log.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <thread>
#include <vector>

namespace lumora::sample {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::string_view kScheme = "rtmp://";
// Room to close a broken session politely before it is simply dropped.
constexpr auto kCloseTimeout = std::chrono::milliseconds(300);
constexpr int kReadBufferSize = 64 * 1024;
constexpr AVRational kMicroseconds { 1, 1'000'000 };

std::string errorText(int code)
{
    if (code == AVERROR_EXIT) {
        return "no answer in time";
    }
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text {};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

struct PacketDeleter {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using PacketHandle = std::unique_ptr<AVPacket, PacketDeleter>;
struct ParametersDeleter {
    void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};
using ParametersHandle = std::unique_ptr<AVCodecParameters, ParametersDeleter>;
struct InputDeleter {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
};
struct IOContextDeleter {
    void operator()(AVIOContext* io) const
    {
        if (io != nullptr) {
            av_freep(static_cast<void*>(&io->buffer));
        }
        avio_context_free(&io);
    }
};

// The clip's bytes as libavformat reads them: a cursor over memory.
struct MemoryReader {
    const std::uint8_t* bytes = nullptr;
    std::int64_t size = 0;
    std::int64_t position = 0;

    static int read(void* opaque, std::uint8_t* buffer, int wanted)
    {
        auto* reader = static_cast<MemoryReader*>(opaque);
        const auto count = std::min<std::int64_t>(wanted, reader->size - reader->position);
        if (count <= 0) {
            return AVERROR_EOF;
        }
        std::memcpy(buffer, reader->bytes + reader->position, static_cast<std::size_t>(count));
        reader->position += count;
        return static_cast<int>(count);
    }
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence)
    {
        auto* reader = static_cast<MemoryReader*>(opaque);
        // NOLINTNEXTLINE(hicpp-signed-bitwise): the library's flag word
        if ((whence & AVSEEK_SIZE) != 0) {
            return reader->size;
        }
        std::int64_t target = offset;
        switch (whence & ~AVSEEK_FORCE) { // NOLINT(hicpp-signed-bitwise)
        case SEEK_CUR:
            target += reader->position;
            break;
        case SEEK_END:
            target += reader->size;
            break;
        default:
            break;
        }
        if (target < 0 || target > reader->size) {
            return AVERROR(EINVAL);
        }
        reader->position = target;
        return target;
    }
};

struct Deadline {
    SteadyClock::time_point at;
    static int passed(void* opaque) { return SteadyClock::now() >= static_cast<Deadline*>(opaque)->at ? 1 : 0; }
};

} // namespace

/// One clip, read whole before anything is sent: its video and audio
/// streams' parameters and packets, and where it starts and how long it is.
struct RtmpPublisher::Clip {
    struct Track {
        ParametersHandle parameters;
        AVRational timeBase { 1, 1 };
    };
    std::optional<Track> video;
    std::optional<Track> audio;
    /// Packets in file order; `stream_index` is 0 for video and 1 for audio.
    std::vector<PacketHandle> packets;
    std::int64_t start = 0;
    std::int64_t length = 0;

    // The clip in `movie`, or why it is none.
    static std::optional<std::string> read(const platform::Data& movie, Clip& clip)
    {
        if (movie.length() == 0) {
            return "the clip is empty";
        }
        MemoryReader reader { movie.bytes(), static_cast<std::int64_t>(movie.length()), 0 };
        auto* buffer = static_cast<std::uint8_t*>(av_malloc(kReadBufferSize));
        std::unique_ptr<AVIOContext, IOContextDeleter> io(
            avio_alloc_context(buffer, kReadBufferSize, 0, &reader, &MemoryReader::read, nullptr, &MemoryReader::seek));
        if (!io) {
            av_free(buffer);
            return "out of memory";
        }
        AVFormatContext* opened = avformat_alloc_context();
        opened->pb = io.get();
        opened->flags |= AVFMT_FLAG_CUSTOM_IO; // NOLINT(hicpp-signed-bitwise)
        if (const int code = avformat_open_input(&opened, nullptr, nullptr, nullptr); code < 0) {
            return "the clip is not a movie: " + errorText(code);
        }
        const std::unique_ptr<AVFormatContext, InputDeleter> input(opened);
        if (const int code = avformat_find_stream_info(input.get(), nullptr); code < 0) {
            return "the clip is not a movie: " + errorText(code);
        }
        std::array<int, 2> streams { av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0),
            av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) };
        if (streams[0] < 0) {
            return "the clip has no video";
        }
        for (std::size_t track = 0; track < streams.size(); ++track) {
            if (streams[track] < 0) {
                continue;
            }
            const AVStream* stream = input->streams[streams[track]];
            Track found { ParametersHandle(avcodec_parameters_alloc()), stream->time_base };
            if (!found.parameters || avcodec_parameters_copy(found.parameters.get(), stream->codecpar) < 0) {
                return "out of memory";
            }
            (track == 0 ? clip.video : clip.audio) = std::move(found);
        }

        // The clip starts with its first picture. Its length is the live time
        // it covers: up to its last picture or the end of its sound, which
        // ends with the clip. (A capture cut into clips takes the picture of
        // the moment it cuts into both clips; the next clip's first picture
        // then follows the last one at once, and no time is lost or added.)
        std::int64_t start = std::numeric_limits<std::int64_t>::max();
        std::int64_t lastPicture = std::numeric_limits<std::int64_t>::min();
        std::int64_t pictureTime = 0;
        std::int64_t soundEnd = std::numeric_limits<std::int64_t>::min();
        for (;;) {
            PacketHandle packet(av_packet_alloc());
            const int code = av_read_frame(input.get(), packet.get());
            if (code == AVERROR_EOF) {
                break;
            }
            if (code < 0) {
                return "the clip is damaged: " + errorText(code);
            }
            const auto track = std::find(streams.begin(), streams.end(), packet->stream_index) - streams.begin();
            if (track >= static_cast<std::ptrdiff_t>(streams.size()) || packet->pts == AV_NOPTS_VALUE) {
                continue;
            }
            const AVRational timeBase = input->streams[packet->stream_index]->time_base;
            const auto at = av_rescale_q(packet->pts, timeBase, kMicroseconds);
            const auto duration = av_rescale_q(std::max<std::int64_t>(packet->duration, 0), timeBase, kMicroseconds);
            if (track == 0) {
                start = std::min(start, at);
                if (at >= lastPicture) {
                    lastPicture = at;
                    pictureTime = duration;
                }
            } else {
                soundEnd = std::max(soundEnd, at + duration);
            }
            packet->stream_index = static_cast<int>(track);
            clip.packets.push_back(std::move(packet));
        }
        if (lastPicture == std::numeric_limits<std::int64_t>::min()) {
            return "the clip holds no pictures";
        }
        // A movie whose index lists more pictures than its file holds was cut short.
        const auto listed = input->streams[streams[0]]->nb_frames;
        const auto pictures = std::count_if(clip.packets.begin(), clip.packets.end(),
            [](const PacketHandle& packet) { return packet->stream_index == 0; });
        if (pictures < listed) {
            return "the clip is damaged: it is cut short (" + std::to_string(pictures) + " of " + std::to_string(listed)
                + " pictures)";
        }
        clip.start = start;
        clip.length = soundEnd > start ? std::max(soundEnd, lastPicture) - start : lastPicture + pictureTime - start;
        // Sound from before the first picture (an encoder's priming) is left out.
        std::erase_if(clip.packets, [&clip](const PacketHandle& packet) {
            if (packet->stream_index != 1) {
                return false;
            }
            const auto end = av_rescale_q(
                packet->pts + std::max<std::int64_t>(packet->duration, 0), clip.audio->timeBase, kMicroseconds);
            return end <= clip.start;
        });
        return std::nullopt;
    }
};

/// An open RTMP session: the FLV muxer writing to the server.
struct RtmpPublisher::Session {
    AVFormatContext* output = nullptr;
    Deadline deadline;
    /// Output stream of the clip's video (0) and audio (1), -1 when absent.
    std::array<int, 2> streams { -1, -1 };
    std::array<std::int64_t, 2> lastDts { std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::min() };
    /// The codec set-up last announced for each track.
    std::array<std::vector<std::uint8_t>, 2> extradata;

    Session() = default;
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    Session(Session&&) = delete;
    Session& operator=(Session&&) = delete;
    ~Session()
    {
        if (output != nullptr) {
            avio_closep(&output->pb);
            avformat_free_context(output);
        }
    }

    // Connects to `url` and writes the stream's header for `clip`'s tracks.
    std::optional<std::string> open(const std::string& url, const Clip& clip)
    {
        if (const int code = avformat_alloc_output_context2(&output, nullptr, "flv", url.c_str()); code < 0) {
            return "cannot make the stream: " + errorText(code);
        }
        output->interrupt_callback = { &Deadline::passed, &deadline };
        const std::array<const std::optional<Clip::Track>*, 2> tracks { &clip.video, &clip.audio };
        for (std::size_t track = 0; track < tracks.size(); ++track) {
            if (!*tracks[track]) {
                continue;
            }
            AVStream* stream = avformat_new_stream(output, nullptr);
            if (stream == nullptr
                || avcodec_parameters_copy(stream->codecpar, (*tracks[track])->parameters.get()) < 0) {
                return "out of memory";
            }
            stream->codecpar->codec_tag = 0;
            streams[track] = stream->index;
            const auto* data = stream->codecpar->extradata;
            extradata[track].assign(data, data + std::max(stream->codecpar->extradata_size, 0));
        }
        AVDictionary* options = nullptr;
        av_dict_set(&options, "rtmp_live", "live", 0);
        const int code = avio_open2(&output->pb, url.c_str(), AVIO_FLAG_WRITE, &output->interrupt_callback, &options);
        av_dict_free(&options);
        if (code < 0) {
            return "cannot connect to " + url + ": " + errorText(code);
        }
        if (const int written = avformat_write_header(output, nullptr); written < 0) {
            return "the server refused the stream: " + errorText(written);
        }
        return std::nullopt;
    }

    // Sends every packet of `clip`, moved to start at `streamTime` (microseconds).
    std::optional<std::string> send(const Clip& clip, std::int64_t streamTime)
    {
        const std::array<const std::optional<Clip::Track>*, 2> tracks { &clip.video, &clip.audio };
        std::array<bool, 2> announced { false, false };
        for (const auto& source : clip.packets) {
            const auto track = static_cast<std::size_t>(source->stream_index);
            if (streams[track] < 0) {
                continue; // a track the session was not opened with
            }
            PacketHandle packet(av_packet_clone(source.get()));
            if (!packet) {
                return "out of memory";
            }
            const auto& parameters = *(*tracks[track])->parameters;
            if (!announced[track]) {
                // A clip whose encoder set-up differs announces its own.
                announced[track] = true;
                const std::vector<std::uint8_t> mine(
                    parameters.extradata, parameters.extradata + std::max(parameters.extradata_size, 0));
                if (!mine.empty() && mine != extradata[track]) {
                    auto* side = av_packet_new_side_data(packet.get(), AV_PKT_DATA_NEW_EXTRADATA, mine.size());
                    if (side != nullptr) {
                        std::memcpy(side, mine.data(), mine.size());
                        extradata[track] = mine;
                    }
                }
            }
            const AVRational from = (*tracks[track])->timeBase;
            const AVRational to = output->streams[streams[track]]->time_base;
            const auto shift = [&](std::int64_t time) {
                return av_rescale_q(
                    av_rescale_q(time, from, kMicroseconds) - clip.start + streamTime, kMicroseconds, to);
            };
            packet->pts = shift(packet->pts);
            packet->dts = packet->dts == AV_NOPTS_VALUE ? packet->pts : shift(packet->dts);
            // The muxer takes only rising times on each track.
            if (packet->dts <= lastDts[track]) {
                packet->dts = lastDts[track] + 1;
                packet->pts = std::max(packet->pts, packet->dts);
            }
            lastDts[track] = packet->dts;
            packet->duration = av_rescale_q(packet->duration, from, to);
            packet->stream_index = streams[track];
            packet->pos = -1;
            if (const int code = av_interleaved_write_frame(output, packet.get()); code < 0) {
                return "the session dropped: " + errorText(code);
            }
        }
        // Everything the clip holds goes out now, not when the next clip comes.
        if (const int code = av_interleaved_write_frame(output, nullptr); code < 0) {
            return "the session dropped: " + errorText(code);
        }
        avio_flush(output->pb);
        if (output->pb->error < 0) {
            return "the session dropped: " + errorText(output->pb->error);
        }
        return std::nullopt;
    }
};

RtmpPublisher::RtmpPublisher(std::string url, Limits limits) : url_(std::move(url)), limits_(limits) { }

RtmpPublisher::~RtmpPublisher()
{
    end();
}

bool RtmpPublisher::isRTMPURL(std::string_view url)
{
    if (!url.starts_with(kScheme)) {
        return false;
    }
    const auto rest = url.substr(kScheme.size());
    const auto slash = rest.find('/');
    // A host, an application and a stream key.
    return slash != std::string_view::npos && slash > 0 && rest.find('/', slash + 1) != std::string_view::npos
        && rest.back() != '/' && rest.find_first_of(" \t\r\n") == std::string_view::npos;
}

std::optional<std::string> RtmpPublisher::refusalOfClip(const platform::Data& movie)
{
    Clip clip;
    return Clip::read(movie, clip);
}

std::optional<std::string> RtmpPublisher::publishClip(const platform::Data& movie)
{
    if (!isRTMPURL(url_)) {
        return "not an RTMP URL: " + url_;
    }
    Clip clip;
    if (auto refused = Clip::read(movie, clip)) {
        return refused;
    }
    std::lock_guard lock(mutex_);
    const auto deadline = SteadyClock::now() + limits_.clipTimeLimit;
    std::string failure;
    for (int attempt = 0; attempt < limits_.attempts; ++attempt) {
        if (attempt > 0) {
            if (SteadyClock::now() + limits_.retryPause >= deadline) {
                break;
            }
            std::this_thread::sleep_for(limits_.retryPause);
        }
        auto sent = sendLocked(clip, deadline);
        if (!sent) {
            streamTime_ += clip.length;
            state_ = State::Live;
            return std::nullopt;
        }
        failure = std::move(*sent);
        platform::Log::error("RTMP publisher: %s (attempt %i)", failure, attempt + 1);
        closeSessionLocked(false);
        state_ = State::Reconnecting;
    }
    state_ = State::Failed;
    return failure.empty() ? std::string("no time left to send the clip") : failure;
}

std::optional<std::string> RtmpPublisher::sendLocked(const Clip& clip, SteadyClock::time_point deadline)
{
    const auto attemptEnd = std::min(deadline, SteadyClock::now() + limits_.attemptTimeout);
    if (!session_) {
        auto session = std::make_unique<Session>();
        session->deadline.at = attemptEnd;
        ++sessionsOpened_;
        if (auto failed = session->open(url_, clip)) {
            return failed;
        }
        session_ = std::move(session);
    }
    session_->deadline.at = attemptEnd;
    return session_->send(clip, streamTime_);
}

void RtmpPublisher::closeSessionLocked(bool cleanly)
{
    if (!session_) {
        return;
    }
    session_->deadline.at = SteadyClock::now() + kCloseTimeout;
    if (cleanly) {
        av_write_trailer(session_->output);
    }
    session_.reset();
}

void RtmpPublisher::end()
{
    std::lock_guard lock(mutex_);
    const bool wasOpen = session_ != nullptr;
    closeSessionLocked(true);
    if (wasOpen || state_ == State::Live) {
        state_ = State::Ended;
    }
}

RtmpPublisher::State RtmpPublisher::state() const
{
    std::lock_guard lock(mutex_);
    return state_;
}

double RtmpPublisher::publishedSeconds() const
{
    std::lock_guard lock(mutex_);
    return static_cast<double>(streamTime_) / 1e6;
}

int RtmpPublisher::sessionsOpened() const
{
    std::lock_guard lock(mutex_);
    return sessionsOpened_;
}

} // namespace lumora::sample
