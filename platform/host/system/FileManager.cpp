#include "platform/system/FileManager.h"

#include "platform/formats/AtomicFile.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedFileSystem.h"

#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <mutex>
#include <string_view>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <system_error>
#include <unistd.h>

namespace lumora::platform {

namespace {

// Deeper trees than this are not removed: each level holds a descriptor open.
constexpr int kMaxRemovalDepth = 128;
constexpr mode_t kDefaultDirectoryMode = 0755;

// Paths are taken in their standard form: a trailing slash does not make the
// path name a directory only, as it would for the system calls.
std::string hostPath(const std::string& devicePath)
{
    auto path = host::SimulatedDevice::shared().resolvePath(devicePath);
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

FileManager::ErrorCode codeForErrno(int number)
{
    switch (number) {
    case ENOENT:
        return FileManager::NoSuchFileError;
    case EEXIST:
    case ENOTEMPTY:
        return FileManager::FileExistsError;
    case EACCES:
    case EPERM:
    case EROFS:
        return FileManager::NoPermissionError;
    case ENOTDIR:
        return FileManager::NotADirectoryError;
    case ENOSPC:
    case EDQUOT:
        return FileManager::OutOfSpaceError;
    case ENAMETOOLONG:
    case EILSEQ:
        return FileManager::InvalidNameError;
    default:
        return FileManager::UnknownError;
    }
}

bool fail(ErrorRef* error, int number, const std::string& devicePath)
{
    if (error != nullptr) {
        const auto message = std::generic_category().message(number);
        auto userInfo = std::make_shared<Dictionary>(Dictionary {
            { std::string(FileManager::FilePathErrorKey), Value(devicePath) },
            { std::string(FileManager::POSIXErrorCodeKey), Value(number) },
            { std::string(Error::LocalizedDescriptionKey), Value(message + ": " + devicePath) },
        });
        *error = Error::errorWithDomain(std::string(FileManager::ErrorDomain), codeForErrno(number), userInfo);
    }
    return false;
}

Date dateFrom(const struct statx_timestamp& stamp)
{
    return Date::dateWithTimeIntervalSince1970(
        static_cast<double>(stamp.tv_sec) + static_cast<double>(stamp.tv_nsec) / 1e9);
}

std::string_view typeOf(std::uint16_t mode)
{
    if (S_ISREG(mode)) {
        return FileManager::FileTypeRegular;
    }
    if (S_ISDIR(mode)) {
        return FileManager::FileTypeDirectory;
    }
    if (S_ISLNK(mode)) {
        return FileManager::FileTypeSymbolicLink;
    }
    return FileManager::FileTypeOther;
}

// Removes `name` in the directory `parent`, descending into directories
// without ever following a symbolic link (each level is opened with
// O_NOFOLLOW relative to the one above, so a directory swapped for a link
// while the removal runs is refused, not followed). Returns 0 or an errno.
int removeEntry(int parent, const char* name, int depth)
{
    if (::unlinkat(parent, name, 0) == 0) {
        return 0;
    }
    const int unlinkError = errno;
    if (unlinkError != EISDIR && unlinkError != EPERM) {
        return unlinkError;
    }
    if (depth >= kMaxRemovalDepth) {
        return ELOOP;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): the system call takes a mode only with O_CREAT.
    const int descriptor = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0) {
        // Not a directory after all: the unlink's own answer is the one to report.
        return errno == ENOTDIR ? unlinkError : errno;
    }
    DIR* directory = ::fdopendir(descriptor);
    if (directory == nullptr) {
        const int number = errno;
        ::close(descriptor);
        return number;
    }
    int result = 0;
    // Each listing has a stream of its own, which readdir may use from any thread.
    while (const dirent* entry = ::readdir(directory)) { // NOLINT(concurrency-mt-unsafe)
        const std::string_view entryName(static_cast<const char*>(entry->d_name));
        if (entryName == "." || entryName == "..") {
            continue;
        }
        const int number = removeEntry(::dirfd(directory), static_cast<const char*>(entry->d_name), depth + 1);
        if (number != 0 && result == 0) {
            result = number;
        }
    }
    ::closedir(directory);
    if (result != 0) {
        return result;
    }
    return ::unlinkat(parent, name, AT_REMOVEDIR) == 0 ? 0 : errno;
}

int moveEntry(const std::string& source, const std::string& destination)
{
    if (::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    int number = errno;
    if (number == EINVAL) {
        // The file system cannot refuse to replace by itself.
        struct stat existing { };
        if (::lstat(destination.c_str(), &existing) == 0) {
            return EEXIST;
        }
        number = ::rename(source.c_str(), destination.c_str()) == 0 ? 0 : errno;
    }
    if (number != EXDEV) {
        return number;
    }
    // Another file system: copy, then remove the original. The copy is made
    // under a temporary name and renamed into place, so a failure part way
    // leaves nothing under the destination's name.
    struct stat original { };
    if (::lstat(source.c_str(), &original) != 0) {
        return errno;
    }
    if (S_ISREG(original.st_mode)) {
        if (!AtomicFile::copyFile(source, destination, false)) {
            return errno != 0 ? errno : EIO;
        }
        return removeEntry(AT_FDCWD, source.c_str(), 0);
    }
    const std::filesystem::path target(destination);
    const auto partial
        = (target.parent_path() / fmt::format(".{}.{}.partial", target.filename().string(), ::getpid())).string();
    std::error_code code;
    std::filesystem::copy(
        source, partial, std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks, code);
    if (code || ::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) != 0) {
        const int failure = code ? code.value() : errno;
        removeEntry(AT_FDCWD, partial.c_str(), 0);
        return failure;
    }
    return removeEntry(AT_FDCWD, source.c_str(), 0);
}

} // namespace

std::shared_ptr<FileManager> FileManager::defaultManager()
{
    static std::once_flag once;
    static std::shared_ptr<FileManager> manager;
    std::call_once(once, [] { manager = std::make_shared<FileManager>(); });
    return manager;
}

bool FileManager::fileExistsAtPath(const std::string& path) const
{
    struct stat status { };
    return ::stat(hostPath(path).c_str(), &status) == 0;
}

bool FileManager::createDirectoryAtPath_withIntermediateDirectories_attributes_error(
    const std::string& path, bool createIntermediates, const DictionaryRef& attributes, ErrorRef* error)
{
    const auto resolved = hostPath(path);
    auto mode = kDefaultDirectoryMode;
    if (attributes) {
        if (const auto& permissions = attributes->valueForKey(FilePosixPermissionsKey); permissions.isInteger()) {
            mode = static_cast<mode_t>(permissions.int64Value()) & 07777U;
        }
    }
    if (createIntermediates) {
        std::error_code code;
        std::filesystem::create_directories(resolved, code);
        if (code) {
            return fail(error, code.value(), path);
        }
        return true;
    }
    if (::mkdir(resolved.c_str(), mode) != 0) {
        return fail(error, errno, path);
    }
    return true;
}

std::optional<std::vector<std::string>> FileManager::contentsOfDirectoryAtPath_error(
    const std::string& path, ErrorRef* error) const
{
    DIR* directory = ::opendir(hostPath(path).c_str());
    if (directory == nullptr) {
        fail(error, errno, path);
        return std::nullopt;
    }
    std::vector<std::string> names;
    // Each listing has a stream of its own, which readdir may use from any thread.
    while (const dirent* entry = ::readdir(directory)) { // NOLINT(concurrency-mt-unsafe)
        std::string name(static_cast<const char*>(entry->d_name));
        if (name != "." && name != "..") {
            names.push_back(std::move(name));
        }
    }
    ::closedir(directory);
    return names;
}

DictionaryRef FileManager::attributesOfItemAtPath_error(const std::string& path, ErrorRef* error) const
{
    struct statx status { };
    if (::statx(AT_FDCWD, hostPath(path).c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
        fail(error, errno, path);
        return nullptr;
    }
    auto attributes = std::make_shared<Dictionary>(Dictionary {
        { std::string(FileSizeKey), Value(static_cast<std::int64_t>(status.stx_size)) },
        { std::string(FileModificationDateKey), Value(dateFrom(status.stx_mtime)) },
        { std::string(FileTypeKey), Value(typeOf(status.stx_mode)) },
    });
    if ((status.stx_mask & STATX_BTIME) != 0) {
        attributes->emplace(std::string(FileCreationDateKey), Value(dateFrom(status.stx_btime)));
    }
    return attributes;
}

DictionaryRef FileManager::attributesOfFileSystemForPath_error(const std::string& path, ErrorRef* error) const
{
    struct statvfs status { };
    if (::statvfs(hostPath(path).c_str(), &status) != 0) {
        fail(error, errno, path);
        return nullptr;
    }
    const std::uint64_t blockSize = status.f_frsize;
    const std::uint64_t freeSize
        = host::SimulatedDevice::shared().fileSystem().freeSize().value_or(status.f_bavail * blockSize);
    return std::make_shared<Dictionary>(Dictionary {
        { std::string(SystemSizeKey), Value(static_cast<std::int64_t>(status.f_blocks * blockSize)) },
        { std::string(SystemFreeSizeKey), Value(static_cast<std::int64_t>(freeSize)) },
    });
}

bool FileManager::removeItemAtPath_error(const std::string& path, ErrorRef* error)
{
    const int number = removeEntry(AT_FDCWD, hostPath(path).c_str(), 0);
    return number == 0 || fail(error, number, path);
}

bool FileManager::removeItemAtURL_error(const URL& url, ErrorRef* error)
{
    if (!url.isFileURL()) {
        return fail(error, EINVAL, url.absoluteString());
    }
    return removeItemAtPath_error(url.path(), error);
}

bool FileManager::moveItemAtPath_toPath_error(
    const std::string& source, const std::string& destination, ErrorRef* error)
{
    const int number = moveEntry(hostPath(source), hostPath(destination));
    if (number == 0) {
        return true;
    }
    return fail(error, number, number == EEXIST ? destination : source);
}

bool FileManager::moveItemAtURL_toURL_error(const URL& source, const URL& destination, ErrorRef* error)
{
    if (!source.isFileURL() || !destination.isFileURL()) {
        return fail(error, EINVAL, source.isFileURL() ? destination.absoluteString() : source.absoluteString());
    }
    return moveItemAtPath_toPath_error(source.path(), destination.path(), error);
}

} // namespace lumora::platform
