#pragma once

#include <string>
#include <string_view>

namespace lumora::platform::host {

/// Folders of this process's own under the host's temporary folder, for the
/// device's parts that keep files (the recording service's movies, the photo
/// library): each is named after its owner and the process, made on first
/// use, and removed with everything in it when the process exits.
///
/// The paths are never destroyed, so a thread still writing a movie while
/// the process exits reads a valid path; only the folders go.
class TemporaryFolder {
public:
    TemporaryFolder() = delete;

    /// The folder `<temporary folder>/<name>-<process id>`, made if missing.
    static const std::string& named(std::string_view name);
};

} // namespace lumora::platform::host
