#include "platform/media/PhotoLibrary.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Object.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedPhotoLibrary.h"
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
        reports.emplace_back(path, error, contextInfo, MainQueue::isCurrent() && DispatchQueue::current() != nullptr);
    }
    std::vector<std::tuple<std::string, ErrorRef, void*, bool>> reports;
};

TEST(PhotoLibrary, SavesKeepCopiesInTheLibrarysFolderAndReportOnTheMainQueue)
{
    const auto movie = fs::temp_directory_path() / ("lumora-photo-test-" + std::to_string(::getpid()) + ".mp4");
    std::ofstream(movie) << "movie bytes";
    auto& library = host::SimulatedDevice::shared().photoLibrary();
    const auto target = std::make_shared<SaveTarget>();
    const auto save = [&](const std::string& path, void* context) {
        const auto before = target->reports.size();
        PhotoLibrary::saveVideoAtPathToSavedPhotosAlbum(path, { target, &SaveTarget::didFinishSaving }, context);
        EXPECT_TRUE(test::runUntil([&] { return target->reports.size() > before; }));
    };

    int context = 0;
    save(movie.string(), &context);
    save(movie.string(), nullptr);
    EXPECT_EQ(target->reports[0], std::make_tuple(movie.string(), ErrorRef(), &context, true));
    // Each save is a new item of the album.
    const auto saved = library.savedMovies();
    ASSERT_EQ(saved.size(), 2U);
    EXPECT_NE(saved[0], saved[1]);
    for (const auto& copy : saved) {
        EXPECT_EQ(fs::path(copy).parent_path(), fs::path(library.libraryDirectory()));
        std::ifstream file(copy);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "movie bytes");
    }

    save("/no/such/movie.mp4", nullptr);
    EXPECT_EQ(std::get<1>(target->reports[2])->code(), PhotoLibrary::FileNotFoundErrorCode);
    const auto full = Error::errorWithDomain("storage", 28);
    library.setSaveError(full);
    save(movie.string(), nullptr);
    EXPECT_EQ(std::get<1>(target->reports[3]), full);
    EXPECT_EQ(library.savedMovies().size(), 2U);

    library.reset();
    EXPECT_TRUE(library.savedMovies().empty());
    EXPECT_FALSE(fs::exists(saved[0]));
    fs::remove(movie);
}

} // namespace
} // namespace lumora::platform
