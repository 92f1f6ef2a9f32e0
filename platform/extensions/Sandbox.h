#pragma once

#include <cstdint>

namespace lumora::platform {

/// Sandbox extensions: tokens that one process issues to grant another
/// process access to a resource (the recording service grants an upload
/// extension read access to a movie clip file this way).
class Sandbox {
public:
    /// Grants the calling process the access that `token` (UTF-8 text, or
    /// null for no token) carries. Returns a handle for the grant, or -1 when
    /// nothing was granted. Callers may ignore the result.
    static std::int64_t consumeExtension(const char* token);
};

} // namespace lumora::platform
