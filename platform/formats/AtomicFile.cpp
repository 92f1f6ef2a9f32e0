#include "platform/formats/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace lumora::platform {

namespace {

/// A temporary file beside the destination, removed unless it was renamed.
class TemporaryFile {
public:
    /// Makes the file with `mode` (less the process's umask), named after the
    /// destination, this process and a counter, so writers never share one.
    TemporaryFile(const std::string& destination, mode_t mode)
    {
        static std::atomic<std::uint64_t> counter { 0 };
        const std::filesystem::path target(destination);
        for (int attempt = 0; attempt < 16 && descriptor_ < 0; ++attempt) {
            auto name = (target.parent_path()
                / fmt::format(".{}.{}-{}.partial", target.filename().string(), ::getpid(), counter.fetch_add(1)))
                            .string();
            descriptor_ = ::open( // NOLINT(cppcoreguidelines-pro-type-vararg): the C interface of open
                name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
            if (descriptor_ >= 0) {
                path_ = std::move(name);
            } else if (errno != EEXIST) {
                break;
            }
        }
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    TemporaryFile(TemporaryFile&&) = delete;
    TemporaryFile& operator=(TemporaryFile&&) = delete;
    ~TemporaryFile()
    {
        closeDescriptor();
        if (!path_.empty()) {
            ::unlink(path_.c_str());
        }
    }

    [[nodiscard]] bool isOpen() const { return descriptor_ >= 0; }

    bool write(const void* bytes, std::size_t length) const
    {
        const auto* next = static_cast<const char*>(bytes);
        while (length > 0) {
            const auto written = ::write(descriptor_, next, length);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return false;
            }
            next += written; // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
            length -= static_cast<std::size_t>(written);
        }
        return true;
    }

    /// Flushes and closes the file, then renames it onto `destination`
    /// (refusing to replace an existing file unless `replace`).
    bool commit(const std::string& destination, bool replace)
    {
        if (::fsync(descriptor_) != 0) {
            return false;
        }
        if (!closeDescriptor()) {
            return false;
        }
        const int flags = replace ? 0 : RENAME_NOREPLACE;
        if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, destination.c_str(), static_cast<unsigned>(flags)) != 0) {
            if (errno != EINVAL || !replace) {
                return false;
            }
            // A file system without renameat2: a plain rename replaces too.
            if (::rename(path_.c_str(), destination.c_str()) != 0) {
                return false;
            }
        }
        path_.clear();
        return true;
    }

private:
    bool closeDescriptor()
    {
        if (descriptor_ < 0) {
            return true;
        }
        const bool closed = ::close(descriptor_) == 0;
        descriptor_ = -1;
        return closed;
    }

    int descriptor_ = -1;
    std::string path_;
};

} // namespace

bool AtomicFile::writeBytes(const std::string& path, const void* bytes, std::size_t length)
{
    constexpr mode_t kNewFileMode = 0666;
    TemporaryFile file(path, kNewFileMode);
    return file.isOpen() && file.write(bytes, length) && file.commit(path, true);
}

bool AtomicFile::copyFile(const std::string& source, const std::string& destination, bool replace)
{
    const int input = ::open(source.c_str(), O_RDONLY | O_CLOEXEC); // NOLINT(cppcoreguidelines-pro-type-vararg)
    if (input < 0) {
        return false;
    }
    struct stat status { };
    bool copied = ::fstat(input, &status) == 0 && S_ISREG(status.st_mode);
    TemporaryFile file(destination, status.st_mode & 07777U);
    copied = copied && file.isOpen();
    constexpr std::size_t kChunk = 1U << 16U;
    std::vector<char> buffer(kChunk);
    while (copied) {
        const auto got = ::read(input, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            copied = got == 0;
            break;
        }
        copied = file.write(buffer.data(), static_cast<std::size_t>(got));
    }
    ::close(input);
    return copied && file.commit(destination, replace);
}

} // namespace lumora::platform
