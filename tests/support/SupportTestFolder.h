#pragma once

#include "platform/foundation/Date.h"
#include "platform/host/device/SimulatedDevice.h"
#include "support/LMRecordingFileStore.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace lumora::test {

/// A temporary folder of the test's own on the real file system, with the
/// recordings folder's device path mounted onto `store` inside it (which is
/// made unless asked not to) and a sibling `outside` that nothing may touch.
class SupportTestFolder {
public:
    explicit SupportTestFolder(bool makeStore = true)
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "lumora-support-XXXXXX").string();
        root = ::mkdtemp(pattern.data());
        store = root / "Lumora";
        outside = root / "outside";
        std::filesystem::create_directory(outside);
        if (makeStore) {
            std::filesystem::create_directory(store);
        }
        mountStoreOnto(store);
    }
    SupportTestFolder(const SupportTestFolder&) = delete;
    SupportTestFolder& operator=(const SupportTestFolder&) = delete;
    SupportTestFolder(SupportTestFolder&&) = delete;
    SupportTestFolder& operator=(SupportTestFolder&&) = delete;
    ~SupportTestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }

    static void mountStoreOnto(const std::filesystem::path& hostPath)
    {
        platform::host::SimulatedDevice::shared().mountDirectory(
            std::string(LMScreenRecorderTempDirectory), hostPath.string());
    }

    /// Writes `bytes` bytes into `path`, last modified `age` seconds before the device clock's now.
    static void writeFile(const std::filesystem::path& path, std::size_t bytes, double age = 0.0)
    {
        std::ofstream(path, std::ios::binary) << std::string(bytes, 'x');
        setAge(path, age);
    }

    static void setAge(const std::filesystem::path& path, double age)
    {
        const double modified = platform::Date::now().timeIntervalSince1970() - age;
        const auto seconds = static_cast<time_t>(modified);
        const timespec time { seconds, static_cast<long>((modified - static_cast<double>(seconds)) * 1e9) };
        const timespec times[2] = { time, time };
        ::utimensat(AT_FDCWD, path.c_str(), static_cast<const timespec*>(times), AT_SYMLINK_NOFOLLOW);
    }

    /// The device path of an entry of the recordings folder.
    static std::string devicePath(const std::string& name) { return std::string(LMScreenRecorderTempDirectory) + name; }

    std::filesystem::path root;
    std::filesystem::path store;
    std::filesystem::path outside;
};

} // namespace lumora::test
