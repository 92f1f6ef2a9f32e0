#include "extensions/upload/IngestStatistics.h"

extern "C" {
#include <libavformat/avio.h>
}

#include <array>
#include <charconv>
#include <string>

namespace lumora::sample {

namespace {

using SteadyClock = std::chrono::steady_clock;

// A statistics page larger than this is not read on.
constexpr std::size_t kMaximumPage = 1024 * 1024;

// The text between `open` and `close` after `from` in `text`, and where it ends.
std::optional<std::pair<std::string_view, std::size_t>> element(
    std::string_view text, std::string_view open, std::string_view close, std::size_t from)
{
    const auto start = text.find(open, from);
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    const auto end = text.find(close, start + open.size());
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return std::pair { text.substr(start + open.size(), end - start - open.size()), end + close.size() };
}

int passed(void* opaque)
{
    return SteadyClock::now() >= *static_cast<SteadyClock::time_point*>(opaque) ? 1 : 0;
}

} // namespace

std::optional<int> IngestStatistics::viewersInPage(std::string_view page, std::string_view key)
{
    std::size_t from = 0;
    while (const auto stream = element(page, "<stream>", "</stream>", from)) {
        from = stream->second;
        const auto name = element(stream->first, "<name>", "</name>", 0);
        if (!name || name->first != key) {
            continue;
        }
        const auto clients = element(stream->first, "<nclients>", "</nclients>", 0);
        int count = 0;
        if (!clients
            || std::from_chars(clients->first.data(), clients->first.data() + clients->first.size(), count).ec
                != std::errc {}
            || count < 0) {
            return std::nullopt;
        }
        // The publisher is one of the stream's clients.
        const bool published = stream->first.find("<publishing/>") != std::string_view::npos;
        return published ? std::max(count - 1, 0) : count;
    }
    return std::nullopt;
}

std::optional<int> IngestStatistics::viewersOfStream(
    const std::string& url, std::string_view key, std::chrono::milliseconds timeout)
{
    auto deadline = SteadyClock::now() + timeout;
    const AVIOInterruptCB interrupt { &passed, &deadline };
    AVIOContext* io = nullptr;
    if (avio_open2(&io, url.c_str(), AVIO_FLAG_READ, &interrupt, nullptr) < 0) {
        return std::nullopt;
    }
    std::string page;
    std::array<unsigned char, 4096> buffer {};
    for (;;) {
        const int count = avio_read(io, buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0 || page.size() > kMaximumPage) {
            break;
        }
        page.append(buffer.begin(), buffer.begin() + count);
    }
    avio_closep(&io);
    return viewersInPage(page, key);
}

} // namespace lumora::sample
