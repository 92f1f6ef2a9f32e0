#include "platform/host/services/SimulatedPhotoLibrary.h"

#include "platform/formats/AtomicFile.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/media/PhotoLibrary.h"

#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

namespace lumora::platform::host {

namespace fs = std::filesystem;

namespace {
ErrorRef photoLibraryError(std::int64_t code)
{
    return Error::errorWithDomain(std::string(PhotoLibrary::ErrorDomain), code);
}
} // namespace

SimulatedPhotoLibrary::~SimulatedPhotoLibrary()
{
    if (!ownDirectory_.empty()) {
        std::error_code ignored;
        fs::remove_all(ownDirectory_, ignored);
    }
}

void SimulatedPhotoLibrary::reset()
{
    std::lock_guard lock(mutex_);
    for (const auto& path : saved_) {
        std::error_code ignored;
        fs::remove(path, ignored);
    }
    saved_.clear();
    saveError_.reset();
    chosenDirectory_.reset();
}

std::string SimulatedPhotoLibrary::libraryDirectory() const
{
    std::lock_guard lock(mutex_);
    return directoryLocked();
}

std::string SimulatedPhotoLibrary::directoryLocked() const
{
    if (chosenDirectory_) {
        return *chosenDirectory_;
    }
    if (ownDirectory_.empty()) {
        ownDirectory_ = (fs::temp_directory_path() / fmt::format("lumora-photo-library-{}", ::getpid())).string();
    }
    return ownDirectory_;
}

void SimulatedPhotoLibrary::setLibraryDirectory(std::string hostPath)
{
    std::lock_guard lock(mutex_);
    chosenDirectory_ = std::move(hostPath);
}

void SimulatedPhotoLibrary::setSaveError(ErrorRef error)
{
    std::lock_guard lock(mutex_);
    saveError_ = std::move(error);
}

std::vector<std::string> SimulatedPhotoLibrary::savedMovies() const
{
    std::lock_guard lock(mutex_);
    return saved_;
}

ErrorRef SimulatedPhotoLibrary::saveMovie(const std::string& devicePath)
{
    const fs::path source = SimulatedDevice::shared().resolvePath(devicePath);
    std::error_code error;
    if (devicePath.empty() || !fs::is_regular_file(source, error)) {
        return photoLibraryError(PhotoLibrary::FileNotFoundErrorCode);
    }
    std::lock_guard lock(mutex_);
    if (saveError_) {
        return saveError_;
    }
    const fs::path directory = directoryLocked();
    fs::create_directories(directory, error);
    // Every save is a new item of the album, even of the same file.
    auto destination = directory / source.filename();
    for (int copy = 2; fs::exists(destination, error); ++copy) {
        destination = directory / fmt::format("{}-{}{}", source.stem().string(), copy, source.extension().string());
    }
    if (!AtomicFile::copyFile(source.string(), destination.string(), false)) {
        return photoLibraryError(PhotoLibrary::WriteFailedErrorCode);
    }
    saved_.push_back(destination.string());
    return nullptr;
}

} // namespace lumora::platform::host
