#include "platform/PhotoLibrary.h"

#include "platform/DispatchQueue.h"
#include "platform/Object.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedPhotoLibrary.h"
#include "tests/harness/Harness.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace lumora::platform {
namespace {

namespace fs = std::filesystem;

class SaveTarget final : public Object {
public:
    void didFinishSaving(const std::string& path, const ErrorRef& error, void* contextInfo)
    {
        calls.push_back({ path, error, contextInfo, MainQueue::isCurrent() && DispatchQueue::current() != nullptr });
    }
    struct Call {
        std::string path;
        ErrorRef error;
        void* contextInfo;
        bool onMainQueue;
    };
    std::vector<Call> calls;
};

class PhotoLibrarySaving : public ::testing::Test {
protected:
    void SetUp() override
    {
        movie_ = fs::temp_directory_path() / ("lumora-photo-test-" + std::to_string(::getpid()) + ".mp4");
        std::ofstream(movie_) << "movie bytes";
    }
    void TearDown() override { fs::remove(movie_); }

    // Saves `path` and waits for the report.
    void save(const std::string& path, void* context = nullptr)
    {
        const auto before = target_->calls.size();
        PhotoLibrary::saveVideoAtPathToSavedPhotosAlbum(path, { target_, &SaveTarget::didFinishSaving }, context);
        EXPECT_TRUE(test::runUntil([&] { return target_->calls.size() > before; }));
    }

    host::SimulatedPhotoLibrary& library() { return host::SimulatedDevice::shared().photoLibrary(); }

    fs::path movie_;
    std::shared_ptr<SaveTarget> target_ = std::make_shared<SaveTarget>();
};

TEST_F(PhotoLibrarySaving, ASaveKeepsACopyInTheLibraryAndReportsThePathOnTheMainQueue)
{
    int context = 0;
    save(movie_.string(), &context);
    save(movie_.string());
    ASSERT_EQ(target_->calls.size(), 2U);
    EXPECT_EQ(target_->calls[0].path, movie_.string());
    EXPECT_EQ(target_->calls[0].error, nullptr);
    EXPECT_EQ(target_->calls[0].contextInfo, &context);
    EXPECT_TRUE(target_->calls[0].onMainQueue);

    // Each save is a new item, kept in the library's own folder.
    const auto saved = library().savedMovies();
    ASSERT_EQ(saved.size(), 2U);
    EXPECT_NE(saved[0], saved[1]);
    for (const auto& copy : saved) {
        EXPECT_EQ(fs::path(copy).parent_path(), fs::path(library().libraryDirectory()));
        std::ifstream file(copy);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "movie bytes");
    }

    library().reset();
    EXPECT_TRUE(library().savedMovies().empty());
    EXPECT_FALSE(fs::exists(saved[0]));
}

TEST_F(PhotoLibrarySaving, FailedSavesReportTheirErrorAndKeepNothing)
{
    save("/no/such/movie.mp4");
    ASSERT_EQ(target_->calls.size(), 1U);
    ASSERT_NE(target_->calls[0].error, nullptr);
    EXPECT_EQ(target_->calls[0].error->code(), PhotoLibrary::FileNotFoundErrorCode);

    const auto full = Error::errorWithDomain("storage", 28);
    library().setSaveError(full);
    save(movie_.string());
    ASSERT_EQ(target_->calls.size(), 2U);
    EXPECT_EQ(target_->calls[1].error, full);
    EXPECT_TRUE(library().savedMovies().empty());
}

TEST_F(PhotoLibrarySaving, ATargetThatHasGoneHearsNothingButTheMovieIsSaved)
{
    std::weak_ptr<SaveTarget> gone = target_;
    PhotoLibrary::saveVideoAtPathToSavedPhotosAlbum(
        movie_.string(), { target_, &SaveTarget::didFinishSaving }, nullptr);
    target_.reset();
    EXPECT_TRUE(test::runUntil([&] { return !library().savedMovies().empty(); }));
    test::drainMainQueue();
    EXPECT_TRUE(gone.expired());
}

} // namespace
} // namespace lumora::platform
