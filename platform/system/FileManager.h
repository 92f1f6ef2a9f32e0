#pragma once

#include "platform/foundation/Data.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/URL.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// The device's file system, reached by device paths.
///
/// On the development host the simulated device maps device paths onto host
/// directories (`SimulatedDevice::mountDirectory`); a path no mount covers is
/// a host path.
///
/// Every operation works on the entry a path names, never on what a symbolic
/// link there points to: attributes describe the link, removing it removes the
/// link, and removing a directory never follows a link out of it. Only
/// `fileExistsAtPath` looks through a link, and then only to read.
///
/// On failure an operation sets `*error` (when `error` is given) to an error
/// of `ErrorDomain` whose user info holds the path (`FilePathErrorKey`) and
/// the system's error number (`POSIXErrorCodeKey`). On success `*error` is left
/// as it was, so one error slot may be handed to several calls in turn.
///
/// The operations are virtual so that an application can give a file manager
/// of its own different behaviour; they may be called from any thread.
class FileManager : public Object {
public:
    /// The error domain of failed file operations.
    static constexpr std::string_view ErrorDomain = "FileErrorDomain";
    /// The codes of `ErrorDomain`.
    enum ErrorCode : std::int64_t {
        UnknownError = 1,
        NoSuchFileError = 2,
        FileExistsError = 3,
        NoPermissionError = 4,
        NotADirectoryError = 5,
        OutOfSpaceError = 6,
        InvalidNameError = 7,
    };
    /// User-info key: the path the failed operation was given (a string).
    static constexpr std::string_view FilePathErrorKey = "FilePath";
    /// User-info key: the system's error number (an integer).
    static constexpr std::string_view POSIXErrorCodeKey = "POSIXErrorCode";

    /// Keys of an item's attributes.
    static constexpr std::string_view FileSizeKey = "FileSize"; // integer, bytes
    /// When the entry was last changed (a Date).
    static constexpr std::string_view FileModificationDateKey = "FileModificationDate"; // Date
    /// Present only where the file system records when an entry was made.
    static constexpr std::string_view FileCreationDateKey = "FileCreationDate"; // Date
    /// What kind of entry it is (one of the FileType strings).
    static constexpr std::string_view FileTypeKey = "FileType"; // one of the types below
    /// A regular file.
    static constexpr std::string_view FileTypeRegular = "FileTypeRegular";
    /// A directory.
    static constexpr std::string_view FileTypeDirectory = "FileTypeDirectory";
    /// A symbolic link (not followed).
    static constexpr std::string_view FileTypeSymbolicLink = "FileTypeSymbolicLink";
    /// Anything else: a device, a socket, a pipe.
    static constexpr std::string_view FileTypeOther = "FileTypeOther";
    /// Attribute for creating a directory: its permission bits (integer).
    static constexpr std::string_view FilePosixPermissionsKey = "FilePosixPermissions";

    /// Keys of a file system's attributes: sizes in bytes, integers whose 64
    /// bits are the unsigned count.
    static constexpr std::string_view SystemSizeKey = "SystemSize";
    /// The bytes still free on the file system.
    static constexpr std::string_view SystemFreeSizeKey = "SystemFreeSize";

    /// The process's shared file manager.
    static std::shared_ptr<FileManager> defaultManager();

    FileManager() = default;

    /// Whether something exists at `path` (a symbolic link counts when what it
    /// points to exists). Whether it is a directory is not told.
    [[nodiscard]] virtual bool fileExistsAtPath(const std::string& path) const;

    /// Makes a directory. Without `createIntermediates` its parent must exist;
    /// with it, missing parents are made and an existing directory is no error.
    virtual bool createDirectoryAtPath_withIntermediateDirectories_attributes_error(
        const std::string& path, bool createIntermediates, const DictionaryRef& attributes, ErrorRef* error);

    /// The names in a directory (no "." or ".."), in the order the file system
    /// gives them; nullopt on failure.
    [[nodiscard]] virtual std::optional<std::vector<std::string>> contentsOfDirectoryAtPath_error(
        const std::string& path, ErrorRef* error) const;

    /// The attributes of the entry at `path` (keys above); null on failure.
    [[nodiscard]] virtual DictionaryRef attributesOfItemAtPath_error(const std::string& path, ErrorRef* error) const;

    /// The attributes of the file system holding `path`; null on failure.
    [[nodiscard]] virtual DictionaryRef attributesOfFileSystemForPath_error(
        const std::string& path, ErrorRef* error) const;

    /// Removes the entry at `path`; a directory goes with everything in it.
    virtual bool removeItemAtPath_error(const std::string& path, ErrorRef* error);
    /// `removeItemAtPath_error` for a file URL's path.
    virtual bool removeItemAtURL_error(const URL& url, ErrorRef* error);

    /// Moves an entry; fails with `FileExistsError` when something is already
    /// at the destination.
    virtual bool moveItemAtPath_toPath_error(
        const std::string& source, const std::string& destination, ErrorRef* error);
    /// `moveItemAtPath_toPath_error` for file URLs' paths.
    virtual bool moveItemAtURL_toURL_error(const URL& source, const URL& destination, ErrorRef* error);

    /// The bytes of the file at `path` (a clip an upload extension was handed,
    /// say); nullopt when it cannot be read.
    [[nodiscard]] virtual std::optional<Data> contentsAtPath(const std::string& path) const;
    /// Opens the file at `path` for reading and hands over the descriptor,
    /// which the caller closes (for a reader that wants to stream the file,
    /// such as a movie demuxer given "/dev/fd/<descriptor>"); -1 on failure.
    [[nodiscard]] virtual int openFileForReadingAtPath(const std::string& path) const;

    [[nodiscard]] std::string className() const override { return "FileManager"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "FileManager" || Object::isKindOfClassNamed(name);
    }
};

} // namespace lumora::platform
