#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Noncopyable.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The simulated device's photo library: the movies saved into the
/// saved-photos album, kept as copies in a folder the library owns.
///
/// Initially: nothing saved, saves succeed, and the folder is one of the
/// library's own in the system's temporary directory, made on the first save
/// and removed with everything in it when the process ends.
class SimulatedPhotoLibrary : private platform::Noncopyable {
public:
    /// Forgets every saved movie (deleting the copies), lets saves succeed and
    /// goes back to the library's own folder.
    void reset();

    /// The host folder that holds the saved movies.
    [[nodiscard]] std::string libraryDirectory() const;
    /// Keeps saved movies in the host folder `hostPath` from now on (made when
    /// needed, never removed by the library).
    void setLibraryDirectory(std::string hostPath);

    /// Makes every save fail with `error` (null: saves succeed).
    void setSaveError(ErrorRef error);

    /// The host paths of the copies saved since the last reset, in the order
    /// they were saved.
    [[nodiscard]] std::vector<std::string> savedMovies() const;

    // ---- For the platform's implementation ---------------------------------------------
    /// Copies the movie at the device path `devicePath` into the library; the
    /// error that prevented it, or null.
    ErrorRef saveMovie(const std::string& devicePath);

private:
    [[nodiscard]] std::string directoryLocked() const;

    mutable std::mutex mutex_;
    std::optional<std::string> chosenDirectory_;
    mutable std::string ownDirectory_;
    ErrorRef saveError_;
    std::vector<std::string> saved_;
};

} // namespace lumora::platform::host
