#include "sample_app/app/SupportServicesApp.h"

#include "platform/formats/StringComparison.h"
#include "platform/foundation/DispatchQueue.h"
#include "platform/system/FileManager.h"
#include "support/LMDateFormatting.h"
#include "support/LMRecordingFileStore.h"
#include "support/LMStoreManager.h"

#include <atomic>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <memory>

namespace lumora::sample {

using platform::FileManager;
using Store = LMRecordingFileStore;

namespace {

std::vector<std::string> recordingNames()
{
    auto& manager = *FileManager::defaultManager();
    return manager.contentsOfDirectoryAtPath_error(Store::_srTempPath(manager), nullptr)
        .value_or(std::vector<std::string>());
}

} // namespace

void prepareRecordingsFolder()
{
    auto& manager = *FileManager::defaultManager();
    Store::_srSetupTempDirectory(manager);
    platform::ErrorRef error;
    const auto size = Store::_srSizeOfTempDir(manager, &error);
    fmt::print("Recordings folder {}: entry size {} bytes{}\n", Store::_srTempPath(manager), size,
        error ? " (" + error->localizedDescription() + ")" : "");
    fmt::print("Free space {} bytes, enough to record (more than {}): {}\n", Store::_srDeviceFreeDiskSpace(manager),
        LMScreenRecorderRequiredFreeSpace, Store::_srDeviceHasSufficientFreeSpaceForRecording(manager));
}

void listRecordings()
{
    auto& manager = *FileManager::defaultManager();
    const auto now = platform::Date::now();
    for (const auto& name : recordingNames()) {
        const auto attributes = manager.attributesOfItemAtPath_error(Store::_srTempPath(manager) + name, nullptr);
        const auto modified
            = attributes ? attributes->valueForKey(FileManager::FileModificationDateKey).date() : std::nullopt;
        fmt::print("  {:<24} {:>8} bytes, modified {:.0f} s ago\n", name,
            attributes ? attributes->valueForKey(FileManager::FileSizeKey).int64Value() : 0,
            modified ? now.timeIntervalSinceDate(*modified) : 0.0);
    }
}

void ageOutRecordings(double timeToLive)
{
    const auto freed = Store::_srDeleteFilesOlderThanTimeToLiveInSeconds(*FileManager::defaultManager(), timeToLive);
    fmt::print("Deleted recordings older than {:.0f} s: {} bytes freed\n", timeToLive, freed);
}

void removeRecordingsWithPrefix(const std::string& prefix)
{
    Store::_srDeleteFilesWithPrefix(FileManager::defaultManager(), prefix);
    // The removal runs in the background and says nothing when it is done:
    // keep the run loop going until no name with the prefix is left.
    const bool done = platform::MainQueue::runUntil([&prefix] {
        return platform::StringComparison::filteredByPrefix(recordingNames(), prefix,
            platform::StringComparison::CaseInsensitive | platform::StringComparison::DiacriticInsensitive)
            .empty();
    });
    fmt::print("Removed the recordings beginning with \"{}\"{}\n", prefix, done ? "" : " (still going)");
}

void keepRecording(const std::string& name, const std::string& destination)
{
    auto manager = FileManager::defaultManager();
    const auto source = platform::URL::fileURLWithPath(Store::_srTempPath(*manager) + name);
    const auto created = Store::_srGetCreationDateForFile(*manager, source);
    auto finished = std::make_shared<std::atomic<bool>>(false);
    auto failure = std::make_shared<platform::ErrorRef>();
    Store::_srMoveFileFromURL_toURL_completion(manager, source, platform::URL::fileURLWithPath(destination),
        [finished, failure](const platform::ErrorRef& error) {
            // Called on a global queue; the run loop below waits for it.
            *failure = error;
            finished->store(true);
        });
    platform::MainQueue::runUntil([&finished] { return finished->load(); });
    if (*failure) {
        fmt::print("Could not keep {}: {}\n", name, (*failure)->localizedDescription());
        return;
    }
    fmt::print("Kept {} as {}, titled \"Recording {}\"\n", name, destination,
        created ? LMDateFormatting::_srGetStringFromDate(*created) : "(no creation date)");
}

void showStoreDetails(const std::string& bundleID)
{
    bool answered = false;
    LMStoreManager::sharedManager()->loadItemDetailsForBundleIdentifier_completionHandler(
        bundleID, [&answered, bundleID](const std::shared_ptr<LMStoreInfo>& info) {
            answered = true;
            fmt::print("{}: name \"{}\", author \"{}\", page \"{}\", categories [{}]\n", bundleID,
                info->appName().value_or("(none)"), info->author().value_or(""), info->itemURL().value_or(""),
                fmt::join(info->categories().value_or(std::vector<std::string>()), ", "));
            const auto dictionary = info->dictionary();
            for (const auto& [key, value] : *dictionary) {
                fmt::print("    {} = {}\n", key, value.description());
            }
        });
    platform::MainQueue::runUntil([&answered] { return answered; });
}

} // namespace lumora::sample
