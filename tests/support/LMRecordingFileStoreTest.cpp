#include "support/LMRecordingFileStore.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedFileSystem.h"
#include "platform/system/FileManager.h"
#include "tests/harness/Harness.h"
#include "tests/support/SupportTestFolder.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>

namespace lumora {
namespace {

namespace fs = std::filesystem;
using platform::ErrorRef;
using platform::FileManager;
using platform::Log;
using platform::URL;
using Store = LMRecordingFileStore;
using test::SupportTestFolder;

FileManager& manager()
{
    return *FileManager::defaultManager();
}

std::set<std::string> namesIn(const fs::path& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

std::string lowBitsOf(const ErrorRef& error)
{
    return std::to_string(static_cast<std::int32_t>(reinterpret_cast<std::uintptr_t>(error.get())));
}

// Runs the asynchronous store operation `start` with `fileManager` and waits
// until its work item has run: the item holds the file manager until then.
template <class Start> void runAndAwait(std::shared_ptr<FileManager> fileManager, Start start)
{
    std::weak_ptr<FileManager> held = fileManager;
    start(std::move(fileManager));
    ASSERT_TRUE(test::runUntil([&held] { return held.expired(); }));
}

TEST(LMRecordingFileStoreTest, SetsUpTheFolderOnceAndLogsWhenItCannot)
{
    SupportTestFolder folder(false);
    test::LogCapture log;
    EXPECT_EQ(Store::_srTempPath(manager()), "/private/var/mobile/Library/Lumora/");
    Store::_srSetupTempDirectory(manager());
    EXPECT_TRUE(fs::is_directory(folder.store));
    Store::_srSetupTempDirectory(manager());
    EXPECT_EQ(log.count("_srSetupTempDirectory"), 2U);
    EXPECT_FALSE(log.contains("error creating temp directory"));

    // An ordinary file of the folder's name counts as the folder.
    fs::remove(folder.store);
    SupportTestFolder::writeFile(folder.store, 3);
    Store::_srSetupTempDirectory(manager());
    EXPECT_TRUE(fs::is_regular_file(folder.store));
    EXPECT_FALSE(log.contains("error creating temp directory"));

    // Intermediate folders are never made.
    SupportTestFolder::mountStoreOnto(folder.root / "missing" / "Lumora");
    Store::_srSetupTempDirectory(manager());
    EXPECT_FALSE(fs::exists(folder.root / "missing"));
    EXPECT_TRUE(log.contains("error creating temp directory", Log::Level::Error));
    const auto texts = log.texts();
    EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [](const auto& text) {
        return text.starts_with("error: ") && text.find("/private/var/mobile/Library/Lumora/") != std::string::npos;
    }));
}

TEST(LMRecordingFileStoreTest, SizeIsTheFolderEntrysOwnSize)
{
    SupportTestFolder folder;
    SupportTestFolder::writeFile(folder.store / "a.mp4", 50000);
    struct stat status { };
    ASSERT_EQ(::stat(folder.store.c_str(), &status), 0);
    ErrorRef error;
    EXPECT_EQ(Store::_srSizeOfTempDir(manager(), &error), status.st_size);
    EXPECT_FALSE(error);

    fs::remove_all(folder.store);
    EXPECT_EQ(Store::_srSizeOfTempDir(manager(), &error), 0);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), FileManager::ErrorDomain);
    EXPECT_EQ(error->code(), FileManager::NoSuchFileError);
}

TEST(LMRecordingFileStoreTest, AgeCleanUpDeletesWhatIsOlderThanTheTimeToLive)
{
    SupportTestFolder folder;
    const auto write = [&folder](double age) {
        const auto name = "age" + std::to_string(static_cast<int>(age));
        SupportTestFolder::writeFile(folder.store / name, static_cast<std::size_t>(1000 + age), age);
    };
    write(0);
    write(60);
    write(61);
    write(3600);
    test::LogCapture log;
    EXPECT_EQ(Store::_srDeleteFilesOlderThanTimeToLiveInSeconds(manager(), 60.0), 1061 + 4600);
    EXPECT_EQ(namesIn(folder.store), (std::set<std::string> { "age0", "age60" }));
    EXPECT_EQ(log.count("deleting old file"), 2U);
    EXPECT_TRUE(log.contains("_srDeleteFilesOlderThanTimeToLiveInSeconds: 60"));

    // Negative: every entry is older than that, unless dated further into the future.
    write(-30);
    EXPECT_EQ(Store::_srDeleteFilesOlderThanTimeToLiveInSeconds(manager(), -1.9), 1000 + 1060);
    EXPECT_EQ(namesIn(folder.store), (std::set<std::string> { "age-30" }));
    EXPECT_TRUE(log.contains("_srDeleteFilesOlderThanTimeToLiveInSeconds: -1"));

    // Zero: everything, however new.
    write(0);
    EXPECT_EQ(Store::_srDeleteAllTempFiles(manager()), 1000 + 970);
    EXPECT_TRUE(namesIn(folder.store).empty());
    EXPECT_FALSE(log.contains("error in _loRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: 2"));
}

// Deletes one entry just before the clean-up reads it, as a second clean-up
// running at the same moment would.
class RacingFileManager final : public FileManager {
public:
    explicit RacingFileManager(std::string victim) : victim_(std::move(victim)) { }
    platform::DictionaryRef attributesOfItemAtPath_error(const std::string& path, ErrorRef* error) const override
    {
        if (path.ends_with("/" + victim_)) {
            FileManager::defaultManager()->removeItemAtPath_error(path, nullptr);
        }
        return FileManager::attributesOfItemAtPath_error(path, error);
    }

private:
    std::string victim_;
};

TEST(LMRecordingFileStoreTest, AgeCleanUpCarriesTheFirstErrorThroughTheRun)
{
    SupportTestFolder folder;
    for (const auto* name : { "a", "b", "c", "d" }) {
        SupportTestFolder::writeFile(folder.store / name, 100, 120);
    }
    const auto listing = manager().contentsOfDirectoryAtPath_error(std::string(LMScreenRecorderTempDirectory), nullptr);
    ASSERT_TRUE(listing && listing->size() == 4);
    // The second entry vanishes: the first is counted, none after it is, but all are removed.
    RacingFileManager racing((*listing)[1]);
    test::LogCapture log;
    EXPECT_EQ(Store::_srDeleteFilesOlderThanTimeToLiveInSeconds(racing, 60.0), 100);
    EXPECT_TRUE(namesIn(folder.store).empty());
    // Reported after the attribute read and the removal of the vanished entry,
    // then again at each step of the two entries after it.
    const auto line = "error in _loRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: "
        + std::to_string(FileManager::NoSuchFileError);
    EXPECT_EQ(log.count(line), 6U);
    EXPECT_EQ(log.texts(Log::Level::Error).size(), 6U);
}

TEST(LMRecordingFileStoreTest, CleanUpsNeverReachOutsideTheFolder)
{
    SupportTestFolder folder;
    SupportTestFolder::writeFile(folder.outside / "precious.mp4", 10);
    fs::create_directory(folder.outside / "library");
    SupportTestFolder::writeFile(folder.outside / "library" / "kept.mov", 10);
    fs::create_symlink(folder.outside / "precious.mp4", folder.store / "link-to-file");
    fs::create_directory_symlink(folder.outside / "library", folder.store / "link-to-folder");
    fs::create_directory(folder.store / "nested");
    fs::create_directory_symlink(folder.outside, folder.store / "nested" / "escape");
    SupportTestFolder::writeFile(folder.store / "nested" / "take.mp4", 10);
    // Odd names: decomposed accents, an emoji, a byte that is not UTF-8, a newline.
    const std::string odd = "E\xcc\x81t\xc3\xa9 \xf0\x9f\x8e\xac\xff\n.mp4";
    SupportTestFolder::writeFile(folder.store / odd, 10);
    SupportTestFolder::writeFile(folder.store / "ABC.mp4", 10);
    SupportTestFolder::writeFile(folder.store / "abcdef", 10);
    fs::create_directory_symlink(folder.outside, folder.store / "abc-outside");

    // By prefix: the link is removed, never what it points to.
    runAndAwait(std::make_shared<FileManager>(), [](auto self) { Store::_srDeleteFilesWithPrefix(self, "abc"); });
    EXPECT_EQ(namesIn(folder.store), (std::set<std::string> { "link-to-file", "link-to-folder", "nested", odd }));

    test::LogCapture log;
    Store::_srDeleteAllTempFiles(manager());
    EXPECT_TRUE(namesIn(folder.store).empty());
    EXPECT_TRUE(log.texts(Log::Level::Error).empty());
    EXPECT_TRUE(fs::exists(folder.outside / "precious.mp4"));
    EXPECT_TRUE(fs::exists(folder.outside / "library" / "kept.mov"));
}

TEST(LMRecordingFileStoreTest, AMissingFolderOrAFileInItsPlaceIsLoggedAndLeftAlone)
{
    SupportTestFolder folder(false);
    test::LogCapture log;
    EXPECT_EQ(Store::_srDeleteAllTempFiles(manager()), 0);
    EXPECT_TRUE(log.contains("error in _loRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: "
            + std::to_string(FileManager::NoSuchFileError),
        Log::Level::Error));
    EXPECT_EQ(log.count("deleting old file"), 0U);

    SupportTestFolder::writeFile(folder.store, 10);
    log.clear();
    EXPECT_EQ(Store::_srDeleteFilesOlderThanTimeToLiveInSeconds(manager(), 0.0), 0);
    EXPECT_TRUE(log.contains("error in _loRemoveFile_srDeleteFilesOlderThanTimeToLiveInSeconds, error code: "
        + std::to_string(FileManager::NotADirectoryError)));
    runAndAwait(std::make_shared<FileManager>(), [](auto self) { Store::_srDeleteFilesWithPrefix(self, "L"); });
    EXPECT_TRUE(fs::is_regular_file(folder.store));
}

// Fails its first removal with an error the test can recognise.
class FailingFirstRemoval final : public FileManager {
public:
    bool removeItemAtPath_error(const std::string& path, ErrorRef* error) override
    {
        if (!failed_.exchange(true)) {
            *error = failure;
            return false;
        }
        return FileManager::removeItemAtPath_error(path, error);
    }
    const ErrorRef failure = platform::Error::errorWithDomain("Test", 77);

private:
    std::atomic<bool> failed_ = false;
};

TEST(LMRecordingFileStoreTest, PrefixDeletionIgnoresCaseAndAccentsAndLogsCarriedErrors)
{
    SupportTestFolder folder;
    for (const auto* name : { "ABC.mp4",
             "\xc3\x81"
             "bc1",
             "xabc", "abd.mp4" }) {
        SupportTestFolder::writeFile(folder.store / name, 10);
    }
    auto failing = std::make_shared<FailingFirstRemoval>();
    const auto failure = failing->failure;
    test::LogCapture log;
    runAndAwait(std::move(failing), [](auto self) { Store::_srDeleteFilesWithPrefix(self, "abc"); });
    // One of the two matches failed to go; the other went, after the error was logged.
    const auto left = namesIn(folder.store);
    EXPECT_EQ(left.size(), 3U);
    EXPECT_TRUE(left.contains("xabc") && left.contains("abd.mp4"));
    EXPECT_EQ(log.texts(Log::Level::Error),
        std::vector<std::string> { "_loDeleteFilesWithPrefix error: " + lowBitsOf(failure) });

    log.clear();
    runAndAwait(std::make_shared<FileManager>(), [](auto self) { Store::_srDeleteFilesWithPrefix(self, "ABC"); });
    EXPECT_EQ(namesIn(folder.store), (std::set<std::string> { "xabc", "abd.mp4" }));
    EXPECT_TRUE(log.entries().empty());
}

TEST(LMRecordingFileStoreTest, RemovesAFileInTheBackgroundAndCallsBackThere)
{
    SupportTestFolder folder;
    SupportTestFolder::writeFile(folder.store / "take.mp4", 10);
    const auto url = URL::fileURLWithPath(SupportTestFolder::devicePath("take.mp4"));
    for (int round = 0; round < 2; ++round) {
        // The second round finds nothing to remove, which is no error.
        test::CallbackRecorder<const ErrorRef&> done;
        std::atomic<const platform::DispatchQueue*> queue = nullptr;
        auto recordQueue = done.callback();
        Store::_srRemoveFile_completion(
            FileManager::defaultManager(), url, [&queue, recordQueue](const ErrorRef& error) {
                queue = platform::DispatchQueue::current();
                recordQueue(error);
            });
        ASSERT_TRUE(done.wait());
        EXPECT_FALSE(std::get<0>(done.call()));
        EXPECT_FALSE(done.calledOnMainQueue());
        EXPECT_EQ(queue.load(), &platform::DispatchQueue::global(platform::DispatchQueue::Priority::Background));
        EXPECT_FALSE(fs::exists(folder.store / "take.mp4"));
    }
}

TEST(LMRecordingFileStoreTest, MoveReplacesTheDestinationAndReportsAFailedMove)
{
    SupportTestFolder folder;
    SupportTestFolder::writeFile(folder.store / "new.mp4", 20);
    SupportTestFolder::writeFile(folder.outside / "saved.mp4", 5);
    const auto source = URL::fileURLWithPath(SupportTestFolder::devicePath("new.mp4"));
    const auto destination = URL::fileURLWithPath((folder.outside / "saved.mp4").string());

    test::CallbackRecorder<const ErrorRef&> moved;
    Store::_srMoveFileFromURL_toURL_completion(FileManager::defaultManager(), source, destination, moved.callback());
    ASSERT_TRUE(moved.wait());
    EXPECT_FALSE(std::get<0>(moved.call()));
    EXPECT_FALSE(fs::exists(folder.store / "new.mp4"));
    EXPECT_EQ(fs::file_size(folder.outside / "saved.mp4"), 20U);

    // A missing source: the destination is already gone when the move fails.
    test::LogCapture log;
    test::CallbackRecorder<const ErrorRef&> failed;
    Store::_srMoveFileFromURL_toURL_completion(FileManager::defaultManager(), source, destination, failed.callback());
    ASSERT_TRUE(failed.wait());
    const auto error = std::get<0>(failed.call());
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), FileManager::NoSuchFileError);
    EXPECT_FALSE(fs::exists(folder.outside / "saved.mp4"));
    EXPECT_TRUE(log.contains("_loMoveFileFromURL error: " + lowBitsOf(error), Log::Level::Error));
}

TEST(LMRecordingFileStoreTest, FreeSpaceMustExceedTheRequiredAmount)
{
    SupportTestFolder folder;
    auto& fileSystem = platform::host::SimulatedDevice::shared().fileSystem();
    fileSystem.setFreeSize(100000000);
    EXPECT_EQ(Store::_srDeviceFreeDiskSpace(manager()), 100000000U);
    EXPECT_FALSE(Store::_srDeviceHasSufficientFreeSpaceForRecording(manager()));
    fileSystem.setFreeSize(100000001);
    EXPECT_TRUE(Store::_srDeviceHasSufficientFreeSpaceForRecording(manager()));
    fileSystem.setFreeSize(UINT64_MAX);
    EXPECT_EQ(Store::_srDeviceFreeDiskSpace(manager()), UINT64_MAX);
    EXPECT_EQ(LMScreenRecorderRequiredFreeSpace, 100000000);

    // No folder, no file system to ask.
    fs::remove(folder.store);
    EXPECT_EQ(Store::_srDeviceFreeDiskSpace(manager()), 0U);
    EXPECT_FALSE(Store::_srDeviceHasSufficientFreeSpaceForRecording(manager()));
}

TEST(LMRecordingFileStoreTest, CreationDateComesFromTheFileSystem)
{
    SupportTestFolder folder;
    SupportTestFolder::writeFile(folder.store / "take.mp4", 10, 500);
    const auto url = URL::fileURLWithPath(SupportTestFolder::devicePath("take.mp4"));
    const auto attributes = manager().attributesOfItemAtPath_error(url.path(), nullptr);
    ASSERT_TRUE(attributes);
    // The creation date is not the modification date the test set.
    const auto created = Store::_srGetCreationDateForFile(manager(), url);
    EXPECT_EQ(created, attributes->valueForKey(FileManager::FileCreationDateKey).date());
    if (created) {
        EXPECT_NE(*created, attributes->valueForKey(FileManager::FileModificationDateKey).date());
    }
    EXPECT_FALSE(
        Store::_srGetCreationDateForFile(manager(), URL::fileURLWithPath(SupportTestFolder::devicePath("none"))));
}

} // namespace
} // namespace lumora
