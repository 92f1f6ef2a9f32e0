#pragma once

#include "platform/foundation/Error.h"
#include "platform/ui/TargetAction.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace lumora::platform {

/// The user's photo library.
class PhotoLibrary {
public:
    /// Told when a save has finished: the path that was saved, the error that
    /// stopped the save (null on success), and the caller's context unchanged.
    using SaveCompletionTarget = TargetAction<const std::string&, const ErrorRef&, void*>;

    /// The error domain of failed saves, and its codes.
    static constexpr std::string_view ErrorDomain = "lumora.platform.PhotoLibrary";
    /// There is no readable file at the path.
    static constexpr std::int64_t FileNotFoundErrorCode = 1;
    /// The library could not store the movie.
    static constexpr std::int64_t WriteFailedErrorCode = 2;

    /// Saves a copy of the movie file at `videoPath` into the saved-photos
    /// album, in the background. When the save has finished, `completion` is
    /// sent (`videoPath`, error or null, `contextInfo`) on the MainQueue; an
    /// empty target, or one that has gone, hears nothing.
    static void saveVideoAtPathToSavedPhotosAlbum(
        const std::string& videoPath, const SaveCompletionTarget& completion, void* contextInfo);
};

} // namespace lumora::platform
