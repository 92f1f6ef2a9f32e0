#pragma once

#include <cstddef>
#include <string>

namespace lumora::platform {

/// Files written for keeps: the new content goes to a temporary file beside
/// the destination, is flushed to the disk and then renamed onto the
/// destination, so a reader sees the old file or the whole new one, and a
/// failure (a full disk, a process killed mid-write) never leaves a partial
/// file under the destination's name. Paths are host paths.
class AtomicFile {
public:
    AtomicFile() = delete;

    /// Writes `length` bytes at `bytes` to `path`, replacing any file there;
    /// false (and nothing changed at `path`) when any step fails.
    static bool writeBytes(const std::string& path, const void* bytes, std::size_t length);
    /// Copies the regular file `source` to `destination`, which must not exist
    /// unless `replace` is true; false (and nothing at `destination` changed)
    /// when any step fails. The copy keeps the source's permission bits (less
    /// the process's umask).
    static bool copyFile(const std::string& source, const std::string& destination, bool replace);
};

} // namespace lumora::platform
