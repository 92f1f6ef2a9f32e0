#include "platform/host/transport/FileHandle.h"

#include <array>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumora::platform::host::transport {

FileHandle::~FileHandle()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

std::shared_ptr<FileHandle> FileHandle::adopt(int descriptor, Kind kind)
{
    if (!isOfKind(descriptor, kind)) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
        return nullptr;
    }
    return std::make_shared<FileHandle>(descriptor, kind);
}

bool FileHandle::isOfKind(int descriptor, Kind kind)
{
    struct stat status { };
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        return false;
    }
    // A memory file names itself "/memfd:..." among the process's descriptors.
    std::array<char, 64> target {};
    const auto link = "/proc/self/fd/" + std::to_string(descriptor);
    const auto length = ::readlink(link.c_str(), target.data(), target.size() - 1);
    const bool isMemory
        = length > 0 && std::string_view(target.data(), static_cast<std::size_t>(length)).starts_with("/memfd:");
    return kind == Kind::SharedMemory ? isMemory : !isMemory;
}

const char* FileHandle::kindName(Kind kind)
{
    return kind == Kind::SharedMemory ? "memory" : "file";
}

} // namespace lumora::platform::host::transport
