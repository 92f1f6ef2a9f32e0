#include "support/LMRecordingFileStore.h"

#include "platform/formats/StringComparison.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace lumora {

using platform::DispatchQueue;
using platform::ErrorRef;
using platform::FileManager;
using platform::Log;
using platform::URL;

namespace {

// An entry's path is the folder and the name joined by a slash even though
// the folder's path already ends in one. The double slash is the store's own
// path form and harmless to the file system.
std::string entryPath(const std::string& folder, const std::string& name)
{
    std::string path;
    path.reserve(folder.size() + 1 + name.size());
    path.append(folder).append("/").append(name);
    return path;
}

// The time-to-live as the log writes it: truncated toward zero into 32 bits,
// saturating at the ends (and 0 for a NaN) rather than wrapping.
std::int32_t truncatedSeconds(double seconds)
{
    if (std::isnan(seconds)) {
        return 0;
    }
    if (seconds >= static_cast<double>(std::numeric_limits<std::int32_t>::max())) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (seconds <= static_cast<double>(std::numeric_limits<std::int32_t>::min())) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(seconds);
}

// Two of the store's log lines print the error object's reference where its
// code would be expected; they are kept that way on purpose, so the number
// is the low 32 bits of the object's address.
std::int32_t errorReference(const ErrorRef& error)
{
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the address itself is what is printed.
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(error.get())));
}

void logCleanupError(const ErrorRef& error)
{
    if (!error) {
        return;
    }
    Log::error("error in _loRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: %i", error->code());
    Log::console("error = %@", error);
}

} // namespace

std::string LMRecordingFileStore::_srTempPath(const FileManager& /*self*/)
{
    return std::string(LMScreenRecorderTempDirectory);
}

void LMRecordingFileStore::_srSetupTempDirectory(FileManager& self)
{
    Log::ordinary("_srSetupTempDirectory");
    const auto path = _srTempPath(self);
    // Only existence is asked, so a file of that name also counts as the folder.
    if (self.fileExistsAtPath(path)) {
        return;
    }
    ErrorRef error;
    self.createDirectoryAtPath_withIntermediateDirectories_attributes_error(path, false, nullptr, &error);
    if (error) {
        Log::console("error: %@", error);
        Log::error("error creating temp directory");
    }
}

std::int64_t LMRecordingFileStore::_srSizeOfTempDir(const FileManager& self, ErrorRef* error)
{
    const auto attributes = FileManager::defaultManager()->attributesOfItemAtPath_error(_srTempPath(self), error);
    return attributes ? attributes->valueForKey(FileManager::FileSizeKey).int64Value() : 0;
}

std::int64_t LMRecordingFileStore::_srDeleteAllTempFiles(FileManager& self)
{
    return _srDeleteFilesOlderThanTimeToLiveInSeconds(self, 0.0);
}

std::int64_t LMRecordingFileStore::_srDeleteFilesOlderThanTimeToLiveInSeconds(FileManager& self, double timeToLive)
{
    Log::ordinary("_srDeleteFilesOlderThanTimeToLiveInSeconds: %i", truncatedSeconds(timeToLive));
    std::int64_t freed = 0;
    // One error slot serves the whole run and is never cleared: once anything
    // has failed, every later step reports that error again and no more bytes
    // are counted. This carry-over is the clean-up's known behaviour.
    ErrorRef error;
    const auto folder = _srTempPath(self);
    const auto names = FileManager::defaultManager()->contentsOfDirectoryAtPath_error(folder, &error);
    logCleanupError(error);
    if (!names) {
        return freed;
    }
    for (const auto& name : *names) {
        const auto path = entryPath(folder, name);
        const auto attributes = self.attributesOfItemAtPath_error(path, &error);
        logCleanupError(error);
        // An entry whose attributes cannot be read has no date and counts as
        // older than any time-to-live; its removal then says what is wrong.
        const auto modified
            = attributes ? attributes->valueForKey(FileManager::FileModificationDateKey).date() : std::nullopt;
        const double age = modified ? platform::Date::now().timeIntervalSinceDate(*modified)
                                    : std::numeric_limits<double>::infinity();
        const auto size = attributes ? attributes->valueForKey(FileManager::FileSizeKey).int64Value() : 0;
        // A time-to-live of exactly 0 means every entry, whatever its age.
        if (timeToLive != 0.0 && !(age > timeToLive)) {
            continue;
        }
        Log::ordinary("deleting old file");
        self.removeItemAtPath_error(path, &error);
        logCleanupError(error);
        if (!error) {
            freed += size;
        }
    }
    return freed;
}

void LMRecordingFileStore::_srRemoveFile_completion(
    std::shared_ptr<FileManager> self, const URL& url, Completion completion)
{
    if (!self) {
        return;
    }
    DispatchQueue::global(DispatchQueue::Priority::Background)
        .async([self = std::move(self), url, completion = std::move(completion)] {
            const auto path = url.path();
            ErrorRef error;
            if (self->fileExistsAtPath(path) && !self->removeItemAtPath_error(path, &error)) {
                Log::ordinary("_loRemoveFile error: %i", error ? error->code() : 0);
            }
            if (completion) {
                completion(error);
            }
        });
}

void LMRecordingFileStore::_srMoveFileFromURL_toURL_completion(
    std::shared_ptr<FileManager> self, const URL& source, const URL& destination, Completion completion)
{
    if (!self) {
        return;
    }
    DispatchQueue::global(DispatchQueue::Priority::Default)
        .async([self = std::move(self), source, destination, completion = std::move(completion)] {
            if (self->fileExistsAtPath(destination.path())) {
                self->removeItemAtURL_error(destination, nullptr);
            }
            ErrorRef error;
            self->moveItemAtURL_toURL_error(source, destination, &error);
            if (error) {
                Log::error("_loMoveFileFromURL error: %i", errorReference(error));
            }
            if (completion) {
                completion(error);
            }
        });
}

void LMRecordingFileStore::_srDeleteFilesWithPrefix(std::shared_ptr<FileManager> self, std::string prefix)
{
    if (!self) {
        return;
    }
    DispatchQueue::global(DispatchQueue::Priority::Default).async([self = std::move(self), prefix = std::move(prefix)] {
        // As in the age-based clean-up, one error slot is carried through the
        // run. It is looked at only before the next name, so the last
        // removal's error goes unreported; that is the known behaviour.
        ErrorRef error;
        const auto names = FileManager::defaultManager()->contentsOfDirectoryAtPath_error(_srTempPath(*self), &error);
        const auto kept = platform::StringComparison::filteredByPrefix(names.value_or(std::vector<std::string>()),
            prefix, platform::StringComparison::CaseInsensitive | platform::StringComparison::DiacriticInsensitive);
        for (const auto& name : kept) {
            if (error) {
                Log::error("_loDeleteFilesWithPrefix error: %i", errorReference(error));
            }
            self->removeItemAtPath_error(entryPath(_srTempPath(*self), name), &error);
        }
    });
}

std::optional<platform::Date> LMRecordingFileStore::_srGetCreationDateForFile(
    const FileManager& /*self*/, const URL& url)
{
    const auto attributes = FileManager::defaultManager()->attributesOfItemAtPath_error(url.path(), nullptr);
    return attributes ? attributes->valueForKey(FileManager::FileCreationDateKey).date() : std::nullopt;
}

bool LMRecordingFileStore::_srDeviceHasSufficientFreeSpaceForRecording(const FileManager& self)
{
    // The test carries its own copy of the required amount rather than
    // reading LMScreenRecorderRequiredFreeSpace; exactly that much is not enough.
    constexpr std::uint64_t requiredFreeSpace = 100000000;
    return _srDeviceFreeDiskSpace(self) > requiredFreeSpace;
}

std::uint64_t LMRecordingFileStore::_srDeviceFreeDiskSpace(const FileManager& self)
{
    const auto attributes
        = FileManager::defaultManager()->attributesOfFileSystemForPath_error(_srTempPath(self), nullptr);
    return attributes ? static_cast<std::uint64_t>(attributes->valueForKey(FileManager::SystemFreeSizeKey).int64Value())
                      : 0;
}

} // namespace lumora
