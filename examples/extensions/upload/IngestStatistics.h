#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::sample {

/// What the streaming service's ingest server says about its streams: its
/// statistics page (XML) lists each stream with its clients, the publisher
/// among them.
class IngestStatistics {
public:
    /// The number of players watching stream `key` according to the page at
    /// `url`, fetched within `timeout`; nullopt when the page cannot be had
    /// or does not list the stream.
    static std::optional<int> viewersOfStream(
        const std::string& url, std::string_view key, std::chrono::milliseconds timeout);
    /// The same, read from a page already fetched. The page comes from
    /// another process and is read as untrusted text.
    static std::optional<int> viewersInPage(std::string_view page, std::string_view key);
};

} // namespace lumora::sample
