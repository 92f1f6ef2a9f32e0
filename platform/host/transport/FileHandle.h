#pragma once

#include "platform/foundation/Object.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumora::platform::host::transport {

/// An open file descriptor that travels with a message: a movie file or a
/// block of shared memory. It owns the descriptor and closes it when the
/// last reference goes. Its kind says what the receiver accepts; a
/// descriptor that arrives as another kind is refused.
class FileHandle final : public Object {
public:
    /// What a descriptor refers to.
    enum class Kind : std::uint8_t {
        /// A regular file.
        File,
        /// Anonymous shared memory (a sealable memory file).
        SharedMemory,
    };

    /// Takes ownership of `descriptor`.
    FileHandle(int descriptor, Kind kind) : descriptor_(descriptor), kind_(kind) { }
    ~FileHandle() override;
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    FileHandle(FileHandle&&) = delete;
    FileHandle& operator=(FileHandle&&) = delete;

    /// A handle of `kind` for `descriptor` (taken over), or null (and the
    /// descriptor closed) when it refers to something else.
    static std::shared_ptr<FileHandle> adopt(int descriptor, Kind kind);
    /// Whether `descriptor` refers to something of `kind`.
    static bool isOfKind(int descriptor, Kind kind);

    /// The descriptor, valid while this handle lives.
    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] Kind kind() const { return kind_; }
    /// The kind's name on the wire.
    static const char* kindName(Kind kind);

    [[nodiscard]] std::string className() const override { return "FileHandle"; }

private:
    int descriptor_;
    Kind kind_;
};

} // namespace lumora::platform::host::transport
