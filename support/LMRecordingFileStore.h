#pragma once

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/URL.h"
#include "platform/system/FileManager.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumora {

/// The folder where recordings wait until they are saved or discarded.
inline constexpr std::string_view LMScreenRecorderTempDirectory = "/private/var/mobile/Library/Lumora/";
/// The free space, in bytes, a recording needs before it may start.
inline constexpr std::int64_t LMScreenRecorderRequiredFreeSpace = 100000000;

/// The framework's additions to the platform's file manager: the temporary
/// recordings folder (its path, set-up, size and clean-up), removing and
/// moving single files, a file's creation date, and the free-space test.
///
/// The store keeps no state of its own; every operation works on the file
/// system directly. `self` is the file manager the operation is called on
/// (normally the default one). Some operations ask the default file manager
/// for part of their work whatever `self` is; each says so. Failures are
/// logged and otherwise ignored, except where an error is handed back.
class LMRecordingFileStore {
public:
    /// Hears the error of a file operation; null on success.
    using Completion = std::function<void(const platform::ErrorRef&)>;

    /// The folder's path, LMScreenRecorderTempDirectory.
    static std::string _srTempPath(const platform::FileManager& self);

    /// Makes the folder unless something of that name already exists
    /// (an ordinary file counts). Its parent must exist.
    static void _srSetupTempDirectory(platform::FileManager& self);

    /// The size the default file manager reports for the folder's own entry
    /// (not the total of its contents); 0 with `*error` set when it cannot be read.
    static std::int64_t _srSizeOfTempDir(const platform::FileManager& self, platform::ErrorRef* error);

    /// Removes every entry of the folder; returns the bytes freed.
    static std::int64_t _srDeleteAllTempFiles(platform::FileManager& self);

    /// Removes the folder's entries whose modification date is more than
    /// `timeToLive` seconds ago (every entry when `timeToLive` is 0), on the
    /// calling thread. Returns the bytes freed, counting no file removed after
    /// the run's first error. The listing comes from the default file manager.
    static std::int64_t _srDeleteFilesOlderThanTimeToLiveInSeconds(platform::FileManager& self, double timeToLive);

    /// Removes the file at `url` if there is one, on the background-priority
    /// global queue, then calls `completion` there with the removal's error
    /// (none when there was nothing to remove).
    static void _srRemoveFile_completion(
        std::shared_ptr<platform::FileManager> self, const platform::URL& url, Completion completion);

    /// Moves `source` to `destination`, replacing what is there, on the
    /// default-priority global queue, then calls `completion` there with the
    /// move's error.
    static void _srMoveFileFromURL_toURL_completion(std::shared_ptr<platform::FileManager> self,
        const platform::URL& source, const platform::URL& destination, Completion completion);

    /// Removes, on the default-priority global queue, the folder's entries
    /// whose names begin with `prefix` regardless of case and accents. The
    /// listing comes from the default file manager.
    static void _srDeleteFilesWithPrefix(std::shared_ptr<platform::FileManager> self, std::string prefix);

    /// When the file at `url` was made, as the default file manager reports
    /// it; nullopt when it is absent or the file system keeps no such date.
    static std::optional<platform::Date> _srGetCreationDateForFile(
        const platform::FileManager& self, const platform::URL& url);

    /// Whether the folder's file system has more than the required free space.
    static bool _srDeviceHasSufficientFreeSpaceForRecording(const platform::FileManager& self);

    /// The free bytes of the folder's file system, as the default file manager
    /// reports them; 0 when they cannot be read.
    static std::uint64_t _srDeviceFreeDiskSpace(const platform::FileManager& self);
};

} // namespace lumora
